"""Drives one Sondex: a job line in, its result line read; and reads what Sondex prints."""

import json
import os
import pathlib
import re
import subprocess

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
    """One running probe."""

    def __init__(self, program):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.communicate()

    def ask(self, path, *dumps):
        """The result object of a file. `dumps`: where to write its accelerometer, gyro and compass
        samples, in this order."""
        self.process.stdin.write("\t".join([path, *dumps]).encode() + b"\n")
        self.process.stdin.flush()
        for line in self.process.stdout:
            if line.startswith(b"result: "):
                return readJson(line[len("result: "):].decode("ascii"))
        raise RuntimeError(f"the probe ended while it was asked about {path!r}")

    def samplesOf(self, path, folder="."):
        """A movie's accelerometer, gyro and compass samples; their dumps stay in the folder."""
        dumps = [os.path.join(folder, f"kdt{letter}.json") for letter in "dbc"]
        assert self.ask(str(path), *dumps)["status"] == "succeed", path
        return [readJson(pathlib.Path(dump).read_text()) for dump in dumps]
