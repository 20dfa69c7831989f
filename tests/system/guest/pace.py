"""Whether the machine's clock may skip idle time. It may while a card plays: all that then happens is in the machine. It may
not while a program is loaded or the host is asked, which takes the host's time: every time limit would pass at once.

A process that runs when nothing else does (vm/IdleFiller.cpp; guest/boot starts it) keeps the machine from being idle.
"""

import contextlib
import os
import signal

_FILLER = int(os.environ["IDLE_FILLER"])


_depth = 0


@contextlib.contextmanager
def skipping():
    """May be within another one. Of one thread."""
    global _depth
    if not _depth:
        os.kill(_FILLER, signal.SIGSTOP)
    _depth += 1
    try:
        yield
    finally:
        _depth -= 1
        if not _depth:
            os.kill(_FILLER, signal.SIGCONT)
