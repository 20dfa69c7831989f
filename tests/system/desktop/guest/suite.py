"""Runs the contract suite over the PipeWire adapter: every test that the program lists, but for those that EXCEPT names."""

import contextlib
import pathlib
import subprocess
import time

import desktop
from cards import wait_until
from contract import failures
from pace import skipping
from player import LOOPBACK
from usb import IDENTITY, ready
from usb_dac import CARD, Dac

PROGRAM = pathlib.Path("/tmp/bin/contract_pipewire")
REPLUG = pathlib.Path("/tmp/replug")
LIMIT = 400  # seconds of the machine's time
# What cannot hold over a sound server, and why.
EXCEPT = {"RemovalContract.AUnitThatLostItsDevicePlaysOnlyAfterANewInitialisation":
          "a stopped unit finds its sink again when it is started, as it must after a pause in which the server was restarted"}
WITH_OTHERS = ("HeardContract", "ContestedDeviceContract", "RemovalContract")


def settings():
    """By their identities: the server gives a name anew when a card comes back to it."""
    return {"TOLVANE_CONTRACT_DEVICES": "pci-",
            "TOLVANE_CONTRACT_LOOPBACK": "aloop=hw:Loopback,1,0",
            "TOLVANE_CONTRACT_CONTESTED": "pci-=hw:Intel,0",
            "TOLVANE_CONTRACT_REMOVABLE": f"{IDENTITY}={REPLUG}"}


def listed(given):
    """(suite, "suite.test", full name of the test) as the program lists them."""
    found, suite = [], ""
    for line in desktop.start(PROGRAM, "--gtest_list_tests", settings=given, stdout=subprocess.PIPE,
                              text=True).communicate(timeout=LIMIT)[0].splitlines():
        if not line.startswith(" "):
            suite = line.split(".")[0]
        else:
            full = f"{suite}.{line.split('#')[0].strip()}"
            found.append((suite.rpartition("/")[2], full.split("/")[1], full))
    return found


def run(names, given, pace=skipping):
    """(faults, what failed). All of them must pass. `pace`: not skipping() for tests that start programs."""
    process = desktop.start(PROGRAM, f"--gtest_filter={':'.join(names)}", settings=given, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    time.sleep(1)  # it is being loaded
    with pace():
        output = process.communicate(timeout=LIMIT)[0].splitlines()
    passed = sum(line.startswith("[       OK ]") for line in output)
    faults = [] if process.returncode == 0 and passed == len(names) and names else \
        [f"exit status {process.returncode}, {passed} of {len(names)} tests passed"]
    return faults, failures(output)


def wanted(given, *suites):
    """The tests of these suites, or, without any, of those that need no other program."""
    return [full for suite, test, full in listed(given)
            if (suite in suites if suites else suite not in WITH_OTHERS) and test not in EXCEPT]


def result(names, faults, story):
    return {"faults": faults, "remark": f"{len(names)} tests", "story": story}


def alone():
    for card in desktop.CARDS:
        desktop.sink(card)  # the last test may have taken one from the server
    desktop.full_volume("Intel")
    given = settings()
    names = wanted(given)
    return result(names, *run(names, given))


def heard():
    """One at a time, and the server must close the loopback card before each: it keeps it open in a format of its own,
    which the next recorder cannot have."""
    desktop.set_volume("Loopback", "1.0")
    given, faults, story = settings(), [], []
    names = wanted(given, "HeardContract")
    for name in names:
        desktop.text_of("pw-cli", "send-command", desktop.sink("Loopback")["object.id"], "Suspend", "{}")
        if not wait_until(LOOPBACK.closed, 5):
            faults.append("the server does not close the loopback card")
        more, lines = run([name], given, contextlib.nullcontext)
        faults, story = faults + more, story + lines
    return result(names, faults, story)


def contested():
    given = settings()
    names = wanted(given, "ContestedDeviceContract")
    return result(names, *run(names, given))


def removed():
    """On our own DAC, which the user's program may pull."""
    with Dac() as dac:
        ready()
        dac.folder.chmod(0o755)
        dac.commands.chmod(0o666)
        # A test that begins before the DAC has its sink again would play without the server.
        REPLUG.write_text(f"""#!/bin/sh
[ $1 = unplug ] && exec echo detach >{dac.commands}
echo attach >{dac.commands}
for i in $(seq 50); do pw-cli ls Node | grep -q {desktop.sink(CARD)["node.name"]} && exit; sleep 0.2; done
""")
        REPLUG.chmod(0o755)
        dac.pull()
        desktop.start(REPLUG, "plug").wait(60)  # what that loads stays in memory
        ready()
        given = settings()
        names = wanted(given, "RemovalContract")
        outcome = run(names, given)
    return {**result(names, *outcome), "remark": f"{len(names)} tests; without {'; '.join(map(': '.join, EXCEPT.items()))}"}
