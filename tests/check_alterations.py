#!/usr/bin/env python3
"""Checks that a test expects every sentence in which the sources describe an alteration of samples, and its cure, word
by word. The compiler sees to it that each alteration has a cure. Usage: check_alterations.py ROOT"""

import pathlib
import re
import sys

LITERALS = re.compile(r'(?:"(?:[^"\\\n]|\\.)*"\s*)+(?:_cure)?')
PIECE = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
INCLUDES = re.compile(r"^\s*#.*$", re.MULTILINE)
COMMENTS = re.compile(r"//.*$", re.MULTILINE)
FEWEST = 40  # sentences that there were when this was written, and a few less


def literals(path):
    """Adjacent literals as one, and whether it is a cure."""
    text = COMMENTS.sub("", INCLUDES.sub("", path.read_text(encoding="utf-8")))
    for match in LITERALS.finditer(text):
        yield "".join(PIECE.findall(match.group())), match.group().endswith("_cure")


def pattern(sentence):
    """Values stand in the place of "{}"."""
    return re.compile(".+".join(re.escape(part) for part in re.split(r"\{[^}]*\}", sentence)))


def main():
    root = pathlib.Path(sys.argv[1])
    sources = [path for folder in ("platform", "engine") for path in sorted((root / folder).rglob("*.cpp"))
               if '"_cure' in path.read_text(encoding="utf-8")]
    expected = [text for folder in ("platform", "engine") for path in (root / "tests" / folder).rglob("*.cpp")
                for text, _ in literals(path)]
    sentences = [(path, text) for path in sources for text, is_cure in literals(path)
                 if is_cure or (text.endswith(".") and len(text) > 1)]
    missing = [f"{path.relative_to(root)}: no test expects \"{text}\"" for path, text in sentences
               if not any(pattern(text).search(other) for other in expected)]
    print("\n".join(missing))
    print(f"{len(sentences)} sentences of alterations in {len(sources)} files, {len(missing)} without a test.")
    return 1 if missing or len(sentences) < FEWEST else 0


if __name__ == "__main__":
    sys.exit(main())
