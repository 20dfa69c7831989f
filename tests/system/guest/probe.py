"""Runs tolvane-probe as an ordinary user of the group audio and reads its lines."""

import grp
import json
import os
import pathlib
import subprocess
import time

from cards import LONGER_STEP, STEP
from pace import skipping

PROGRAM = pathlib.Path("/tmp/bin/tolvane-probe")
USER = 4242
LIMIT = 120  # seconds of the machine's time that any run may take


def start(program, *arguments, settings=(), **streams):
    """A process of the ordinary user, with more settings in its environment."""
    return subprocess.Popen([str(program), *map(str, arguments)], stdin=subprocess.DEVNULL, cwd="/home/listener",
                            user=USER, group=USER, extra_groups=[grp.getgrnam("audio").gr_gid],
                            env={"PATH": os.environ["PATH"], "HOME": "/home/listener", "LC_ALL": "C.UTF-8", **dict(settings)}, **streams)


class Probe:
    """One run. REQUIRES: finish() is called. `settings` go into its environment."""

    def __init__(self, *arguments, settings=()):
        self.output, self.errors = pathlib.Path("/tmp/probe.out"), pathlib.Path("/tmp/probe.err")
        with open(self.output, "wb") as output, open(self.errors, "wb") as errors:
            self.process = start(PROGRAM, *arguments, settings=settings, stdout=output, stderr=errors)
        self.status = None
        self.malformed = []

    def finish(self, watch=None, seconds=LIMIT, pcm=None):
        """Waits for the end, calling `watch`, if there is one, all the while; idle time is skipped from the moment that `pcm`
        runs. A run over its time is killed: its status stays None."""
        end = time.monotonic() + seconds

        def wait(reached=lambda: False):
            while self.process.poll() is None and time.monotonic() < end and not reached():
                if watch:
                    watch()
                time.sleep(STEP if watch or pcm else LONGER_STEP)

        if pcm:
            wait(pcm.running)
            with skipping():
                wait()
        wait()
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        else:
            self.status = self.process.returncode
        return self

    @property
    def lines(self):
        parsed = []
        for line in self.output.read_text(errors="replace").splitlines():
            try:
                parsed.append(json.loads(line))
            except ValueError:
                self.malformed.append(line)
        return parsed

    def values(self, name):
        """What was published of one property, in order."""
        return [line for line in self.lines if line.get("property") == name]

    def last(self, name):
        """The value of the last line that has the key."""
        return next((line[name] for line in reversed(self.lines) if name in line), None)

    def error_texts(self):
        return [line["error"] for line in self.lines if "error" in line]

    def story(self):
        """The ends of both outputs, for the report of a failure."""
        return [f"{name}: {line}" for name, path, count in (("stdout", self.output, 8), ("stderr", self.errors, 8))
                for line in path.read_text(errors="replace").splitlines()[-count:]]

    def faults(self, completed):
        """What is wrong with a run that should have played so many tracks to their end."""
        found = []
        if self.status is None:
            found.append(f"the player had to be killed after {LIMIT} s")
        elif self.status:
            found.append(f"exit status {self.status}")
        found += [f"the player says: {text}" for text in self.error_texts()]
        for name, wanted in (("completed", completed), ("underruns", 0), ("recoveries", 0)):
            if self.last(name) != wanted:
                found.append(f"{name} is {self.last(name)}, not {wanted}")
        found += [f"not JSON: {line}" for line in self.malformed]
        return found
