#!/usr/bin/env python3
"""What the matrix reports when the newer server cannot be had, or a cell lies: without a machine. Exit status 0: as it must."""

import contextlib
import importlib.machinery
import importlib.util
import io
import json
import pathlib
import sys
import tempfile

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
NOT_HAD = "PipeWire from the backports: http://mirror bookworm-backports cannot be reached: no route"


def loaded():
    loader = importlib.machinery.SourceFileLoader("matrix_run", str(HERE / "run"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("matrix_run", loader))
    loader.exec_module(module)
    return module


def cells(version, label="BIT-PERFECT", is_equal=True):
    """As many as a version must have."""
    return [{"version": version, "row": f"row {number}", "way": way, "channels": channels, "label": label, "isEqual": is_equal,
             "faults": [] if is_equal else ["it says BIT-PERFECT over other samples"]}
            for number in range(25) for way in ("shared", "exclusive") for channels in (1, 2, 6, 8)]


def witnesses(version, *faults):
    return [{"version": version, "witness": f"circumstance {number}", "way": "shared", "verdict": "DSP ACTIVE", "handed": "matches",
             "captured": "differs", "first": 7, "faults": list(faults)} for number in range(36)]


def attacks(*faults):
    return [{"version": "1.4.2", "attack": name, "faults": list(faults), "said": "11 attacks", "story": []} for name in ("one", "two")]


def reported(machine, newer, *only):
    """(exit status, text, whether the newer server was asked for) of a run with this machine and this newer server."""
    run, asked = loaded(), []

    def fetch(build, work):
        asked.append(True)
        return newer()

    def prepare(build, name, only, guest, programs):
        (build / name).mkdir()
        return build / name, None

    def boot(work, kernel, limit):
        (work / "results.jsonl").write_text("\n".join(json.dumps(record) for record in machine()))

    run.prepare, run.run_machine, run.newer_server = prepare, boot, fetch
    with tempfile.TemporaryDirectory() as folder, contextlib.redirect_stdout(io.StringIO()) as text:
        sys.argv = ["run", folder, *only]
        status = run.main()
        if (pathlib.Path(folder) / "matrix/report.txt").read_text() != text.getvalue():
            raise RuntimeError("the report is another one than the output")
    return status, text.getvalue(), bool(asked)


def absent():
    raise RuntimeError(NOT_HAD)


def faults():
    def own():
        return cells("0.3.65") + witnesses("0.3.65")

    def both():
        return own() + attacks() + cells("1.4.2") + witnesses("1.4.2")
    status, text, _ = reported(both, lambda: "1.4.2")
    if status or "FAIL" in text or "400 cells judged, 0 failed" not in text:
        yield f"a sound run: {status}, {text}"
    status, text, _ = reported(own, absent)
    if not status or f"FAIL PipeWire 1.4 was not tested. {NOT_HAD}" not in text:
        yield f"without the newer server: {status}, {text}"
    if "PipeWire 0.3.65, server" not in text or "200 cells judged, 1 failed" not in text:
        yield f"without the newer server the system's own is not tested: {text}"
    status, text, asked = reported(own, absent, "own")
    if status or asked or "FAIL" in text:
        yield f"of a run that does not want the newer server: {status}, {asked}, {text}"
    status, text, _ = reported(own, lambda: "1.4.2")
    if not status or "of two versions 0.3.65 reported" not in text:
        yield f"of a machine that did not try the newer one: {status}, {text}"
    status, text, _ = reported(own, lambda: "")
    if status or "no other version was tested" not in text:
        yield f"of a system that is new enough: {status}, {text}"
    status, text, _ = reported(lambda: cells("0.3.65", is_equal=False) + witnesses("0.3.65"), lambda: "")
    if not status or "it says BIT-PERFECT over other samples" not in text:
        yield f"of cells that lie: {status}, {text}"
    status, text, _ = reported(lambda: own() + attacks()[1:] + cells("1.4.2") + witnesses("1.4.2"), lambda: "1.4.2")
    if not status or "FAIL 1 of 2 hostile clients were tried" not in text:
        yield f"of a hostile client that was not tried: {status}, {text}"
    status, text, _ = reported(lambda: own() + attacks("it ended with 1") + cells("1.4.2") + witnesses("1.4.2"), lambda: "1.4.2")
    if not status or "FAIL a hostile client of PipeWire 1.4.2 (one): it ended with 1" not in text:
        yield f"of a hostile client that did harm: {status}, {text}"
    status, text, _ = reported(lambda: own()[:-1], lambda: "")
    if not status or "FAIL 35 circumstances had two witnesses, at least 36 must have" not in text:
        yield f"of a circumstance without witnesses: {status}, {text}"
    status, text, _ = reported(lambda: cells("0.3.65") + witnesses("0.3.65", "the recording matches"), lambda: "")
    if not status or "FAIL 0.3.65, shared, circumstance 1: the recording matches" not in text:
        yield f"of witnesses that disagree: {status}, {text}"
    status, text, _ = reported(list, lambda: "")
    if not status:
        yield f"of a machine that reports nothing: {status}, {text}"


if __name__ == "__main__":
    found = list(faults())
    print("\n".join(f"FAIL {fault}" for fault in found) or "11 runs reported as they must")
    sys.exit(bool(found))
