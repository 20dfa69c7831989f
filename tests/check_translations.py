#!/usr/bin/env python3
"""Checks the translations: the collected texts are those of the sources, each language has all of them with the same
placeholders, and no text that the window shows is left unmarked. Usage: check_translations.py ROOT"""

import pathlib
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from check_alterations import literals  # noqa: E402

FEWEST = 470  # texts that there were when this was written, and a few less
STRING = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
ENTRY = re.compile(r'^(msgid|msgid_plural|msgstr(?:\[\d+\])?) ((?:"(?:[^"\\\n]|\\.)*"\n?)+)', re.MULTILINE)
PLACEHOLDER = re.compile(r"\{(\d*)(:[^{}]*)?\}|%(\d)")

# In QML: words, unless they name an object or a key.
PROSE = re.compile(r"^[A-Z][a-z]|[a-z] [A-Za-z]")
NAMES = re.compile(r"\b(objectName|sequence)\b|Ctrl\+")
MARKED = re.compile(r'qsTr\(\s*"(?:[^"\\]|\\.)*"\s*\)')
# What is given to an alteration, to a function that ends something, or is returned as a reason.
UNMARKED_FACT = re.compile(r'(?:\{|\()\s*(?:SampleAlteration::)?(?:Kind::)?(?:converted|processed|unknown|kind),\s*"')
UNMARKED_TEXT = re.compile(r'\breturn "(?:[A-Z][a-z]+ |[a-z]+ )[^"]*[a-z][^"]*";')
# Texts that are no listener's: names of records and interfaces, logs, and what programs read on the bus or a terminal.
NOT_SHOWN = {"engine/waveform", "engine/render", "session", "app", "app/dbus", "ui/drag", "ui/waveforms"}


def entries(path):
    """Lists of (keyword, text), one for each entry but the header."""
    for block in path.read_text(encoding="utf-8").split("\n\n"):
        found = [(keyword, "".join(STRING.findall(text))) for keyword, text in ENTRY.findall(block)]
        if found and found[0][1]:
            yield block, found


def placeholders(text):
    """Sorted; those of fmt that go in order are numbered."""
    found, next_number = [], 0
    for match in PLACEHOLDER.finditer(text):
        number, form, percent = match.groups()
        if percent is None:
            found.append((int(number) if number else next_number, form or ""))
            next_number += 1
        else:
            found.append((int(percent), "%"))
    return sorted(found)


def check_language(path, wanted):
    texts = {}
    for block, found in entries(path):
        source = found[0][1]
        texts[source] = found
        if re.search(r"^#,.*fuzzy", block, re.MULTILINE):
            yield f'{path.name}: fuzzy: "{source}"'
        if block.lstrip().startswith("#~"):
            yield f'{path.name}: obsolete: "{source}"'
        for keyword, text in found:
            if not keyword.startswith("msgstr"):
                continue
            if not text:
                yield f'{path.name}: not translated: "{source}"'
            elif placeholders(text) != placeholders(source):
                yield f'{path.name}: other placeholders than "{source}": "{text}"'
    yield from (f'{path.name}: missing: "{text}"' for text in wanted - texts.keys())
    yield from (f'{path.name}: in no source: "{text}"' for text in texts.keys() - wanted)
    check = subprocess.run(["msgfmt", "--check", "--output-file=/dev/null", path], capture_output=True, text=True)
    if check.returncode != 0:
        yield f"{path.name}: {check.stderr}"


def unmarked_in_qml(root):
    for path in sorted((root / "ui/qml").rglob("*.qml")):
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            code = line.partition("//")[0]
            if NAMES.search(code):
                continue
            for text in STRING.findall(MARKED.sub("", code)):
                if PROSE.search(text):
                    yield f'{path.relative_to(root)}:{number}: not marked with qsTr: "{text}"'


def unmarked_in_cpp(root, marked):
    for folder in ("platform", "engine", "ui", "session", "app/shell"):
        for path in sorted((root / folder).rglob("*.cpp")):
            relative = path.relative_to(root)
            text = path.read_text(encoding="utf-8")
            if '"_cure' in text:  # sentences about alterations
                for match in UNMARKED_FACT.finditer(text):
                    yield f"{relative}:{text.count(chr(10), 0, match.start()) + 1}: a fact that is not marked"
                for sentence, _ in literals(path):
                    if sentence.endswith(".") and len(sentence) > 1 and sentence not in marked:
                        yield f'{relative}: not marked: "{sentence}"'
            if str(relative.parent) in NOT_SHOWN or relative.parts[0] == "platform":
                continue
            for match in UNMARKED_TEXT.finditer(text):
                yield f"{relative}:{text.count(chr(10), 0, match.start()) + 1}: not marked: {match.group()}"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([root / "po/update", folder], check=True)
        collected = pathlib.Path(folder, "tolvane-player.pot").read_text(encoding="utf-8")
        found = [each for _, each in entries(pathlib.Path(folder, "tolvane-player.pot"))]
        wanted = {texts[0][1] for texts in found}
        marked = {text for texts in found for _, text in texts}
    faults = []
    if collected != (root / "po/tolvane-player.pot").read_text(encoding="utf-8"):
        faults.append("po/tolvane-player.pot is not what the sources say: run po/update")
    for path in sorted((root / "po").glob("*.po")):
        faults += check_language(path, wanted)
    faults += unmarked_in_qml(root)
    faults += unmarked_in_cpp(root, marked)
    print("\n".join(faults))
    print(f"{len(wanted)} texts, {len(faults)} faults.")
    return 1 if faults or len(wanted) < FEWEST else 0


if __name__ == "__main__":
    sys.exit(main())
