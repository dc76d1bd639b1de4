#!/usr/bin/env python3
"""Holds line mode to what it promises at length: one process, a hundred thousand jobs of every
kind, one result line each, in order; memory and descriptors as at the start; descriptors of every
temper; and an end, quiet when the consumer went away and said when output was lost.

usage: lineModeTest.py PROGRAM JOBS [--sanitized]

A sanitizer keeps freed memory back, so memory is not looked at in its build.
"""

import fcntl
import json
import os
import pathlib
import random
import select
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time

import samples

FAILED = {"status": "failed"}


def still(model):
    """A small JPEG of the camera, by whose model its answer is known."""
    text = model + b"\0"
    return samples.jpeg(samples.tiff(2, bytes(4) + text, [(0x0110, 2, len(text), 124)]))


def makeJobs(folder):
    """Pairs of a job's name and its answer."""
    jobs = []
    odd = bytes(b for b in range(1, 256) if b not in b"\t\n\r/")
    for i in range(50):
        name = folder + b"/good%d%s.jpg" % (i, odd[i * 5:i * 5 + 5])
        pathlib.Path(os.fsdecode(name)).write_bytes(still(b"camera %d" % i))
        jobs.append((name, {"status": "succeed", "type": "JPEG", "model": f"camera {i}"}))
    bad = {b"cut.jpg": still(b"cut")[:90], b"empty.DNG": b"", b"empty.mp4": b"",
           b"no.dng": still(b"no"), b"still.mp4": still(b"still"),
           b"boxes.mp4": b"\0\0\0\x10moov\x7F\xFF\xFF\xFFtrak" * 40,
           b"\xC3\xA9\xFF\xE3\x81.MP4": b"\0" * 100}
    for name, data in bad.items():
        pathlib.Path(os.fsdecode(folder + b"/" + name)).write_bytes(data)
        jobs.append((folder + b"/" + name, FAILED))
    for kind in (b"d.jpg", b"d.DNG", b"d.mp4"):
        os.mkdir(folder + b"/" + kind)
        os.mkfifo(folder + b"/f" + kind)
        jobs += [(folder + b"/" + kind, FAILED), (folder + b"/f" + kind, FAILED)]
    jobs += [(b"missing" + odd + b"." + kind, FAILED) for kind in (b"mp4", b"jpeg", b"dng")]
    jobs += [(b"x" * 3000 + b".jpg", FAILED), (b"\\", FAILED), (b" ", FAILED), (b"/dev/null", FAILED),
             (b"/dev/zero", FAILED), (b"-h", FAILED), (b"%s%n", FAILED)]
    return jobs


def usage(pid):
    """Resident KiB and open descriptors of a program that waits for jobs. An answer is on its way
    before its file is closed, so the lowest of some readings counts: what leaks is in all of them."""
    readings = []
    for _ in range(20):
        time.sleep(0.01)
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
        resident = next(line for line in status.splitlines() if line.startswith("VmRSS"))
        readings.append((int(resident.split()[1]), len(os.listdir(f"/proc/{pid}/fd"))))
    return tuple(map(min, zip(*readings)))


def checkLength(program, jobs, count, sanitized):
    def feed(part):
        for at, (name, _) in enumerate(part):
            child.stdin.write(name + (b"\r\n" if at % 5 == 0 else b"\n\n\t\n"))
        child.stdin.flush()

    order, readings = random.Random(7).choices(jobs, k=count), []
    with subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as child:
        results = (json.loads(line[8:]) for line in child.stdout if line.startswith(b"result: "))
        for part in (order[:count // 10], order[count // 10:]):
            feeder = threading.Thread(target=feed, args=[part], daemon=True)
            feeder.start()
            for name, expected in part:
                if (got := next(results, None)) != expected:
                    sys.exit(f"{name}: {got} and not {expected}")
            feeder.join()
            readings.append(usage(child.pid))
        child.stdin.close()
        if more := list(results):
            sys.exit(f"answers to no job: {more}")
    (early, files), (late, filesLater) = readings
    if child.returncode or files != filesLater or (late > early + 2048 and not sanitized):
        sys.exit(f"status {child.returncode}; {early} KiB, {files} descriptors; then {late}, {filesLater}")


def checkEarlyEnd(program, name, restoreSignals):
    """The consumer leaves after a few answers, while jobs are without end."""
    words = 'yes "$1" 2>/dev/null | { timeout 20 "$0"; [ $? != 124 ] || echo "it works on" >&2; } | head -n 3'
    outcome = subprocess.run(["bash", "-c", words, program, name], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                             restore_signals=restoreSignals)
    if outcome.stderr:
        sys.exit(f"not quiet: {outcome.stderr[:200]}")


def checkLoss(program, name):
    """What cannot be written is said once, nothing follows it, and no more jobs are done."""
    with open("/dev/full", "wb") as full:
        ended = subprocess.run([program], input=(name + b"\n") * 1000, stdout=full, stderr=subprocess.PIPE)
    if ended.stderr.count(b"\n") != 1 or b"standard output" not in ended.stderr or not ended.returncode:
        sys.exit(f"lost without a word: {ended}")


def checkWaiting(program, name):
    """Pipes that do not block lose neither jobs, of which there are none at first, nor answers, of
    which there are more than a pipe holds."""
    count, (jobs, feed), (answers, into) = 2000, os.pipe(), os.pipe()
    os.set_blocking(jobs, False)
    os.set_blocking(into, False)
    os.symlink(name, os.path.dirname(name) + b"/a.jpg")
    with subprocess.Popen([os.path.abspath(program)], stdin=jobs, stdout=into, cwd=os.path.dirname(name)) as child:
        os.close(into)
        time.sleep(0.1)
        os.write(feed, b"a.jpg\n" * count)
        held = struct.pack("i", 0)
        while struct.unpack("i", held)[0] < 60000 and child.poll() is None:
            time.sleep(0.01)
            held = fcntl.ioctl(answers, termios.FIONREAD, held)
        os.close(feed)
        os.close(jobs)
        with open(answers, "rb") as pipe:
            got = sum(line.startswith(b"result: ") for line in pipe)
    if got != count or child.returncode:
        sys.exit(f"{got} answers of {count} through pipes that do not block")


def checkLongLine(program):
    """A job begins with the last character that a line may have; what follows is another."""
    line = ("\u00E9" * 4095).encode()
    with subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0,
                          stderr=subprocess.DEVNULL) as child:
        child.stdin.write(line[:-1])
        if select.select([child.stdout], [], [], 0.1)[0]:
            sys.exit("a job began before its last byte")
        child.stdin.write(line[-1:])
        if not select.select([child.stdout], [], [], 30)[0]:
            sys.exit("a line of full length waits for more")


def main():
    program, count = sys.argv[1], int(sys.argv[2])
    with tempfile.TemporaryDirectory() as name:
        jobs = makeJobs(os.fsencode(name))
        checkLength(program, jobs, count, "--sanitized" in sys.argv)
        # With the signal of a broken pipe as it is by default, and ignored.
        for restoreSignals in (True, False):
            checkEarlyEnd(program, jobs[0][0], restoreSignals)
        checkLoss(program, jobs[0][0])
        checkWaiting(program, jobs[0][0])
        checkLongLine(program)


if __name__ == "__main__":
    main()
