"""Completes the machine's results with what only the host knows, prints them as they come, and the table at the end."""

import compare
import dac_plan
import plan
import tracks

WAV_HEADER = 44  # bytes before the samples in what QEMU records

class Judge:
    def __init__(self, work, is_whole):
        self.work = work
        self.is_whole = is_whole
        self.cases = {case.name: case for case in (*plan.loopback_cases(), *dac_plan.cases())}
        self.expected = []  # names of all tests, once the machine has reported them
        self.verdicts = {}  # name → faults
        self.held = {}  # results that wait for the end of the machine
        self.cells = {}
        self.seen_verdicts = []  # rows: what the player reports, how the kernel had set the device up, and why
        self.is_finished = False
        self.why_stopped = None
        self.lines = []

    def take(self, record):
        if "tests" in record:
            self.expected = record["tests"]
        elif "finished" in record:
            self.is_finished = True
        elif record["test"] in plan.RECEIVED:
            self.held[record["test"]] = record
        else:
            self._judge(record)

    def take_received(self):
        """The cards' recordings are complete once the machine is off."""
        for name, record in self.held.items():
            file, track, pauses = plan.RECEIVED[name]
            recording = (self.work / file).read_bytes()[WAV_HEADER:]
            difference = compare.held(tracks.expected(track, "S16_LE"), recording, 4, pauses)
            if difference:
                record["faults"].append(f"{file}: {difference}")
            self._print(record)

    def stopped(self, why):
        self.why_stopped = why

    def _judge(self, record):
        case = self.cases.get(record["test"])
        if case is not None:
            captured = self.work / "captures" / record["capture"] if record["capture"] else None
            difference = _difference(case, captured) if captured else "nothing was captured"
            if case.cell:
                self.cells[case.cell] = _short(difference) or ("see FAIL above" if record["faults"] else "identical")
            if difference:
                record["faults"].insert(0, difference)
            elif not record["faults"]:
                captured.unlink()
        self._print(record)

    def _print(self, record):
        name, faults = record["test"], record["faults"]
        if record["verdict"] and not faults:
            self.seen_verdicts.append(record["verdict"])
        self.verdicts[name] = faults
        if not faults:
            self._say(f"ok   {name}" + (f": {record['remark']}" if record["remark"] else ""))
            return
        self._say(f"FAIL {name}: {'; '.join(faults)}")
        for line in record["story"]:
            self._say(f"       {line}")

    def _say(self, line):
        """On the terminal at once, and in the report that stays."""
        print(line, flush=True)
        self.lines.append(line)

    def summary(self):
        """Prints the table and the count; the run's exit status."""
        missing = [name for name in self.expected if name not in self.verdicts]
        for name in missing:
            self._say(f"FAIL {name}: no result")
        if self.why_stopped:
            self._say(f"FAIL the run: {self.why_stopped}")
        tables = (("Loopback card, played against captured:", plan.FORMATS, plan.RATES),
                  ("USB DAC, played against its wire:", dac_plan.FORMATS, dac_plan.RATES))
        for line in (line for shown in tables for line in table(*shown, self.cells)) if self.expected and self.is_whole else ():
            self._say(line)
        for line in columns("Verdicts that real devices cause, and the hw_params that the kernel showed meanwhile:",
                            self.seen_verdicts) if self.seen_verdicts else ():
            self._say(line)
        failed = len(missing) + sum(bool(faults) for faults in self.verdicts.values())
        passed = len(self.verdicts) + len(missing) - failed
        self._say(f"system test: {passed} passed, {failed} failed" + (", and the run was stopped" if self.why_stopped else ""))
        self.work.mkdir(parents=True, exist_ok=True)
        (self.work / "report.txt").write_text("\n".join(self.lines) + "\n")
        return 0 if not failed and not self.why_stopped and self.is_finished and self.expected else 1


def _difference(case, captured):
    frame = plan.SAMPLE_BYTES[case.capture] * case.track.channels
    data = captured.read_bytes()
    pieces = [tracks.expected(track, case.capture) for track in case.tracks]
    if not case.joins:
        return compare.one_after_another(pieces, data, frame)
    whole = b"".join(pieces)[case.first_frame * frame:]
    if case.pauses:
        return compare.identical_but_for_a_gap(whole, data, frame, case.track.rate // 5)
    return compare.identical(whole, data, frame)


def _short(difference):
    """Without the values, for the table."""
    return difference and difference.partition(":")[0]


def table(title, kinds, rates, cells):
    """Formats down, rates across; in each cell "identical" or the first difference in words."""
    heads = ["", *(f"{rate / 1000:g} kHz" for rate in rates)]
    rows = [[" ".join(kind), *(cells.get((kind, rate), "no result") for rate in rates)] for kind in kinds]
    return columns(title, [heads, *rows])


def columns(title, rows):
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = ["  " + "  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip() for row in rows]
    return ["", title, *lines, ""]
