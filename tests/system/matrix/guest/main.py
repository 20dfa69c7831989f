"""The matrix: every circumstance on every version of the server, shared and exclusive, with 1, 2, 6 and 8 channels; the
verdict, and whether the card got the track's samples meanwhile."""

import json
import os
import pathlib
import resource
import shutil
import sys
import traceback

sys.path.insert(0, "/vm/tests")

import desktop  # noqa: E402
import layouts  # noqa: E402
from attacks import ATTACKS, attack  # noqa: E402
from newer import NEWER, install_newer, installed_version, restart  # noqa: E402
from player import PROBE, SHARED  # noqa: E402
from preload import preload  # noqa: E402
from show import Show  # noqa: E402

OWN_NAME, NEWER_NAME = "own", "newer"  # as the caller names the versions


def report(**record):
    with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
        results.write(json.dumps(record) + "\n")


def run(counts, scenes):
    """All scenes of the version that is installed; the last ones on a server that is newer than it is."""
    version = installed_version()
    for is_renamed in (False, True):
        here = [scene for scene in scenes if (scene is Show.unheard_of) == is_renamed]
        show = None
        try:
            if here and is_renamed:
                Show.rename_settings()
                restart()
            if here:
                show = Show(version, report)
                show.run(counts, here)
        except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
            report(version=version, way="-", channels=0, row="the run", faults=["it broke down"],
                   story=traceback.format_exc().splitlines())
        finally:
            if show:
                show.close()


def main():
    resource.setrlimit(resource.RLIMIT_RTPRIO, (20, 20))
    os.chmod("/tmp", 0o1777)
    shutil.copytree(SHARED / "bin", PROBE.parent)
    layouts.install()
    only = json.loads((SHARED / "only.json").read_text())
    counts = [count for count in layouts.COUNTS if str(count) in only] or layouts.COUNTS
    scenes = [scene for scene in Show.SCENES if scene.__name__ in only]
    attacks = [each for each in ATTACKS if each in only]
    if not scenes and not attacks:
        scenes, attacks = Show.SCENES, ATTACKS
    desktop.begin()
    if NEWER_NAME not in only:
        preload(PROBE)
        run(counts, scenes)
    if NEWER.exists() and OWN_NAME not in only:
        desktop.kill_servers()
        install_newer()
        restart()
        preload(PROBE)
        for name in attacks:
            report(version=installed_version(), **attack(name))
        run(counts, scenes)
    for log in pathlib.Path("/tmp").glob("*.log"):
        shutil.copy(log, SHARED)
    (SHARED / "finished").touch()


if __name__ == "__main__":
    pathlib.Path("/vm/shared/booted").touch()
    main()
