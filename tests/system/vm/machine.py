"""The virtual machine: QEMU with emulated sound cards over the host's own files, and nothing left when it is done."""

import json
import os
import select
import subprocess
import time

# One instruction takes one nanosecond of the machine's time, and an idle machine goes straight to its next timer
# (guest/pace.py says when). The machine's clock, its processor and its sound cards so keep one pace whatever the host is
# busy with: a loaded host makes the run longer, never an underrun.
CLOCK = ["-icount", "shift=0,sleep=off"]

# Without what costs the emulator most: copying by string instructions (erms), which it does byte by byte; multiplying and
# adding in one (fma), which it calculates in software; page tables and protections that no test needs.
PROCESSOR = "max,-erms,-fma,-la57,-smap,-smep"

# What each emulated card received is in the shared folder as NAME.wav. A card that is plugged in again has a recording
# of its own: QEMU would begin the first one anew.
RECORDINGS = ("usb", "usb-again", "usb-contract", "hda")
CARDS = ["-device", "qemu-xhci,id=xhci", "-device", "usb-audio,id=usb,bus=xhci.0,port=1,audiodev=usb",
         # With its timer the emulated codec drops what it holds when a stream pauses.
         "-device", "intel-hda,id=hda-bus", "-device", "hda-output,id=hda,bus=hda-bus.0,audiodev=hda,use-timer=off"]


def quoted(path):
    """A path as the value of a QEMU option: a comma would end it."""
    return str(path).replace(",", ",,")


class Machine:
    """REQUIRES: a kernel folder made by vm/prepare. `shared` is read-write in the machine, all else read only. Without an
    `initrd` it starts with the kernel folder's. With an unpacked kernel (vmlinux) it does not wake from a sleep."""

    def __init__(self, kernel, shared, tests, initrd=None, image="vmlinux"):
        self.console = shared / "console.log"
        self.messages = shared / "qemu.log"
        self.received = b""
        started = kernel / image if (kernel / image).exists() else kernel / "vmlinuz"
        audio = [option for card in RECORDINGS for option in
                 ("-audiodev", f"wav,id={card},path={quoted(shared / card)}.wav,"
                               "out.frequency=48000,out.channels=2,out.format=s16")]
        folders = [option for tag, path, access in
                   (("host", "/", ",readonly=on,multidevs=remap"), ("shared", shared, ""),
                    ("tests", tests, ",readonly=on"), ("modules", kernel / "lib/modules", ",readonly=on"))
                   for option in ("-virtfs", f"local,path={quoted(path)},mount_tag={tag},security_model=none{access}")]
        command = ["qemu-system-x86_64", "-machine", "q35,accel=tcg", "-cpu", PROCESSOR, "-m", "2048", "-smp", "1", *CLOCK,
                   "-display", "none", "-nodefaults", "-no-reboot", "-qmp", "stdio",
                   "-chardev", f"file,id=console,path={quoted(self.console)}", "-serial", "chardev:console",
                   "-kernel", str(started), "-initrd", str(initrd or kernel / "initrd.gz"),
                   "-append", "console=ttyS0 quiet loglevel=4 panic=-1 mitigations=off",
                   *folders, *audio, *CARDS]
        with open(self.messages, "wb") as messages:
            # The kernel ends QEMU should this process be killed outright. Without buffers: one that could not be written
            # to a machine that has ended would fail once more when it is closed.
            self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], bufsize=0, stdin=subprocess.PIPE,
                                            stdout=subprocess.PIPE, stderr=messages)
        os.set_blocking(self.process.stdout.fileno(), False)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()

    def running(self):
        return self.process.poll() is None

    def wait(self, seconds):
        """Whether the machine has powered itself off within the time."""
        try:
            self.process.wait(seconds)
            return True
        except subprocess.TimeoutExpired:
            return False

    def greet(self):
        """Opens the control connection. Raises on anything but QEMU's greeting."""
        self._reply("QMP")
        self.command("qmp_capabilities")

    def sleeps(self):
        """Whether it has suspended itself to RAM; not when it has ended."""
        try:
            return self.command("query-status")["status"] == "suspended"
        except (RuntimeError, OSError):
            if self.running() and not self.wait(60):
                raise
            return False

    def wake(self):
        """If it sleeps. Its own timer may have woken it since it was asked, and it may even have ended."""
        try:
            self.command("system_wakeup")
        except (RuntimeError, OSError):
            if self.sleeps():
                raise

    def command(self, name, **arguments):
        request = {"execute": name, "arguments": arguments}
        self.process.stdin.write(json.dumps(request).encode() + b"\n")
        return self._reply("return")

    def _reply(self, key, seconds=120):
        """The next message that has the key; events on the way are passed over. On a loaded host QEMU may need many seconds."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            line, newline, rest = self.received.partition(b"\n")
            if newline:
                self.received = rest
                message = json.loads(line)
                if "error" in message:
                    raise RuntimeError(f"QEMU refuses: {message['error'].get('desc')}")
                if key in message:
                    return message[key]
                continue
            if select.select([self.process.stdout], [], [], 0.2)[0]:
                piece = self.process.stdout.read()
                if not piece:
                    break
                self.received += piece
        raise RuntimeError(f"QEMU gives no answer; {self.last_words()}")

    def last_words(self, lines=20):
        """The ends of the console and of QEMU's own messages, for a report."""
        tail = []
        for path in (self.console, self.messages):
            if path.exists():
                text = path.read_text(errors="replace").splitlines()
                tail += [f"    {path.name}: {line}" for line in text if "create voice" not in line][-lines:]
        return "\n".join(["QEMU's console ends:", *tail]) if tail else "QEMU's console is empty"
