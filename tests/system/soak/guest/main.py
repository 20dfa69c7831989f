"""The soak test alone, for as long as the host sets."""

import json
import os
import pathlib
import resource
import shutil
import sys
import traceback

sys.path.insert(0, "/vm/tests")

import desktop  # noqa: E402
import soak_plan  # noqa: E402
import soaking  # noqa: E402
from player import PROBE, SHARED  # noqa: E402


def main():
    resource.setrlimit(resource.RLIMIT_RTPRIO, (20, 20))
    os.chmod("/tmp", 0o1777)
    shutil.copytree(SHARED / "bin", PROBE.parent)
    shutil.copytree(SHARED / "tracks", soak_plan.FOLDER)
    desktop.begin()
    try:
        found = soaking.soaked(json.loads((SHARED / "only.json").read_text())[0])
    except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
        found = {"faults": ["the test broke down"], "remark": "", "story": traceback.format_exc().splitlines()}
    with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
        results.write(json.dumps(found) + "\n")
    (SHARED / "finished").touch()


if __name__ == "__main__":
    pathlib.Path("/vm/shared/booted").touch()
    main()
