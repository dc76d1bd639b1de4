#!/usr/bin/env python3
"""Runs Sondex beside its peers on the same files and prints the ratios.

usage: bench/compare.py BUILD-FOLDER [WORK-FOLDER]

Every row is measured in rounds, one run of each program a round, so that whatever else the machine
does falls on all of them; medians of the wall time are compared. Peers that are not installed are
left out with a word.
"""

import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

build = pathlib.Path(sys.argv[1]).resolve()
sondex = str(build / "Sondex")
libav = str(build / "bench-libav")
quiet = subprocess.DEVNULL


def run(words, text=None, shell=False):
    """Runs once; returns seconds and the peak resident kilobytes."""
    stdin = subprocess.PIPE if text is not None else quiet
    start = time.perf_counter()
    child = subprocess.Popen(words, stdin=stdin, stdout=quiet, stderr=quiet, shell=shell)
    if text is not None:
        child.stdin.write(text)
        child.stdin.close()
    _, _, usage = os.wait4(child.pid, 0)
    child.returncode = 0
    return time.perf_counter() - start, usage.ru_maxrss


def race(runners, rounds):
    """Median seconds of each runner (a function without arguments), measured in turns."""
    times = {name: [] for name in runners}
    for _ in range(rounds):
        for name, runner in runners.items():
            times[name].append(runner())
    return {name: statistics.median(values) for name, values in times.items()}


def program(*words, text=None, shell=False):
    return lambda: run(list(words) if not shell else words[0], text, shell)[0]


def have(name):
    found = shutil.which(name) is not None
    if not found:
        print(f"({name} is not installed and left out)", file=sys.stderr)
    return found


def row(job, ours, theirs, goal, note=""):
    """One line of the table: our milliseconds, and the ratio to each of theirs."""
    ratios = ", ".join(f"{ours / t:.2f} × {name} ({t * 1000:.2f} ms)" for name, t in theirs.items())
    print(f"| {job} | {ours * 1000:.2f} ms | {ratios} | {goal} | {note} |", flush=True)


def ffmpeg(*words):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, words)], stdin=quiet, check=True)


def make_sample(kind, source, target):
    subprocess.run([build / "sondex-sample", kind, source, target], check=True)


def stills(work):
    picture = work / "picture.jpg"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=960x480", "-frames:v", "1", picture)
    jpeg = work / "still.jpg"
    make_sample("jpeg", picture, jpeg)
    large = work / "large.jpg"
    large.write_bytes(picture.read_bytes() + os.urandom(50_000_000))
    dng = work / "still.dng"
    make_sample("dng", large, dng)

    runners = {"Sondex": program(sondex, str(jpeg)), "an empty program": program(build / "bench-empty")}
    if have("exiv2"):
        runners["exiv2"] = program("exiv2", str(jpeg))
    if have("exiftool"):
        runners["exiftool"] = program("exiftool", str(jpeg))
    times = race(runners, 60)
    ours = times.pop("Sondex")
    row("one JPEG, one process", ours, times, "≤ 1.3 × empty, ahead of exiv2")

    pipe = f"cat '{dng}' | cat"
    times = race({"Sondex": program(sondex, str(dng)), "cat to a pipe": program(pipe, shell=True)}, 20)
    row("one DNG of 50 MB", times.pop("Sondex"), times, "≤ 2 × cat")

    folder = work / "many"
    folder.mkdir()
    names = []
    for i in range(1000):
        names.append(str(folder / f"{i}.jpg"))
        shutil.copy(jpeg, names[-1])
    jobs = ("\n".join(names) + "\n").encode()
    runners = {"Sondex": program(sondex, text=jobs), "start": program(sondex, text=b"")}
    if have("exiv2"):
        runners["exiv2"] = program("exiv2", *names)
        runners["exiv2 start"] = program("exiv2", names[0])
    times = race(runners, 10)
    theirs = {}
    if "exiv2" in times:
        theirs["exiv2"] = (times["exiv2"] - times["exiv2 start"]) / 999
    row("a JPEG in line mode", (times["Sondex"] - times["start"]) / 1000, theirs, "≤ exiv2")


def movies(work):
    for codec, options in {"H.264": ["libx264"], "HEVC": ["libx265", "-x265-params", "log-level=none"]}.items():
        clip = work / f"{options[0]}.mp4"
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=3840x1920:rate=30", "-t", "1", "-pix_fmt",
               "yuv420p", "-preset", "ultrafast", "-bf", "2", "-c:v", *options, clip)
        runners = {"Sondex": program(sondex, str(clip)), "plain libav": program(libav, str(clip))}
        if have("ffprobe"):
            runners["ffprobe"] = program("ffprobe", "-show_format", "-show_streams", str(clip))
        times = race(runners, 20)
        row(f"one UHD movie, {codec}", times.pop("Sondex"), times, "≤ 1.1 × libav, below ffprobe")

    tiny = work / "tiny.mp4"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32:rate=30", "-t", "0.2", "-pix_fmt", "yuv420p",
           "-c:v", "libx264", tiny)
    names = []
    for i in range(200):
        names.append(str(work / f"tiny{i}.mp4"))
        shutil.copy(tiny, names[-1])
    jobs = ("\n".join(names) + "\n").encode()
    one = (names[0] + "\n").encode()
    times = race({"Sondex": program(sondex, text=jobs), "one": program(sondex, text=one),
                  "libav": program(libav, *names), "libav one": program(libav, names[0])}, 15)
    row("a tiny movie in line mode", (times["Sondex"] - times["one"]) / 199,
        {"plain libav loop": (times["libav"] - times["libav one"]) / 199}, "≤ 1.1 ×")


def one_hour(work):
    second = work / "second.mp4"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32:rate=30", "-t", "1", "-pix_fmt", "yuv420p",
           "-c:v", "libx264", second)
    clip = work / "hour-clip.mp4"
    ffmpeg("-stream_loop", "3599", "-i", second, "-c", "copy", "-movflags", "faststart", clip)
    movie = work / "hour.mp4"
    make_sample("dense", clip, movie)
    metadata = movie.stat().st_size - clip.stat().st_size
    times = race({"Sondex": program(sondex, str(movie)), "libav": program(libav, str(movie)),
                  "cat": program(f"cat '{movie}' > /dev/null", shell=True)}, 15)
    peak = run([sondex, str(movie)])[1] - run([libav, str(movie)])[1]
    row("one hour of streams, outside libav", times["Sondex"] - times["libav"],
        {"cat": times["cat"]}, "≤ 8 × cat; memory ≤ 4 × metadata",
        f"{metadata / 1e6:.0f} MB of metadata, {peak / 1000:.0f} MB above libav")

    dumps = [work / f"{name}.json" for name in ("t", "g", "c")]
    words = [f"-kdt{letter}:{path}" for letter, path in zip("dbc", dumps)]
    times = race({"with": program(sondex, *words, str(movie)), "without": program(sondex, str(movie))}, 10)
    size = sum(path.stat().st_size for path in dumps)
    seconds = times["with"] - times["without"]
    pieces = subprocess.run([build / "bench-pieces", "--benchmark_filter=dumpGyro",
                             "--benchmark_format=json"], capture_output=True, text=True)
    rates = [b["bytes_per_second"] for b in json.loads(pieces.stdout)["benchmarks"]]
    row("its three dumps", seconds, {}, "≥ 6 × a stream a sample; 250 MB/s",
        f"{size / seconds / 1e6:.0f} MB/s in the program; {rates[0] / rates[1]:.1f} × the reference")


def moov_first(work):
    clip = work / "second.mp4"
    movie = work / "large.mp4"
    ffmpeg("-stream_loop", "3599", "-i", clip, "-c", "copy", movie)
    # Noise behind the frames: the mdat is what counts, and it is the box ahead of the moov.
    data = movie.read_bytes()
    at = data.index(b"mdat") - 4
    length = int.from_bytes(data[at:at + 4], "big")
    large = 2 * 1024**3 - 64 * 1024**2
    with open(movie, "wb") as out:
        out.write(data[:at] + large.to_bytes(4, "big") + data[at + 4:at + length])
        block = os.urandom(1 << 20)
        left = large - length
        while left > 0:
            out.write(block[:left])
            left -= len(block[:left])
        out.write(data[at + length:])
    target = work / "copied.mp4"

    def ours():
        shutil.copy(movie, target)
        os.sync()
        seconds = run([str(build / "bench-moovFirst"), str(target)])[0]
        target.unlink()
        return seconds

    def fresh(command):
        def timed():
            os.sync()
            seconds = run(command, shell=True)[0]
            target.unlink()
            return seconds
        return timed

    times = race({"Sondex": ours,
                  "cp and sync": fresh(f"cp '{movie}' '{target}' && sync '{target}'"),
                  "ffmpeg faststart": fresh(f"ffmpeg -v error -i '{movie}' -c copy -movflags +faststart '{target}' && sync '{target}'")}, 3)
    row("moovFirst of 2 GiB", times.pop("Sondex"), times, "≤ 1.1 × cp and sync, well below ffmpeg")


def main():
    parent = sys.argv[2] if len(sys.argv) > 2 else None
    print("| Job | Sondex | Ratio | Goal | |\n|---|---|---|---|---|")
    with tempfile.TemporaryDirectory(dir=parent) as name:
        work = pathlib.Path(name)
        for part in (stills, movies, one_hour, moov_first):
            part(work)


main()
