#!/usr/bin/env python3
"""Does a machine that ends while it is asked something end in order? A stand-in takes QEMU's place. Exit status 0: yes."""

import os
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

from vm.machine import Machine  # noqa: E402

# Greets, answers the first command, hangs up, and ends.
STAND_IN = """#!/bin/sh
echo '{"QMP": {}}'
read -r command
echo '{"return": {}}'
exec <&- >&-
exit 0
"""


class AMachineThatEnds(unittest.TestCase):
    def test_while_it_is_asked_whether_it_sleeps(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            stand_in = folder / "qemu-system-x86_64"
            stand_in.write_text(STAND_IN)
            stand_in.chmod(0o755)
            before, os.environ["PATH"] = os.environ["PATH"], f"{folder}:{os.environ['PATH']}"
            try:
                machine = Machine(folder, folder, folder)
            finally:
                os.environ["PATH"] = before
            with machine:
                machine.greet()
                self.assertTrue(machine.wait(60))
                self.assertFalse(machine.sleeps())
                machine.wake()
            self.assertEqual(0, machine.process.returncode)


if __name__ == "__main__":
    unittest.main()
