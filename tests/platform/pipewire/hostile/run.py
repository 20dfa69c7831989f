#!/usr/bin/env python3
"""run.py HOSTILE_CLIENT PROBE: a sound server of the test's own, with one sane sink and a client whose sinks and card have
malformed parameters. The player must list what is sane, say what it cannot read, and end by itself."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

PATIENCE = 120  # seconds until something counts as hung
SANE = "sane sink"
MALFORMED = {"profiles": ("a card",),
             "settings": ("volumes-of-no-byte", "volumes-of-many-bytes", "volumes-beyond-every-channel", "text-for-a-volume",
                          "setting-without-end", "settings-of-another-kind"),
             "format": ("positions-of-one-byte", "positions-of-many-bytes"),
             "formats": ("choice-without-values", "range-of-one-value", "choice-of-many-bytes")}
SERVER = f"""
context.properties = {{ core.daemon = true core.name = pipewire-0 }}
context.spa-libs = {{ audio.convert.* = audioconvert/libspa-audioconvert support.* = support/libspa-support }}
context.modules = [
  {{ name = libpipewire-module-protocol-native }} {{ name = libpipewire-module-client-node }}
  {{ name = libpipewire-module-client-device }} {{ name = libpipewire-module-spa-node-factory }}
  {{ name = libpipewire-module-adapter }} {{ name = libpipewire-module-metadata }} {{ name = libpipewire-module-access }}
]
context.objects = [
  {{ factory = adapter args = {{ factory.name = support.null-audio-sink node.name = sane node.description = "{SANE}"
     media.class = Audio/Sink audio.position = [ FL FR ] }} }}
]
"""


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise RuntimeError(f"{what} does not come")
        time.sleep(0.01)


def main():
    hostile, probe = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "XDG_RUNTIME_DIR": folder, "HOME": folder, "PIPEWIRE_RUNTIME_DIR": folder,
                       "DBUS_SESSION_BUS_ADDRESS": f"unix:path={folder}/none"}
        configuration = pathlib.Path(folder, "server.conf")
        configuration.write_text(SERVER)
        processes = [subprocess.Popen(["pipewire", "-c", configuration], env=environment)]
        try:
            wait_until(pathlib.Path(folder, "pipewire-0").exists, "the server")
            processes.append(subprocess.Popen([hostile], env=environment, stdout=subprocess.PIPE, text=True))
            if processes[1].stdout.readline() != "ready\n":
                raise RuntimeError("the hostile client is not ready")
            listed = subprocess.run([probe, "devices"], env=environment, capture_output=True, text=True, timeout=PATIENCE)
        finally:
            for process in reversed(processes):
                process.terminate()
                process.wait()
    print(listed.stdout + listed.stderr)
    names = [json.loads(line)["name"] for line in listed.stdout.splitlines()]
    faults = [] if listed.returncode == 0 else [f"the player ended with {listed.returncode}"]
    if SANE not in names:
        faults.append("the sane sink is not listed")
    wanted = [f"report of the {what} of {name} is malformed" for what, names in MALFORMED.items() for name in names]
    faults += [f"no line says: {line}" for line in wanted if line not in listed.stderr]
    if listed.stderr.count("is malformed") != len(wanted) or SANE in listed.stderr.partition("malformed")[2]:
        faults.append("more is called malformed")
    print(f"{len(names)} devices were listed, {len(wanted)} malformed parameters named" +
          "".join(f"\nFAIL {fault}" for fault in faults))
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
