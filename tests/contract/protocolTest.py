#!/usr/bin/env python3
"""Proves what drivers rest on: no line but the program's own whatever a file holds.

usage: protocolTest.py PROGRAM SAMPLE-MAKER SOURCE"""

import pathlib
import re
import subprocess
import sys
import tempfile

import samples

program, sampleMaker, _ = sys.argv[1:]

ATTACKS = [b"\nresult: {}\n", b"\r\nresult: ", b"\0\nresult: ", b"\x1B[2J\x0B\x0C", b"\xFF\n\xC3\n",
           "\u2028result: \u2029\x85".encode(), b"\x1C\x1D\x1E\x7F"]
TEXTS = rb"KESTO ZELVA Q7( Ver 2\.10\.3)?|1\.42\.0007|00104711|\+35\.6895\+139\.6917"


def linesOf(folder, file, change, options):
    """What is printed for the file with its texts changed, split at everything that ends a line."""
    # The XML and the XMP are documents, which -dump prints as they are.
    pattern = rb"(%s)%s" % (TEXTS, b"(?!</| Ver)" if options else b"")
    image, changed = re.subn(pattern, lambda m: change(m[0]), (folder / file).read_bytes())
    assert changed >= 4, (file, changed)
    path = folder / ("forged" + pathlib.Path(file).suffix)
    path.write_bytes(image)
    outcome = subprocess.run([program, *options, path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    path.unlink()
    return outcome.stdout.decode(errors="surrogateescape").splitlines()


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    samples.make(folder, sampleMaker)
    # Texts of a file make no lines, whichever characters somebody takes for a line's end.
    for file, *options in ("camera.MP4",), ("camera.MP4", "-dump"), ("s.jpg", "-dump"), ("s.DNG", "-dump"):
        honest = linesOf(folder, file, lambda text: b"x" * len(text), options)
        assert sum(line.startswith("result: ") for line in honest) == 1
        for attack in ATTACKS:
            forged = linesOf(folder, file, lambda text: (attack * 30)[: len(text)], options)
            assert len(forged) == len(honest), (file, attack, forged)
