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
        # What it has to say about itself, such as a missing decoder, goes where ours goes.
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.communicate()

    def ask(self, path, *dumps):
        """The result object of a file. `dumps`: where to write its accelerometer, gyro and compass
        samples, in this order."""
        names = [path, *dumps]
        job = "\t".join(names)
        # No job line can carry such names; of a longer one the probe makes two.
        if not all(names) or re.search(r"[\t\r\n\0]", "".join(names)) or len(job) > 4095:
            return {"status": "failed"}
        try:
            self.process.stdin.write(job.encode("utf-8", "surrogateescape") + b"\n")
            self.process.stdin.flush()
        except BrokenPipeError:
            pass  # an answer may still be on its way
        for line in self.process.stdout:
            if line.startswith(b"result: "):
                return readJson(line[len("result: "):].decode("ascii"))
        raise RuntimeError(f"the probe ended while it was asked about {path!r}")


def main(words):
    if len(words) > 1 or words[:1] in (["-h"], ["--help"]):
        print(__doc__.strip())
        return 0 if len(words) == 1 else 2
    sys.stdin.reconfigure(errors="surrogateescape")
    sys.stdout.reconfigure(errors="surrogateescape", line_buffering=True)
    try:
        with Sondex(*words) as probe:
            for name in sys.stdin:
                name = name.rstrip("\n")
                result = probe.ask(name)
                kind = result.get("type", "") if result["status"] == "succeed" else "unreadable"
                print(name, result.get("model", "unknown camera"), kind, sep="\t")
    except BrokenPipeError:  # nobody reads on
        sys.stdout = None
    except (OSError, RuntimeError) as error:
        print(f"askFiles: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
