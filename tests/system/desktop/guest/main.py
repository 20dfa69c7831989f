"""All tests of the desktop, in order. One that breaks down is its own failure."""

import json
import os
import pathlib
import resource
import shutil
import signal
import sys
import traceback

sys.path.insert(0, "/vm/tests")

import desktop  # noqa: E402
import losing  # noqa: E402
import sharing  # noqa: E402
import signatures  # noqa: E402
import suite  # noqa: E402
import taking  # noqa: E402
import usb  # noqa: E402
from player import PROBE, SHARED  # noqa: E402


def tests():
    for width in (2, 3):
        for rate in (44100, 48000, 96000, 192000):
            yield (f"{8 * width} bits at {rate / 1000:g} kHz arrive as they are through the sink",
                   lambda w=width, r=rate: sharing.shared(r, w))
    yield "A pause loses and repeats no frame", sharing.paused
    yield "Verdict 6b, DSP ACTIVE: a sink at 80 %", sharing.attenuated
    yield "The report names the driver, the server and where the card's format was read", sharing.reported
    yield "A card whose mixer is lowered behind the server is not BIT-PERFECT until it is raised", sharing.turned_down
    yield "A second program plays, and the rate comes back afterwards", sharing.second_program
    yield "A channel that somebody links into another is not BIT-PERFECT", sharing.crossed
    yield "A sink that follows another clock is not BIT-PERFECT", sharing.clocks
    yield "Exclusive Access comes and goes while the music plays, and loses no frame", taking.switched
    yield "A sink that does not come back leaves the music to the card, and no frame is lost", taking.not_given_back
    yield "A player that quits with a card from the server leaves the sink as it was", lambda: taking.ended(signal.SIGTERM)
    yield "A player that is killed with a card from the server leaves the sink as it was", lambda: taking.ended(signal.SIGKILL)
    yield "A card that is taken away and dropped is taken back, and loses no frame", taking.stolen
    yield ("Verdict 8, DIRECT PCM: a card that another program has too; when it leaves, the card is taken from under the shared "
           "music, and no frame is lost", taking.left)
    yield "The adapter keeps its contract", suite.alone
    yield "The adapter keeps its contract in what is heard", suite.heard
    yield "The adapter keeps its contract beside another program", suite.contested
    yield "The adapter keeps its contract when the device is pulled", suite.removed
    yield "A USB DAC's wire gets 16 and 24 bits at every rate as they are through the sink", usb.table
    yield "A USB DAC that is pulled and comes back is recovered from, or said to be missing", usb.unplugged
    yield "A server that dies and comes back is recovered from, and nothing is heard twice", losing.restarted
    yield "A server that dies and comes back during a pause leaves nothing to be seen", losing.restarted_while_paused
    yield "A server that hangs for a while is recovered from, and nothing is heard twice", losing.frozen
    yield "A server that hangs for good is said to be missing, and used when it is back", losing.frozen_for_good
    yield "A server without a session manager leaves the cards to be played to directly", losing.without_manager
    yield "A server that comes late gets the card in a pause, and the music goes on through it", losing.later
    # The card comes back from the latter with what it had room for beside a recording.
    yield "Every format, depth and rate is handed over and recorded as the verdict says, through the sink", signatures.signed("shared")
    yield ("Every format and depth is handed over and recorded as the verdict says, with Exclusive Access",
           lambda: signatures.signed("exclusive", (44100, 96000))())


def main():
    resource.setrlimit(resource.RLIMIT_RTPRIO, (20, 20))
    os.chmod("/tmp", 0o1777)
    shutil.copytree(SHARED / "bin", PROBE.parent)
    only = json.loads((SHARED / "only.json").read_text())
    desktop.begin()
    for name, test in tests():
        if only and not any(text in name for text in only):
            continue
        try:
            record = {"remark": "", **test()}
        except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
            record = {"faults": ["the test broke down"], "remark": "", "story": traceback.format_exc().splitlines()}
        with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
            results.write(json.dumps({"test": name, **record}) + "\n")
    (SHARED / "finished").touch()


if __name__ == "__main__":
    pathlib.Path("/vm/shared/booted").touch()
    main()
