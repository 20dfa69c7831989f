#!/usr/bin/env python3
"""figures.py BUILD_DIR: what the tests of the last run of CTest measured and tabulated, from their output that CTest keeps.

Prints the table of verdicts as the unit tests found it, and the sum of the fault campaign's parts.
"""

import pathlib
import re
import sys

TABLE = re.compile(r"^\[ RUN +\] AudioPathVerdict\.IsTheFirstRowThatApplies\n(.*?)^\[ +OK \]", re.MULTILINE | re.DOTALL)
PART = re.compile(r"^\[ RUN +\] Part/CampaignTest\.", re.MULTILINE)
TOTALS = re.compile(r"^(\d+) simulated hours \((\d+) of them playing\) in (\d+) worlds, (\d+) steps, (\d+) tracks played to "
                    r"their end, (\d+) recoveries tried, (\d+) given up", re.MULTILINE)


def verdicts(text):
    found = TABLE.search(text)
    if not found:
        return ["The table of verdicts did not pass."]
    return ["Verdicts: row and facts, label", *(f"  {line}" for line in found[1].splitlines())]


def campaign(text):
    """A part that breaks a promise stops, and has no totals."""
    parts = [list(map(int, found.groups())) for found in TOTALS.finditer(text)]
    violations = len(PART.findall(text)) - len(parts)
    if not parts:
        return ["The fault campaign did not pass."]
    hours, playing, worlds, steps, completions, recoveries, surrenders = map(sum, zip(*parts))
    return [f"Fault campaign: {hours} simulated hours ({playing} of them playing) in {worlds} worlds, {steps} events, "
            f"{completions} tracks played to their end, {recoveries} recoveries tried, {surrenders} given up, "
            f"violations = {violations}"]


def main():
    text = (pathlib.Path(sys.argv[1]) / "Testing/Temporary/LastTest.log").read_text(errors="replace")
    print("\n".join([*verdicts(text), "", *campaign(text)]))


if __name__ == "__main__":
    main()
