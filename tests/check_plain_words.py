#!/usr/bin/env python3
"""Checks that every sentence with which the engine ends a preparation or an output has plain words beside it (the table in
engine/PlainWords.cpp), and that the table has no other. Usage: check_plain_words.py ROOT"""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from check_alterations import literals  # noqa: E402

TABLE = "engine/PlainWords.cpp"
LOGGED_ONLY = "waveform"  # a folder of the engine whose messages end nothing that a user asked for
# What a sentence is given to, or kept as. One that carries a status of the system is found by the status.
ENDINGS = re.compile(r"\b(?:failure|failRuntime|failureOfNoFrames|restartUnit|scheduleOutputRecovery|AudioPlayerError::message)\(\s*"
                     r'"((?:[^"\\\n]|\\.)*)"|(?:recoveryReason_|TooLarge|behindTheEnd) = (?:bilingual|toTranslate)\("((?:[^"\\\n]|\\.)*)"')
ENTRY = re.compile(r'PlainMessage\{\s*"((?:[^"\\\n]|\\.)*)"')
FEWEST = 18  # sentences that there were when this was written, and a few less


def main():
    root = pathlib.Path(sys.argv[1])
    table = root / TABLE
    entries = set(ENTRY.findall(table.read_text(encoding="utf-8")))
    sources = [path for path in sorted((root / "engine").rglob("*.cpp")) if path != table and path.parent.name != LOGGED_ONLY]
    ends = {text for path in sources for match in ENDINGS.findall(path.read_text(encoding="utf-8"))
            for text in match if text.endswith(".")}
    said = {text for path in sources for text, _ in literals(path)}
    faults = [f"no plain words for \"{text}\"" for text in sorted(ends - entries)]
    faults += [f"plain words for \"{text}\", which nothing says" for text in sorted(entries - said)]
    print("\n".join(faults))
    print(f"{len(ends)} sentences that end something, {len(entries)} with plain words, {len(faults)} faults.")
    return 1 if faults or len(ends) < FEWEST else 0


if __name__ == "__main__":
    sys.exit(main())
