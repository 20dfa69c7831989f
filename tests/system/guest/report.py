"""Reports the results to the host, one JSON line per test, and requests from it what only the host can do."""

import json
import os
import pathlib
import subprocess
import time
import traceback

SHARED = pathlib.Path("/vm/shared")
REQUESTS = SHARED / "requests"


def _say(**record):
    with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
        results.write(json.dumps(record) + "\n")


def wanted(name):
    """Whether this run is about the test: the host may have asked for some tests only, by parts of their names."""
    parts = json.loads((SHARED / "only.json").read_text())
    return not parts or any(part in name for part in parts)


def announce(names):
    """Every test that will report; the host misses what does not."""
    _say(tests=[name for name in names if wanted(name)])


def result(name, faults, remark="", story=(), capture=None, verdict=None):
    """`verdict`: a row of the table of verdicts, which the host prints at the end."""
    _say(test=name, faults=list(faults), remark=remark, story=list(story) if faults else [], capture=capture, verdict=verdict)


def guarded(name, test):
    """Runs one test, if it is wanted. An exception in it is its own failure, never the end of the run."""
    if not wanted(name):
        return
    try:
        result(name, **test())
    except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
        kernel = subprocess.run(["dmesg"], capture_output=True, text=True, timeout=30).stdout.splitlines()[-15:]
        result(name, ["the test broke down"], story=[*traceback.format_exc().splitlines(), *kernel])


def finished():
    _say(finished=True)


def ask_host(request):
    """Returns when the host has done it. REQUIRES: the host knows the request."""
    name = f"{time.monotonic_ns()}-{os.getpid()}"
    waiting = REQUESTS / f"{name}.new"
    waiting.write_text(request)
    waiting.rename(REQUESTS / f"{name}.request")
    answer = REQUESTS / f"{name}.answer"
    while not answer.exists():
        pass  # a machine at rest would let its clock run ahead of the host
    text = answer.read_text()
    if text != "done":
        raise RuntimeError(f"the host cannot {request}: {text}")
