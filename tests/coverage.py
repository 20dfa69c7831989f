#!/usr/bin/env python3
"""coverage.py BUILD [FILE…]: runs the tests of a build with --coverage that reach platform/pipewire, and prints the share of
its lines that they run, a line a file; of these files also the lines that no test runs. Fails when a test fails, or when the
share of all lines is below LEAST."""

import collections
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDER = ROOT / "platform/pipewire"
LEAST = 85  # percent
BATCH = 50  # data files a run of gcov
IN_MEMORY = (("bin/test_pipewire", "--gtest_brief=1"), ("bin/test_contract_server", "--gtest_brief=1"))
# With a sound server of the test's own, and the player as a program.
WITH_SERVER = (("bin/test_stopped_server", "--gtest_brief=1"),
               ("ctest", "-R", r"^(pipewire\.|fuzz\.spa_pods)", "--no-tests=error", "--output-on-failure"))


def run_tests(build, commands):
    """Whether all of them passed."""
    passed = True
    for program, *options in commands:
        path = build / program
        result = subprocess.run([path if path.exists() else program, *options], cwd=build, capture_output=True, text=True)
        if result.returncode != 0:
            print(result.stdout + result.stderr)
            passed = False
    return passed


def count_lines(build):
    """file → line → how often it was run since the data files were deleted, over all objects that have it."""
    counts = collections.defaultdict(collections.Counter)
    data = sorted(build.rglob("*.gcda"))
    for start in range(0, len(data), BATCH):
        output = subprocess.run(["gcov", "--json-format", "--stdout", *data[start:start + BATCH]], cwd=build, check=True,
                                capture_output=True, text=True).stdout
        for document in output.splitlines():
            for file in json.loads(document)["files"]:
                path = pathlib.Path(build, file["file"]).resolve()
                if not path.is_relative_to(FOLDER):
                    continue
                for line in file["lines"]:
                    counts[path.relative_to(FOLDER)][line["line_number"]] += line["count"]
    return counts


def covered(lines):
    return sum(1 for count in lines.values() if count > 0)


def row(name, lines, in_memory, together):
    return f"{name:44} {lines:6} {100 * in_memory / lines:12.1f} % {100 * together / lines:12.1f} %"


def print_table(in_memory, together):
    """The share of all lines, in percent."""
    sums = collections.defaultdict(lambda: [0, 0, 0])
    print(f"{'platform/pipewire':44} {'lines':>6} {'in memory':>14} {'with a server':>14}")
    for file, lines in sorted(together.items()):
        figures = len(lines), covered(in_memory.get(file, {})), covered(lines)
        print(row(str(file), *figures))
        for name in (f"{file.parent}/", "all"):
            sums[name] = [total + figure for total, figure in zip(sums[name], figures)]
    print()
    for name, figures in sorted(sums.items(), key=lambda entry: (entry[0] == "all", entry[0])):
        print(row(name, *figures))
    lines, _, run = sums["all"]
    return 100 * run / lines


def print_missing(file, lines):
    text = (FOLDER / file).read_text(encoding="utf-8").splitlines()
    for number in sorted(number for number, count in lines.items() if count == 0):
        print(f"{file}:{number}: {text[number - 1]}")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    for path in build.rglob("*.gcda"):
        path.unlink()
    passed = run_tests(build, IN_MEMORY)
    in_memory = count_lines(build)
    passed = run_tests(build, WITH_SERVER) and passed
    together = count_lines(build)
    if not together:
        print("No line of platform/pipewire was run")
        return 1
    share = print_table(in_memory, together)
    for name in sys.argv[2:]:
        print_missing(name, together[pathlib.Path(name)])
    if share < LEAST:
        print(f"Less than {LEAST} % of the lines are run")
    return 0 if passed and share >= LEAST else 1


if __name__ == "__main__":
    sys.exit(main())
