#!/usr/bin/env python3
"""Proves what drivers rest on: one job in, exactly one result line out, in order, nothing kept
between jobs.  usage: protocolTest.py PROGRAM SAMPLE-MAKER SOURCE"""

import pathlib
import random
import subprocess
import sys
import tempfile

program, sampleMaker, source = sys.argv[1:]
from driver import Sondex  # noqa: E402
import samples  # noqa: E402

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
    shuffled = random.Random(9)
    for _ in range(5):
        order = shuffled.choices(jobs, k=60)
        assert answers(order) == [alone[job] for job in order]
        cut = shuffled.randrange(60)  # the partitions of an engine, joined in their order
        assert answers(order[:cut]) + answers(order[cut:]) == [alone[job] for job in order]
    assert (folder / "t").read_bytes() == dump

    # Each job is answered before the next one is sent.
    def objectOf(job):
        return alone[job].split(b"result: ")[-1].decode()

    with Sondex(program) as probe:
        for job in jobs:
            probe.process.stdin.write(job.encode() + b"\n")
            probe.process.stdin.flush()
            lines = iter(probe.process.stdout.readline, b"")
            assert "result: " + objectOf(job) in (line.decode() for line in lines)
print(f"{len(jobs)} jobs: one answer each, in order, whatever ran before")
