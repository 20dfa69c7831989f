#!/usr/bin/env python3
"""hardening.py PROGRAM...: whether the programs were built to end rather than be taken over by hostile input.

Each must be position independent, resolve its symbols at the start and keep their table read-only, have no executable
stack, and contain functions that check their stack and calls of the C library's checked functions. Prints a line a
program; the exit status is 1 when one of them lacks something.
"""

import re
import subprocess
import sys


def read(option, program):
    return subprocess.run(["readelf", "-W", option, program], check=True, capture_output=True, text=True).stdout


def faults(program):
    header, segments = read("-h", program), read("-l", program)
    dynamic, symbols = read("-d", program), read("--dyn-syms", program)
    stack = re.search(r"GNU_STACK.* (R\w*) +0x", segments)
    found = []
    if "Type:                              DYN" not in header or "PIE" not in dynamic:
        found.append("it is not position independent")
    if "GNU_RELRO" not in segments or not re.search(r"\bNOW\b", dynamic):
        found.append("the table of its symbols stays writable")
    if not stack or "E" in stack[1]:
        found.append("its stack is executable")
    if "__stack_chk_fail" not in symbols:
        found.append("no function checks its stack")
    checked = set(re.findall(r"\b(__\w+_chk)\b", symbols)) - {"__stack_chk_fail"}
    if not checked:
        found.append("it calls no checked function of the C library")
    return found, len(checked)


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    failed = 0
    for program in sys.argv[1:]:
        found, checked = faults(program)
        failed += bool(found)
        print(f"{program}: {'; '.join(found) or f'hardened, {checked} checked functions of the C library'}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
