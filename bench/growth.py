#!/usr/bin/env python3
"""Measures how costs grow and draws them into docs/growth.svg.

usage: bench/growth.py BUILD-FOLDER PICTURE

Each line is one command over files that differ in one count alone. Processor time counts, of all of
a command's processes, and of several runs the fastest; what a run of the smallest file costs is taken
off. The slope is that of a straight line through the points on logarithmic axes: 1 is linear.
"""

import math
import pathlib
import resource
import shutil
import struct
import subprocess
import sys
import tempfile

build, picture = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
kit = build / "sondexkit"
ROUNDS = 15


def box(code, *parts):
    payload = b"".join(parts)
    return struct.pack(">I4s", 8 + len(payload), code) + payload


def full(code, *parts):
    return box(code, bytes(4), *parts)


def words(*numbers):
    return struct.pack(f">{len(numbers)}I", *numbers)


def movie(udta=b"", more=b"", samples=1, chunks=1):
    """A movie of one video track; the media data is a chunk of one byte, `chunks` times."""
    ftyp, mdat = box(b"ftyp", b"isom", words(0)), box(b"mdat", b"\0")
    size = struct.pack(">HH", 64, 32)
    avc1 = box(b"avc1", bytes(6) + struct.pack(">H", 1) + bytes(16) + size + bytes(50))
    offset = words(len(ftyp) + 8)
    stbl = box(b"stbl", full(b"stsd", words(1), avc1), full(b"stts", words(1, samples, 1)),
               full(b"stsc", words(1, 1, 1, 1)), full(b"stsz", words(0, samples), words(1) * samples),
               full(b"stco", words(chunks), offset * chunks))
    mdia = box(b"mdia", full(b"mdhd", words(0, 0, 30, samples, 0)),
               full(b"hdlr", words(0), b"vide", bytes(12), b"\0"), box(b"minf", stbl))
    trak = box(b"trak", full(b"tkhd", words(0, 0, 1, 0, samples), bytes(52), words(64 << 16, 32 << 16)), mdia)
    mvhd = full(b"mvhd", words(0, 0, 30, samples), bytes(80))
    return ftyp + mdat + box(b"moov", mvhd, trak, box(b"udta", udta), more)


def gyro(count):
    step = 5_000_000
    records = b"".join(struct.pack("<3f4xQ", 0.1, 0, 0, i * step) for i in range(count))
    return box(b"KDTB", struct.pack("<IHHH6x", count, 200, 24, 0x0123), records)


SERIES = [
    # Name, what one is called, the command, its file for a count, the counts.
    ("gyro samples, motion", "a sample", ["motion"], lambda n: movie(udta=gyro(n)),
     (100_000, 300_000, 1_000_000, 3_000_000)),
    ("boxes, facts", "a box", ["facts", "--no-decode"], lambda n: movie(more=box(b"free") * n),
     (20_000, 40_000, 80_000, 120_000)),
    ("samples of a track, facts", "a sample", ["facts", "--no-decode"], lambda n: movie(samples=n),
     (300_000, 1_000_000, 3_000_000)),
    ("chunk offsets, faststart", "an offset", ["faststart"], lambda n: movie(chunks=n),
     (300_000, 1_000_000, 3_000_000)),
]


def processorTime():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def fastest(runs):
    """The processor time of the fastest of several of each of these runs, which take turns: a command,
    the file that it takes and the one that is a copy of, if any."""
    best = [math.inf] * len(runs)
    for _ in range(ROUNDS):
        for i, (command, file, source) in enumerate(runs):
            if source:
                shutil.copy(source, file)
            before = processorTime()
            subprocess.run([kit, *command, file], stdout=subprocess.DEVNULL, check=True)
            best[i] = min(best[i], processorTime() - before)
    return best


def slope(points):
    xs, ys = [math.log(n) for n, _ in points], [math.log(t) for _, t in points]
    x, y = sum(xs) / len(xs), sum(ys) / len(ys)
    return sum((a - x) * (b - y) for a, b in zip(xs, ys)) / sum((a - x) ** 2 for a in xs)


def lines(folder):
    def line(name, unit, counts, runs):
        base, *times = fastest(runs)
        return name, unit, [(count, time - base) for count, time in zip(counts, times)]

    for name, unit, command, make, counts in SERIES:
        runs = []
        for count in (1, *counts):
            source = folder / f"{count}.mp4"
            source.write_bytes(make(count))
            runs.append((command, folder / "copy.mp4", source))
        yield line(name, unit, counts, runs)
    picture, still = folder / "picture.jpg", folder / "still.jpg"
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x32", "-frames:v", "1", picture],
                   stdin=subprocess.DEVNULL, check=True)
    subprocess.run([build / "sondex-sample", "jpeg", picture, still], check=True)
    for jobs, workers in (("1", "one worker"), ("2", "two workers")):
        counts = (3000, 10_000, 30_000)
        for count in (1, *counts):
            (folder / str(count)).write_text(f"{still}\n" * count)
        scan = ["scan", "--no-decode", "--jobs", jobs, "--files-from"]
        yield line(f"files, scan, {workers}", "a file", counts, [(scan, folder / str(n), None) for n in (1, *counts)])


STYLE = """<style>
text{font:12px system-ui,sans-serif;fill:#1c2430}.card{fill:#fff}.grid{stroke:#d5dae2}
polyline{fill:none;stroke-width:1.5;stroke:#586274}circle{fill:#1f5fa8}
@media (prefers-color-scheme:dark){text{fill:#e6eaf0}.card{fill:#1b212a}.grid{stroke:#343d4a}
polyline{stroke:#9aa6b8}circle{fill:#7db4f0}}
</style>
"""


def draw(series):
    left, right, top, low = 62, 540, 34, 394
    points = [point for _, _, line in series for point in line]
    ranges = [(math.floor(min(logs)), math.ceil(max(logs)))
              for logs in ([math.log10(n) for n, _ in points], [math.log10(t * 1000) for _, t in points])]
    (fromX, toX), (fromY, toY) = ranges

    def x(n):
        return left + (math.log10(n) - fromX) / (toX - fromX) * (right - left)

    def y(milliseconds):
        return low - (math.log10(milliseconds) - fromY) / (toY - fromY) * (low - top)

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" role="img" width="860" height="440" viewBox="0 0 860 440">\n'
           f'<title>How costs grow</title>\n{STYLE}<rect class="card" width="100%" height="100%"/>']
    for power in range(fromX, toX + 1):
        at = x(10 ** power)
        svg += [f'<path class="grid" d="M{at:.1f} {top}V{low}"/>',
                f'<text x="{at:.1f}" y="{low + 18}" text-anchor="middle">{10 ** power:,}</text>']
    for power in range(fromY, toY + 1):
        at = y(10 ** power)
        svg += [f'<path class="grid" d="M{left} {at:.1f}H{right}"/>',
                f'<text x="{left - 8}" y="{at + 4:.1f}" text-anchor="end">{10.0 ** power:g}</text>']
    svg += [f'<text x="{left - 8}" y="{top - 12}" text-anchor="end">ms</text>',
            f'<text x="{right}" y="{low + 36}" text-anchor="end">count</text>']
    places = sorted(((y(line[-1][1] * 1000), i) for i, (_, _, line) in enumerate(series)))
    below = 0
    for place, i in places:
        name, unit, line = series[i]
        path = " ".join(f"{x(n):.1f},{y(t * 1000):.1f}" for n, t in line)
        svg += [f'<polyline points="{path}"/>']
        svg += [f'<circle cx="{x(n):.1f}" cy="{y(t * 1000):.1f}" r="3"/>' for n, t in line]
        below = max(place, below + 32)
        end = x(line[-1][0])
        n, t = line[-1]
        cost = t / n * 1e9
        each = f"{cost:.3g} ns" if cost < 1000 else f"{cost / 1000:.3g} µs"
        svg += [f'<path class="grid" d="M{end + 4:.1f} {place:.1f}L{right + 16} {below:.1f}"/>',
                f'<text x="{right + 20}" y="{below:.1f}">{name}</text>',
                f'<text x="{right + 20}" y="{below + 14:.1f}">{each} {unit}, slope {slope(line):.2f}</text>']
        print(f"{name}: {each} {unit}, slope {slope(line):.2f}")
    return "\n".join([*svg, "</svg>\n"])


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        picture.write_text(draw(list(lines(pathlib.Path(folder)))))
