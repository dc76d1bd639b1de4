#!/usr/bin/env python3
"""Proves what drivers rest on: nothing kept between jobs, and no line but the program's own whatever
a file holds.  usage: protocolTest.py PROGRAM SAMPLE-MAKER SOURCE"""

import pathlib
import random
import re
import subprocess
import sys
import tempfile

import samples

program, sampleMaker, _ = sys.argv[1:]
failed = b'result: {"status":"failed"}\n'


def answers(jobs):
    """What one process prints for each of the jobs: its lines up to its result line."""
    text = "".join(job + "\n" for job in jobs).encode()
    outcome = subprocess.run([program], input=text, stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, check=True)
    chunks, chunk = [], b""
    for line in outcome.stdout.splitlines(keepends=True):
        chunk += line
        if line.startswith(b"result: "):
            chunks.append(chunk)
            chunk = b""
    assert chunk == b"" and len(chunks) == len(jobs), (len(chunks), len(jobs))
    return chunks


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
    outcome = subprocess.run([program, *options, path], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, check=True)
    path.unlink()
    return outcome.stdout.decode(errors="surrogateescape").splitlines()


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    files = samples.make(folder, sampleMaker)
    jobs = [str(folder / file) for kind in files.values() for file in kind]
    # Jobs with dumps, one of which cannot be made.
    jobs += [f"{folder}/camera.MP4\t{folder}/t\t{folder}/b\t{folder}/c",
             f"{folder}/camera.MP4\t{folder}/none/t"]

    # A process of its own for each job is what every other way has to equal.
    alone = {job: answers([job])[0] for job in jobs}
    assert sum(text.endswith(failed) for text in alone.values()) == len(files["unreadable"]) + 1
    dump = (folder / "t").read_bytes()
    order = random.Random(9).choices(jobs, k=100)
    assert answers(order) == [alone[job] for job in order]
    assert (folder / "t").read_bytes() == dump

    # Texts of a file make no lines, whichever characters somebody takes for a line's end.
    for file, options in ("camera.MP4", []), ("camera.MP4", ["-dump"]), ("s.jpg", ["-dump"]), \
            ("s.DNG", ["-dump"]):
        honest = linesOf(folder, file, lambda text: b"x" * len(text), options)
        assert sum(line.startswith("result: ") for line in honest) == 1
        for attack in ATTACKS:
            forged = linesOf(folder, file, lambda text: (attack * 30)[: len(text)], options)
            assert len(forged) == len(honest), (file, attack, forged)
print(f"{len(jobs)} jobs: one answer each, in order, whatever ran before")
