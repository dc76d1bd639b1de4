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
import subprocess
import sys
import tempfile
import time

from racing import race

build = pathlib.Path(sys.argv[1]).resolve()
sondex = str(build / "Sondex")
libav = str(build / "bench-libav")
quiet = subprocess.DEVNULL


def run(words, text=None, shell=False):
    """Runs once; returns the seconds it took."""
    stdin = subprocess.PIPE if text is not None else quiet
    start = time.perf_counter()
    child = subprocess.Popen(words, stdin=stdin, stdout=quiet, stderr=quiet, shell=shell)
    if text is not None:
        child.stdin.write(text)
        child.stdin.close()
    child.wait()
    return time.perf_counter() - start


# A child's peak counts what its parent held when it started, so a small parent starts it.
SPAWNER = """
import os, sys
child = os.fork()
if child == 0:
    null = os.open(os.devnull, os.O_RDWR)
    for place in range(3):
        os.dup2(null, place)
    os.execv(sys.argv[1], sys.argv[1:])
print(os.wait4(child, 0)[2].ru_maxrss)
"""


def peak_bytes(*words):
    """The peak resident memory of one run of the program."""
    spawner = [sys.executable, "-I", "-S", "-c", SPAWNER, *map(str, words)]
    return int(subprocess.check_output(spawner)) * 1024


def program(*words, text=None, shell=False):
    return lambda: run(list(words) if not shell else words[0], text, shell)


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
    times = race(runners, 200)
    ours = times.pop("Sondex")
    row("one JPEG, one process", ours, times, "≤ 1.3 × empty, ahead of exiv2")
    # In a race of their own: what they leave in the caches costs the next program more than its run.
    runners = {peer: program(peer, str(jpeg)) for peer in ("exiftool", "mediainfo") if have(peer)}
    if runners:
        row("the same", ours, race(runners, 20), "")

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
        if have("mediainfo"):
            runners["mediainfo, which decodes nothing"] = program("mediainfo", str(clip))
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
        {"plain libav loop": (times["libav"] - times["libav one"]) / 199}, "≤ 1 ×")


def one_hour(work):
    second = work / "second.mp4"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32:rate=30", "-t", "1", "-pix_fmt", "yuv420p",
           "-c:v", "libx264", second)
    clip = work / "hour-clip.mp4"
    ffmpeg("-stream_loop", "3599", "-i", second, "-c", "copy", "-movflags", "faststart", clip)
    movie = work / "hour.mp4"
    make_sample("dense", clip, movie)
    metadata = movie.stat().st_size - clip.stat().st_size
    runners = {"Sondex": program(sondex, str(movie)), "libav": program(libav, str(movie)),
               "cat": program(f"cat '{movie}' > /dev/null", shell=True)}
    if have("ffprobe"):
        runners["ffprobe"] = program("ffprobe", "-show_format", "-show_streams", str(movie))
    times = race(runners, 15)
    if "ffprobe" in times:
        row("one hour with its streams, one process", times["Sondex"],
            {"ffprobe, which reads none": times["ffprobe"]}, "≤ 1 ×")
    peak = peak_bytes(sondex, movie) - peak_bytes(libav, movie)
    row("one hour of streams, outside libav", times["Sondex"] - times["libav"],
        {"cat": times["cat"]}, "≤ 8 × cat; memory ≤ 4 × metadata",
        f"{metadata / 1e6:.0f} MB of metadata, {peak / 1e6:.0f} MB above libav")

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


def large_movie(work):
    # Frames of a realistic size: with small ones the tables and not the pictures are what counts.
    clip = work / "noise.mp4"
    movie = work / "large.mp4"
    legacy = ("-strict", "unofficial")
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=3840x1920:rate=30", "-vf", "noise=alls=60:allf=t", "-t", "2",
           "-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj420p", *legacy, clip)
    times_over = (2 << 30) // clip.stat().st_size
    ffmpeg("-stream_loop", times_over, "-i", clip, "-c", "copy", *legacy, movie)
    clip.unlink()
    target = work / "copied.mp4"

    def timed(command):
        os.sync()
        seconds = command()
        target.unlink()
        return seconds

    def ours():
        shutil.copy(movie, target)
        hour_ago = time.time() - 3600
        os.utime(target, (hour_ago, hour_ago))
        return timed(program(build / "bench-moovFirst", target))

    def fresh(command):
        return lambda: timed(program(f"{command} && sync '{target}'", shell=True))

    faststart = " ".join(("-c copy -movflags +faststart", *legacy))
    times = race({"Sondex": ours,
                  "cp and sync": fresh(f"cp '{movie}' '{target}'"),
                  "ffmpeg faststart": fresh(f"ffmpeg -v error -i '{movie}' {faststart} '{target}'")}, 5)
    row("moovFirst of 2 GiB", times.pop("Sondex"), times, "≤ 1.1 × cp and sync, well below ffmpeg",
        f"{movie.stat().st_size / 2**30:.2f} GiB, its last change an hour ago")
    set_position(work, movie)


def set_position(work, movie):
    """The movie box is the last one, as the camera leaves it."""
    edited, copied = work / "edited.mp4", work / "copied.mp4"
    shutil.copy(movie, edited)
    os.sync()
    before = edited.stat().st_size
    setter = build / "bench-setPosition"
    runners = {"Sondex": program(setter, str(edited), "2"),
               "cp and sync": program(f"cp '{movie}' '{copied}' && sync '{copied}'", shell=True)}
    if have("exiftool"):
        runners["exiftool"] = program(f"exiftool -q -overwrite_original -api LargeFileSupport=1 "
                                      f"-GPSCoordinates='54.8, 8.3' '{copied}' && sync '{copied}'",
                                      shell=True)
    times = race(runners, 5)
    run([str(setter), str(edited), "100"])
    grown = edited.stat().st_size - before
    row("a position in 2 GiB, flushed", times.pop("Sondex") / 2, times, "≤ 0.02 × cp",
        f"{grown / 1e3:.0f} kB longer after 110 edits")


def main():
    parent = sys.argv[2] if len(sys.argv) > 2 else None
    print("| Job | Sondex | Ratio | Goal | |\n|---|---|---|---|---|")
    with tempfile.TemporaryDirectory(dir=parent) as name:
        work = pathlib.Path(name)
        for part in (stills, movies, one_hour, large_movie):
            part(work)


main()
