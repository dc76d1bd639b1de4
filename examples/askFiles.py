#!/usr/bin/env python3
"""Keeps one Sondex open and asks it about files as their names come in.

usage: askFiles.py [PROGRAM] < NAMES

Prints a line for each name: the name, the camera's model and what kind of file it is. As a module
it offers Sondex, whose `ask` answers one file at a time, and `readJson`.
"""

import json
import re
import subprocess
import sys

# No text in Sondex's JSON holds a double quote, so this splits its texts from its other tokens.
TOKENS = re.compile(r'"[^"]*"|-?\b(?:inf|nan)\b')


def readJson(text):
    """Reads a result object or a sensor dump, with the three things that strict JSON refuses: a
    backslash that stands for itself, numbers that are not finite, and "[" for no samples."""

    def strict(match):
        token = match.group()
        if token[0] == '"':
            return token.replace("\\", "\\\\")
        return {"inf": "Infinity", "-inf": "-Infinity"}.get(token, "NaN")

    return [] if text == "[" else json.loads(TOKENS.sub(strict, text))


class Sondex:
    """One running probe. Names are text with surrogateescape, as os.listdir gives them."""

    def __init__(self, program="Sondex"):
        self.process = subprocess.Popen(
            [program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()

    def ask(self, path, *dumps):
        """The result object of a file. `dumps`: where to write its accelerometer, gyro and compass
        samples, in this order."""
        job = "\t".join([path, *dumps]).encode("utf-8", "surrogateescape")
        if re.search(rb"[\r\n\0]", job) or not path or "\t" in path or not all(dumps):
            return {"status": "failed"}  # no job line can carry such a name
        if len(job) > 4094:  # the probe would take the rest for another job
            return {"status": "failed"}
        self.process.stdin.write(job + b"\n")
        self.process.stdin.flush()
        for line in self.process.stdout:
            if line.startswith(b"result: "):
                return readJson(line[len("result: "):].decode("ascii"))
        raise RuntimeError(f"the probe ended while it was asked about {path!r}")


def main():
    sys.stdin.reconfigure(errors="surrogateescape")
    sys.stdout.reconfigure(errors="surrogateescape", line_buffering=True)
    with Sondex(*sys.argv[1:2]) as probe:
        for name in sys.stdin:
            name = name.rstrip("\n")
            result = probe.ask(name)
            kind = result.get("type", "") if result["status"] == "succeed" else "unreadable"
            print(name, result.get("model", "unknown camera"), kind, sep="\t")


if __name__ == "__main__":
    main()
