#!/usr/bin/env python3
"""Runs the built programs over a folder of other makers' files, which is no part of this project.

usage: tools/runRealFiles.py FOLDER [PROGRAM...]

FOLDER holds a MANIFEST.md whose tables name each file in their first column and, in their last,
what a reference reader makes of it ("first frame 320x240", or anything else). A movie must be
decodable exactly where the reference decodes its first frame, with that size in no way claimed
here; a still of another maker must end with a message. Every run must end by itself, without a word
of a sanitizer, within two seconds of processor time.
"""

import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SECONDS = 2.0
STILLS = (".jpg", ".jpeg", ".dng")


def entries(folder):
    """Pairs of a file's path and its reference result."""
    for line in (folder / "MANIFEST.md").read_text().splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) >= 2 and (folder / cells[0]).is_file():
            yield folder / cells[0], cells[-1]


def run(program, path):
    """Exit status, standard output, standard error and processor seconds of one run."""
    before = os.times()
    done = subprocess.run([program, path], capture_output=True, timeout=60)
    after = os.times()
    spent = (after.children_user - before.children_user
             + after.children_system - before.children_system)
    return done.returncode, done.stdout.decode(), done.stderr.decode(errors="replace"), spent


def faults(path, reference, status, out, err, seconds):
    if re.search(r"Sanitizer|runtime error", err):
        yield "a sanitizer spoke: " + err.strip().splitlines()[0]
    if status not in (0, 1):
        yield f"exit status {status}"
    if seconds > SECONDS:
        yield f"{seconds:.1f} s"
    results = [line[8:] for line in out.splitlines() if line.startswith("result: ")]
    if len(results) != (1 if status == 0 else 0):
        yield f"{len(results)} result lines with exit status {status}"
        return
    if path.suffix.lower() in STILLS:
        if status == 0 or " failed - " not in out:
            yield "a still of another maker ends without a message"
        return
    decodable = status == 0 and json.loads(results[0])["decodable"]
    if decodable != reference.startswith("first frame"):
        yield f"decodable is {decodable}, the reference says: {reference}"
    if status == 1 and "usage:" not in out:
        yield "no usage banner"


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    programs = sys.argv[2:] or [str(found) for found in (ROOT / "build/release/Sondex",
                                                        ROOT / "build/sanitize/Sondex")
                                if found.is_file()]
    bad = 0
    for program in programs:
        count, slowest = 0, (0.0, "")
        for path, reference in entries(folder):
            status, out, err, seconds = run(program, path)
            count += 1
            slowest = max(slowest, (seconds, path.name))
            for fault in faults(path, reference, status, out, err, seconds):
                print(f"{path.relative_to(folder)}: {fault}")
                bad += 1
        print(f"{program}: {count} files, slowest {slowest[0]:.2f} s ({slowest[1]})")
        bad += count == 0
    sys.exit(1 if bad or not programs else 0)


main()
