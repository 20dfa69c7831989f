"""Plays every planned case to the emulated DAC, whose wire must receive what the file holds, to the last byte."""

import subprocess
import traceback

import contested
import dac_faults
import dac_plan
import reservation
import verdicts
from loopback import path_faults
from plan import CHANNELS
from report import SHARED, guarded, wanted
from usb_dac import PCM, Dac, play


def play_case(dac, case, number):
    """The faults seen in the machine; the host compares what the wire received."""
    dac.device()
    stream = dac.stream()
    probe, seen = play(dac, case.track)
    faults = probe.faults(1) + path_faults(case, probe, seen) + stream.faults((case.capture, case.track.rate, CHANNELS))
    if not PCM.closed():
        faults.append(f"the device is still held by process {PCM.owners()}")
    kept = SHARED / "captures" / f"dac-{number:03}.raw"
    kept.write_bytes(stream.bytes())
    return {"faults": faults, "story": [*probe.story(), *stream.story()], "capture": kept.name}


def faults():
    return [*dac_faults.tests(), *verdicts.tests(), *contested.tests(), *reservation.tests()]


def names():
    return [case.name for case in dac_plan.cases()] + [name for name, _ in faults()]


def run_all():
    number = 0
    for options, cases in dac_plan.DACS:
        cases = [case for case in cases if wanted(case.name)]
        if not cases:
            continue
        try:
            with Dac(*options) as dac:
                for case in cases:
                    number += 1
                    guarded(case.name, lambda: play_case(dac, case, number))
        except (OSError, subprocess.SubprocessError):  # no such DAC: the host misses its results
            traceback.print_exc()
    for name, test in faults():
        guarded(name, test)
