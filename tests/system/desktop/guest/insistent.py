"""insistent.py CARD PRIORITY: reserver.py's program that keeps what it has, and asks again when another program got the
card: a session manager stands in the queue for a card's name, and has it as soon as its owner releases it."""

import sys

from reserver import Reserver


class Insistent(Reserver):
    def say(self, event, **members):
        super().say(event, **members)
        if event == "took" and members["value"] != [1]:
            self.command(["request"])


if __name__ == "__main__":
    Insistent(int(sys.argv[1]), int(sys.argv[2]), True).run()
