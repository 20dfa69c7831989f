"""Runs the contract suite over the ALSA adapter, a process a suite and device, so that one that hangs stops no other."""

import contextlib
import pathlib
import subprocess
import sys

import hardware
from cards import present, wait_until
from pace import skipping
from probe import start

PROGRAM = pathlib.Path("/tmp/bin/contract_alsa")
REPLUG = pathlib.Path(__file__).with_name("replug.py")
# Suites that start programs, or pull a card and wait for udev.
STARTING_PROGRAMS = ("HeardContract", "ContestedDeviceContract", "RemovalContract")
LIMIT = 240  # seconds of the machine's time that one suite may take


def settings():
    """The suites that change rates get the cards with several rates; the USB card has one, but can be held and pulled."""
    loopback, hda, dummy, usb = (hardware.device_name(card).partition(",")[0] for card in ("aloop", "pci-", "dummy", "usb-"))
    return {"TOLVANE_CONTRACT_DEVICES": f"{loopback},{hda},{dummy}",
            "TOLVANE_CONTRACT_LOOPBACK": f"{loopback}=hw:Loopback,1,0",
            "TOLVANE_CONTRACT_CONTESTED": f"{usb}=hw:{hardware.USB},0",
            "TOLVANE_CONTRACT_REMOVABLE": f"{usb}=/usr/bin/python3 -B {REPLUG}"}


def suites():
    """(suite, device) → number of tests, as the program lists them."""
    listed = start(PROGRAM, "--gtest_list_tests", settings=settings(), stdout=subprocess.PIPE,
                   text=True).communicate(timeout=LIMIT)[0]
    found, suite = {}, ""
    for line in listed.splitlines():
        if not line.startswith(" "):
            suite = line.split(".")[0]
        else:
            device = line.split("#")[0].strip().rpartition("/")[2]
            found[suite, device] = found.get((suite, device), 0) + 1
    return found


def run(suite, device, count):
    output = pathlib.Path("/tmp/contract.out")
    with open(output, "wb") as file:
        process = start(PROGRAM, f"--gtest_filter={suite}.*/{device}", settings=settings(), stdout=file,
                        stderr=subprocess.STDOUT)
    try:
        with contextlib.nullcontext() if suite.endswith(STARTING_PROGRAMS) else skipping():
            process.wait(LIMIT)
        faults = [] if process.returncode == 0 else [f"exit status {process.returncode}"]
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        faults = [f"did not end within {LIMIT} s"]
    lines = output.read_text(errors="replace").splitlines()
    passed = sum(line.startswith("[       OK ]") for line in lines)
    if passed != count:
        faults.append(f"{passed} of {count} tests passed")
    if not present(hardware.USB):  # a suite that died between pulling the card and plugging it in
        subprocess.run([sys.executable, "-B", REPLUG, "plug"], check=True, timeout=60)
        wait_until(lambda: present(hardware.USB), 30)
    return {"faults": faults, "remark": f"{count} tests", "story": failures(lines)}


def failures(lines):
    """What was printed between the start and the failure of each test that failed."""
    story, test = [], []
    for line in lines:
        test = [line] if line.startswith("[ RUN ") else test + [line]
        if line.startswith("[  FAILED  ]") and test[0].startswith("[ RUN "):
            story += test[:30]
            test = [""]
    return (story + test[-10:])[:120]


def tests():
    """REQUIRES: the user may record, and ask the host. Names each suite and device."""
    return [(f"The ALSA adapter keeps its contract: {suite.rpartition('/')[2]} on {device.removeprefix('alsa')}",
             lambda suite=suite, device=device, count=count: run(suite, device, count))
            for (suite, device), count in suites().items()]
