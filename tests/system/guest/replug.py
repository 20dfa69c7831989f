"""replug.py unplug|plug: pulls the USB card or plugs it in, for the contract suite."""

import sys

from report import ask_host

ask_host({"unplug": "unplug usb", "plug": "plug usb for the contract"}[sys.argv[1]])
