"""Completes the machine's results with what only the host knows, prints them as they come, and the table at the end."""

import compare
import plan
import tracks


class Judge:
    def __init__(self, work):
        self.work = work
        self.cases = {case.name: case for case in plan.loopback_cases()}
        self.expected = []  # names of all tests, once the machine has told them
        self.verdicts = {}  # name → faults
        self.held = {}  # results that wait for the end of the machine
        self.cells = {}
        self.is_finished = False
        self.why_stopped = None

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
        """The cards' own recordings are complete once the machine is off."""
        for name, record in self.held.items():
            file, track = plan.RECEIVED[name]
            sound = tracks.expected(track, "S16_LE")
            times = _times(sound, (self.work / file).read_bytes(), 4)
            if not times:
                record["faults"].append(f"{file} does not hold the track in one piece")
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
        self.verdicts[name] = faults
        if not faults:
            print(f"ok   {name}" + (f": {record['remark']}" if record["remark"] else ""), flush=True)
            return
        print(f"FAIL {name}: {'; '.join(faults)}")
        for line in record["story"]:
            print(f"       {line}")
        print(end="", flush=True)

    def summary(self):
        """Prints the table and the count; the run's exit status."""
        missing = [name for name in self.expected or self.cases if name not in self.verdicts]
        for name in missing:
            print(f"FAIL {name}: no result")
        if self.why_stopped:
            print(f"FAIL the run: {self.why_stopped}")
        print_table(self.cells)
        failed = len(missing) + sum(bool(faults) for faults in self.verdicts.values())
        passed = len(self.verdicts) + len(missing) - failed
        print(f"system test: {passed} passed, {failed} failed" + (", and the run was stopped" if self.why_stopped else ""))
        return 0 if not failed and not self.why_stopped and self.is_finished and self.expected else 1


def _difference(case, captured):
    frame = plan.SAMPLE_BYTES[case.capture] * plan.CHANNELS
    data = captured.read_bytes()
    whole = tracks.expected(case.track, case.capture)
    if case.then:
        return compare.one_after_another([whole, tracks.expected(case.then, case.capture)], data, frame)
    if case.first_frame:
        return compare.identical_after_a_seek(whole, case.first_frame * frame, data, frame, case.track.rate // 10)
    if case.pauses:
        return compare.identical_but_for_a_gap(whole, data, frame, case.track.rate // 5)
    return compare.identical(whole, data, frame)


def _short(difference):
    """Without the values, for the table."""
    return difference and difference.partition(":")[0]


def _times(sound, recording, frame_bytes):
    """How often the recording, after its header, holds the sound on a frame's edge."""
    count, at = 0, recording.find(sound)
    while at >= 0:
        count += (at - 44) % frame_bytes == 0
        at = recording.find(sound, at + 1)
    return count


def print_table(cells):
    """Formats down, rates across; in each cell "identical" or the first difference in words."""
    heads = [f"{rate / 1000:g} kHz" for rate in plan.RATES]
    rows = [[" ".join(kind), *(cells.get((kind, rate), "no result") for rate in plan.RATES)] for kind in plan.FORMATS]
    widths = [max(len(row[column]) for row in [["", *heads], *rows]) for column in range(len(heads) + 1)]
    print("\nLoopback card, played against captured:")
    for row in [["", *heads], *rows]:
        print("  " + "  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip())
    print()
