#!/usr/bin/env python3
"""Runs `sondexkit scan` beside its peers on the same files, in turns, and prints the ratios.

usage: bench/scan.py BUILD-FOLDER [SHARE]

SHARE, 1 where nothing is said, is the part of the files to take: 0.1 for a quick look.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from racing import race

build = pathlib.Path(sys.argv[1]).resolve()
share = float(sys.argv[2]) if len(sys.argv) > 2 else 1
kit = str(build / "sondexkit")
cores = str(len(os.sched_getaffinity(0)))
quiet = subprocess.DEVNULL


def run(words, names=None):
    """Seconds of one run; `names` is a list on standard input."""
    start = time.perf_counter()
    with open(names or os.devnull, "rb") as text:
        subprocess.run(list(map(str, words)), stdin=text, stdout=quiet, stderr=quiet)
    return time.perf_counter() - start


def row(job, ours, theirs, goal):
    ratios = ", ".join(f"{ours / t:.3f} × {name} ({t:.2f} s)" for name, t in theirs.items())
    print(f"| {job} | {ours:.3f} s | {ratios} | {goal} |", flush=True)


def sample(kind, source, target):
    subprocess.run([build / "sondex-sample", kind, source, target], check=True)


def ffmpeg(*words):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, words)], stdin=quiet, check=True)


def copies(source, folder, count):
    """Copies of a file, and the list of their names."""
    folder.mkdir()
    names = [folder / f"{i}{source.suffix}" for i in range(count)]
    for name in names:
        shutil.copy(source, name)
    listed = folder / "names"
    listed.write_text("".join(f"{name}\n" for name in names))
    return listed


def scan(*words, names):
    return lambda: run([kit, "scan", "--files-from", names, *words])


def stills(work):
    count = int(20000 * share)
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=960x480", "-frames:v", "1", work / "picture.jpg")
    sample("jpeg", work / "picture.jpg", work / "still.jpg")
    listed = copies(work / "still.jpg", work / "stills", count)
    runners = {"sondexkit": scan("--no-decode", names=listed)}
    if (build / "bench-exiv2").exists():
        runners[f"exiv2's library, {cores} threads"] = lambda: run([build / "bench-exiv2", cores], listed)
    times = race(runners, 7)
    ours = times.pop("sondexkit")
    if shutil.which("exiftool"):
        times["exiftool -json -r -fast2"] = run(["exiftool", "-json", "-r", "-fast2", work / "stills"])
    row(f"{count} JPEGs", ours, times, "ahead of both")
    times = race({n: scan("--no-decode", "-j", n, names=listed) for n in ("1", "2")}, 7)
    print(f"| the same, from one worker to two | {times['2']:.3f} s | {times['1'] / times['2']:.2f} times as fast | |")


def movies(work):
    count = int(2000 * share)
    tiny = work / "tiny.mp4"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32:rate=30", "-t", "0.2", "-pix_fmt", "yuv420p",
           "-c:v", "libx264", tiny)
    listed = copies(tiny, work / "movies", count)
    names = listed.read_text().split()
    times = race({"all": scan(names=listed), "2": scan("-j", "2", names=listed), "1": scan("-j", "1", names=listed),
                  "libav": lambda: run([build / "bench-libav", *names])}, 7)
    row(f"{count} small movies", times["all"], {"a loop of plain libav": times["libav"]}, "ahead")
    row("the same, one worker", times["1"], {"a loop of plain libav": times["libav"]}, "≤ 1.1 ×")
    print(f"| the same, from one worker to two | {times['2']:.3f} s | {times['1'] / times['2']:.2f} times as fast | ≥ 1.8 |")


def million(work):
    """Rate and memory of the parent as the names go by."""
    count = int(1_000_000 * share)
    links = work / "links"
    links.mkdir()
    for i in range(count):
        os.symlink("../still.jpg", links / f"{i}.jpg")
    process = subprocess.Popen([kit, "scan", "-r", links, "--no-decode"], stdout=subprocess.PIPE)
    start, tenths, sizes, lines = time.perf_counter(), [], [], 0
    for _ in process.stdout:
        lines += 1
        if lines % (count // 10) == 0:
            tenths.append(time.perf_counter() - start)
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            sizes += [int(l.split()[1]) for l in status.splitlines() if l.startswith("VmRSS")]
    assert process.wait() == 0 and lines == count, (process.returncode, lines)
    first, last = tenths[0], tenths[-1] - tenths[-2]
    print(f"| a folder of {count} links | {tenths[-1]:.1f} s | {count / 10 / first:.0f} a second in the first tenth, "
          f"{count / 10 / last:.0f} in the last | the parent holds {sizes[0]} kB at first, {sizes[-1]} kB at last |")


def main():
    print(f"{cores} cores\n\n| Job | sondexkit | Beside it | Goal |\n|---|---|---|---|")
    with tempfile.TemporaryDirectory() as name:
        for part in (stills, movies, million):
            part(pathlib.Path(name))


main()
