#!/usr/bin/env python3
"""figures.py BUILD_DIR: what the tests of the last run of CTest measured and tabulated, from their output that CTest keeps.

Prints the table of verdicts as the unit tests found it, the sums of both fault campaigns' parts, and what the killed
players left. Exits with 1 when one of them or a part of a campaign is not there, or a campaign was shorter or the
kills were fewer than they must be.
"""

import pathlib
import re
import sys

TABLE = re.compile(r"^\[ RUN +\] AudioPathVerdict\.IsTheFirstRowThatApplies\n(.*?)^\[ +OK \]", re.MULTILINE | re.DOTALL)
PART = re.compile(r"^\[ RUN +\] Part/CampaignTest\.", re.MULTILINE)
TOTALS = re.compile(r"^(\d+) simulated hours \((\d+) of them playing\) in (\d+) worlds, (\d+) steps, (\d+) tracks played to "
                    r"their end, (\d+) of them into the next without a gap, (\d+) recoveries tried, (\d+) given up, (\d+) rates that arrived late, "
                    r"(\d+) wishes during outages.*\n\[ +OK \] Part/CampaignTest\.", re.MULTILINE)
SEAM_PART = re.compile(r"^\[ RUN +\] Part/SeamCampaignTest\.", re.MULTILINE)
SEAM_TOTALS = re.compile(r"^(\d+) simulated hours \((\d+) of them playing\) over the seam in (\d+) worlds, (\d+) starts, (\d+) "
                         r"commands sent, (\d+) of them replaced, (\d+) states seen, (\d+) agreements, (\d+) times held up.*\n"
                         r"\[ +OK \] Part/SeamCampaignTest\.", re.MULTILINE)
KILLS = re.compile(r"^((\d+) kills, \d+ states announced; \d+ within a transaction, \d+ before the last state was stored)\n"
                   r"\[ +OK \] KilledPlayer\.", re.MULTILINE)
PARTS = 4  # of each campaign, as tests/engine/campaign/CampaignTest.cpp and tests/session/campaign/SeamCampaignTest.cpp have them
LEAST_HOURS = 10_000  # simulated, of all parts together
LEAST_CROSSINGS = 1_000  # from one track into the next without a gap
LEAST_LATE_RATES = 1_000  # of devices that take longer than the player waits
LEAST_WISHES = 300  # of users during outages
LEAST_SEAM_HOURS = 190
LEAST_COMMANDS = 500_000  # over the seam, the window's questions included
LEAST_KILLS = 1_000


def verdicts(text):
    """(lines, whether they are what they should be), as campaign() has it."""
    found = TABLE.search(text)
    if not found:
        return ["The table of verdicts did not pass."], False
    return ["Verdicts (rates in hertz, 0 where none could be read)", *(f"  {line}" for line in found[1].splitlines())], True


def campaign(text):
    """A part that breaks a promise has no totals, or does not pass with them."""
    parts = [list(map(int, found.groups())) for found in TOTALS.finditer(text)]
    violations = len(PART.findall(text)) - len(parts)
    if not parts:
        return ["The fault campaign did not pass."], False
    hours, playing, worlds, steps, completions, crossings, recoveries, surrenders, late, wishes = map(sum, zip(*parts))
    lines = [f"Fault campaign: {hours} simulated hours ({playing} of them playing) in {worlds} worlds, {steps} acts of users "
             f"and devices, {completions} tracks played to their end, {crossings} of them into the next without a gap, {recoveries} recoveries tried, {surrenders} given up, {late} rates that arrived late, {wishes} wishes during outages, "
             f"violations = {violations}"]
    if len(parts) != PARTS:
        lines.append(f"{len(parts)} of the campaign's {PARTS} parts came to their end.")
    for count, least, what in ((crossings, LEAST_CROSSINGS, "crossings"), (late, LEAST_LATE_RATES, "rates that arrived late"),
                               (wishes, LEAST_WISHES, "wishes during outages")):
        if count < least:
            lines.append(f"The campaign had fewer than {least} {what}.")
    if hours < LEAST_HOURS:
        lines.append(f"The campaign was shorter than {LEAST_HOURS} hours.")
    return lines, len(lines) == 1 and violations == 0


def seam_campaign(text):
    parts = [list(map(int, found.groups())) for found in SEAM_TOTALS.finditer(text)]
    violations = len(SEAM_PART.findall(text)) - len(parts)
    if not parts:
        return ["The campaign over the seam did not pass."], False
    hours, playing, worlds, starts, commands, replaced, states, agreements, held_up = map(sum, zip(*parts))
    lines = [f"Campaign over the seam: {hours} simulated hours ({playing} of them playing) in {worlds} worlds, {starts} starts, "
             f"{commands} commands, {replaced} of them replaced, {states} states seen, {agreements} agreements, {held_up} times "
             f"held up, violations = {violations}"]
    if len(parts) != PARTS:
        lines.append(f"{len(parts)} of the {PARTS} parts over the seam came to their end.")
    if hours < LEAST_SEAM_HOURS:
        lines.append(f"The campaign over the seam was shorter than {LEAST_SEAM_HOURS} hours.")
    if commands < LEAST_COMMANDS:
        lines.append(f"The campaign over the seam had fewer than {LEAST_COMMANDS} commands.")
    return lines, len(lines) == 1 and violations == 0


def kills(text):
    found = KILLS.search(text)
    if not found:
        return ["The test of killed players did not pass."], False
    lines = [f"Killed players: {found[1]}"]
    if int(found[2]) < LEAST_KILLS:
        lines.append(f"There were fewer than {LEAST_KILLS} kills.")
    return lines, len(lines) == 1


def main():
    text = (pathlib.Path(sys.argv[1]) / "Testing/Temporary/LastTest.log").read_text(errors="replace")
    sections = [find(text) for find in (verdicts, campaign, seam_campaign, kills)]
    print("\n\n".join("\n".join(lines) for lines, _ in sections))
    return 0 if all(is_whole for _, is_whole in sections) else 1


if __name__ == "__main__":
    sys.exit(main())
