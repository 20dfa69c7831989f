"""A hostile client, and the player, on a private server of the version that is installed: tests/platform/pipewire/hostile."""

import subprocess

import desktop
from player import PROBE

# Name → (its script, the hostile program).
ATTACKS = {"malformed": ("run.py", "hostile_client"), "settings": ("session.py", "hostile_session")}
LIMIT = 900  # seconds


def attack(name):
    script, client = ATTACKS[name]
    process = desktop.start("/usr/bin/python3", "-B", f"/vm/tests/hostile/{script}", PROBE.parent / client, PROBE,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    lines = process.communicate(timeout=LIMIT)[0].splitlines()
    if process.returncode == 0:
        return {"attack": name, "faults": [], "said": lines[-1]}
    return {"attack": name, "faults": [f"it ended with {process.returncode}"], "story": lines[-20:]}
