"""A run of the machine with a desktop in it, for all tests that need one: its folder, its programs, its end."""

import json
import pathlib
import shutil
import subprocess
import time

from vm.machine import Machine

HERE = pathlib.Path(__file__).resolve().parent
PROGRAMS = ("tolvane-probe", "contract_pipewire", "test_dac", "idle_filler")
TOOLS = ("qemu-system-x86_64", "setpriv", "depmod", "cpio", "busybox", "arecord", "pipewire", "wireplumber", "wpctl",
         "dbus-daemon", "udevadm", "apt-cache")
WHOLE_RUN = 2400  # seconds of the host's time
FETCHING = 600  # seconds for the newer server's packages


def prepare(build, name, only, guest=(), programs=PROGRAMS):
    """Makes BUILD/NAME anew; returns it, and the kernel's folder. `guest`: folders whose programs come over the desktop's.
    `programs` of BUILD are in the machine."""
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        raise RuntimeError(f"not installed: {', '.join(missing)} (see {HERE / 'packages.txt'})")
    work = build / name
    shutil.rmtree(work, ignore_errors=True)
    (work / "bin").mkdir(parents=True)
    (work / "requests").mkdir()
    for program in programs:
        shutil.copy2(build / "bin" / program, work / "bin")
    # The system test's helpers, and the desktop's programs in the place of its own.
    for folder in (HERE.parent / "guest", HERE / "guest", *guest):
        shutil.copytree(folder, work / "tests/guest", dirs_exist_ok=True)
    for module in HERE.parent.glob("*.py"):
        shutil.copy2(module, work / "tests")
    (work / "only.json").write_text(json.dumps(only))
    made = subprocess.run([HERE.parent / "vm/prepare", build / "vm"], stdout=subprocess.PIPE, text=True, timeout=600)
    if made.returncode:
        raise RuntimeError("the kernel could not be prepared")
    return work, pathlib.Path(made.stdout.strip())


def newer_server(build, work):
    """Puts the packages of the newer server where the machine finds them. Returns its version, or an empty text where the
    system's own is new enough."""
    try:
        made = subprocess.run([HERE.parent / "matrix/backports", build / "backports"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=FETCHING)
    except subprocess.TimeoutExpired:
        raise RuntimeError(f"PipeWire from the backports: not fetched within {FETCHING} s") from None
    if made.returncode:
        raise RuntimeError(made.stderr.strip())
    version = made.stdout.strip()
    if version:
        (work / "newer").mkdir()
        for archive in (build / "backports").glob("*.tar"):
            shutil.copy2(archive, work / "newer")
    return version


def run_machine(work, kernel, limit=WHOLE_RUN):
    with Machine(kernel, work, work / "tests") as machine:
        machine.greet()
        end = time.monotonic() + limit
        while machine.running() and time.monotonic() < end:
            time.sleep(0.2)
        if machine.running():
            raise RuntimeError(f"the machine did not end in {limit} s; {machine.last_words()}")
        if not (work / "finished").exists():
            raise RuntimeError(f"the machine ended too early; {machine.last_words()}")


def records_of(work):
    """What the machine reported, a line each."""
    results = work / "results.jsonl"
    return [json.loads(line) for line in results.read_text().splitlines()] if results.exists() else []
