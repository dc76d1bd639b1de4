#!/usr/bin/env python3
"""Holds what `sondexkit motion` tells and draws against the dumps of Sondex, from which everything is
worked out here once more."""

import base64
import csv
import functools
import html
import json
import math
import os
import random
import re
import struct
import xml.etree.ElementTree as ElementTree

from common import makeCamera, probe, read, run, shortFiles, write

motion = functools.partial(run, "motion")
FORMS = ("csv", "gcsv", "svg", "html")
SVG = "{http://www.w3.org/2000/svg}"


def written(movie, form):
    return motion(f"--{form}", "-", movie)


def close(a, b, within=1e-5):
    return abs(a - b) <= within * max(1, abs(a), abs(b))


def nearest(samples, time):
    return min(samples, key=lambda sample: abs(sample["timestamp"] - time))


def axes(sample, factor=1):
    return [sample[axis] * factor for axis in "xyz"]


def changed(name, code, edit):
    """A copy of the sample in which `edit` changed the records of a stream, a list of lists."""
    movie = bytearray(read("sample.mp4"))
    at = movie.index(code) + 4
    layout = {b"KDTB": "<fff4xQ", b"KDTG": "<Q"}[code]
    end = at + 16 + struct.unpack_from("<I", movie, at)[0] * struct.calcsize(layout)
    records = [list(record) for record in struct.iter_unpack(layout, movie[at + 16:end])]
    edit(records)
    movie[at + 16:end] = b"".join(struct.pack(layout, *record) for record in records)
    write(name, movie)


makeCamera("sample.mp4", "testsrc2=size=64x32:rate=30000/1001:duration=4", "-pix_fmt", "yuv420p")
accel, gyro, compass = probe.samplesOf("sample.mp4")
degrees = 180 / math.pi
start = accel[0]["timestamp"]
tilts = [math.atan2(math.hypot(a["x"], a["y"]), a["z"]) * degrees for a in accel]
yaws = [a["yaw"] * degrees for a in accel]
level = [a["x"] == a["y"] == 0 for a in accel]

# The summary.
told = json.loads(motion("--json", "sample.mp4"))
for name, samples, stated in (("frames", accel, None), ("gyro", gyro, 200), ("compass", compass, 100)):
    times = [sample["timestamp"] for sample in samples]
    longest = max(range(len(times) - 1), key=lambda i: times[i + 1] - times[i])
    interval = told[name]["longestInterval"]
    assert told[name]["count"] == len(samples) and told[name].get("statedRate") == stated
    assert close(told[name]["measuredRate"], (len(times) - 1) * 1e9 / (times[-1] - times[0]))
    assert close(interval["seconds"], (times[longest + 1] - times[longest]) / 1e9)
    assert close(interval["at"], (times[longest] - start) / 1e9), name
    assert told[name]["gaps"] == told[name]["stepsBack"] == 0
for name, values in (("tilt", tilts), ("yaw", yaws)):
    assert close(told[name]["min"], min(values)) and close(told[name]["max"], max(values)), name
fastest = max(gyro, key=lambda sample: math.hypot(*axes(sample)))
assert close(told["fastestTurn"]["degreesPerSecond"], math.hypot(*axes(fastest)) * degrees)
assert close(told["fastestTurn"]["at"], (fastest["timestamp"] - start) / 1e9)
assert [i for a, b in told["halfTurnedFrames"] for i in range(a, b + 1)] == [
    i for i in range(len(accel)) if level[i]] and any(level) and not all(level)
assert (told["yawMode"], told["accelerometer"]["perFrame"], told["upsideDown"]) == ("follow", True, False)
assert ": " + ", ".join(f"{a}-{b}" for a, b in told["halfTurnedFrames"]) in motion("sample.mp4")

# The table and the log.
rows = list(csv.DictReader(written("sample.mp4", "csv").splitlines()))
assert len(rows) == len(accel)
for row, frame, yaw, tilt in zip(rows, accel, yaws, tilts):
    time = int(row["camera_time_ns"])
    assert time == frame["timestamp"] and close(float(row["time_s"]), (time - start) / 1e9, 1e-9)
    expected = [yaw, tilt, *axes(nearest(gyro, time), degrees), *axes(nearest(compass, time))]
    assert all(close(float(cell), value) for cell, value in zip(list(row.values())[2:], expected, strict=True))
head, body = written("sample.mp4", "gcsv").split("\nt,gx,gy,gz,ax,ay,az\n")
settings = dict(line.split(",") for line in head.splitlines()[1:])
assert head.startswith("GYROFLOW IMU LOG\nversion,") and {"id", "orientation"} < settings.keys()
for line, sample in zip(body.splitlines(), gyro, strict=True):
    time, *values = map(float, line.split(","))
    pull = nearest(accel, sample["timestamp"])
    assert close(time * float(settings["tscale"]), (sample["timestamp"] - start) / 1e9, 1e-9)
    assert all(close(a * float(settings["gscale"]), b) for a, b in zip(values, axes(sample)))
    assert values[3:] == axes(pull) and close(float(settings["ascale"]) * 4096, 1, 1e-3)


# The figure: its lines, read off by the labels of its axes, are the samples.
def lines(svg):
    """Of each panel: the lines, by their look, as lists of times and values."""
    root = ElementTree.fromstring(svg)
    labels = [(float(t.get("x")), float(t.get("y")) - 4, t.get("text-anchor"), t.text) for t in root.iter(SVG + "text")]
    panels, scale = [], None
    for element in root:
        if element.tag == SVG + "text" and element.text in ("Turn and tilt", "Gyro"):
            top = float(element.get("y"))
            ys = [(y, float(text)) for x, y, anchor, text in labels
                  if anchor == "end" and re.fullmatch(r"[-.\d]+", text) and top < y < top + 165]
            xs = [(x, float(text)) for x, y, anchor, text in labels if anchor == "middle" and top < y < top + 190]
            scale = [(a[-1][1] - a[0][1]) / (a[-1][0] - a[0][0]) for a in (xs, ys)]
            panels.append({})
        if element.tag == SVG + "polyline":
            points = [tuple(map(float, point.split(","))) for point in element.get("points").split()]
            panels[-1].setdefault(element.get("class"), []).extend(
                ((x - xs[0][0]) * scale[0] + xs[0][1], (y - ys[0][0]) * scale[1] + ys[0][1]) for x, y in points)
    return panels


drawn = written("sample.mp4", "svg")
assert "prefers-color-scheme:dark" in drawn and '<rect class="level"' in drawn and 'class="gap"' not in drawn
assert drawn.split("Gyro")[0].count('<polyline class="a"') == 3, "a line ends where the yaw turns over"
turn, spin = lines(drawn)
for line, samples, values in [(turn["a"], accel, yaws), (turn["b"], accel, tilts)] + [
        (spin[look], gyro, [sample[axis] * degrees for sample in gyro]) for look, axis in zip("abc", "xyz")]:
    assert len(line) > 0.7 * len(samples)
    for time, value in line:
        at = min(range(len(samples)), key=lambda i: abs((samples[i]["timestamp"] - start) / 1e9 - time))
        assert abs((samples[at]["timestamp"] - start) / 1e9 - time) < 0.001 and abs(value - values[at]) < 0.2

# The page: every number, nothing from elsewhere.
page = written("sample.mp4", "html")
assert not re.search(r"<(link|img|iframe)|<script[^>]* src|@import|url\(", page)
data = json.loads(page.split('type="application/json">')[1].split("</script>")[0])
assert data["yawMode"] == told["yawMode"]
tables = {table["name"]: table for table in data["tables"]}
for name, column, values in (("gyro", "z", [sample["z"] * degrees for sample in gyro]), ("frames", "yaw", yaws),
                             ("compass", "x", [c["x"] / math.hypot(*axes(c)) for c in compass]),
                             ("gyro", "time", [(sample["timestamp"] - start) / 1e9 for sample in gyro])):
    kind, text = tables[name]["columns"][column]
    numbers = struct.iter_unpack({"f32": "<f", "f64": "<d"}[kind], base64.b64decode(text))
    assert all(close(number, value) for (number,), value in zip(numbers, values, strict=True)), (name, column)

# Streams with holes and out of order are told; damaged ones do no harm.
def pause(records):
    for record in records[400:]:
        record[3] += 500_000_000
    records[10:12] = records[11:9:-1]
    for i in range(100, 130):
        records[i][1] = 5 * (-1) ** i


changed("pause.mp4", b"KDTB", pause)
told = json.loads(motion("--json", "pause.mp4"))["gyro"]
hole = gyro[399]["timestamp"] - start
assert told["gaps"] == 1 and told["stepsBack"] == 1 and close(told["longestGaps"][0]["at"], hole / 1e9)
assert close(told["longestGaps"][0]["seconds"], 0.505, 0.01)
drawn = written("pause.mp4", "svg")
peaks = [round(value / degrees) for _, value in lines(drawn)[1]["b"]]
assert peaks.count(5) == peaks.count(-5) == 15, "no peak is left out"
drawnGyro = drawn.split("Gyro")[1]
ends = [float(re.search(x, drawn, re.S)[1]) for x in (r'"gap" x="([\d.]+)', r'>Gyro<.*?"a" points="[^"]* ([\d.]+),')]
assert drawnGyro.count('<polyline class="a"') == 2 and abs(ends[0] - ends[1]) < 0.2, "no line leads across a gap"
assert drawn.count('class="gap"') == 2 and "1 gap: 0.505 s" in motion("pause.mp4")
write("gyro.mp4", re.sub(b"KDT[DG]", b"skip", read("sample.mp4")))
assert "\nt,gx,gy,gz\n0," in written("gyro.mp4", "gcsv")
chance = random.Random(18)
odd = [math.nan, math.inf, -math.inf, 3e38, 1e-45, 0.0]
for code, values in ((b"KDTB", [0, 1, 2**63, 2**64 - 1, 10**9]), (b"KDTG", [0, 2**63, 2**64 - 1])):
    def spoil(records):
        for record in records:
            record[-1] = chance.choice(values) if chance.random() < 0.7 else record[-1]
            record[:-1] = [chance.choice(odd) for _ in record[:-1]]
    changed("odd.mp4", code, spoil)
    rows = list(csv.reader(written("odd.mp4", "csv").splitlines()))
    assert len(rows) == len(accel) + 1 and all(len(row) == len(rows[0]) for row in rows)
    assert not re.search("nan|inf", written("odd.mp4", "svg") + written("odd.mp4", "gcsv"))
    assert not re.search(",,|,$", written("odd.mp4", "gcsv"), re.M)
    ElementTree.fromstring(written("odd.mp4", "svg"))
    json.loads(motion("--json", "odd.mp4"), parse_constant=lambda word: 1 / 0)
    motion("odd.mp4")

# Names that are markup.
name = b"<b>&amp;\"' ]]>\x01\xff\xef\xbf\xbf" + "ü".encode() * 50 + b".mp4"
os.symlink("sample.mp4", name)
title, shown = [next(ElementTree.fromstring(motion("--svg", "-", name)).iter(SVG + tag)).text for tag in ("title", "text")]
assert title == "Motion of <b>&amp;\"' ]]> \ufffd\ufffd" + "ü" * 50 + ".mp4"
assert shown.endswith("ü…") and shown.count("\ufffd") == 2
page = motion("--html", "-", name)
assert "<b>" not in page and title in html.unescape(page)
assert base64.b64decode(json.loads(motion("--json", name))["pathBytes"]) == name

# Outputs are there whole or not at all, and never in place of what is dear.
everything = [word for form in FORMS for word in (f"--{form}", f"out.{form}")]
movie = read("sample.mp4")
os.link("sample.mp4", "link.mp4")
write("text.mp4", b"no movie\n")
for words, status in (([*everything, "text.mp4"], 1), ([*everything, "clip.mp4"], 1), (["--svg", "out.svg", "clip.mp4"], 1),
                      ([*everything, "gone.mp4"], 1), (["text.mp4", "sample.mp4"], 1),
                      (["--csv", "no/folder.csv", "sample.mp4"], 4), (["--csv", "/dev/full", "sample.mp4"], 4),
                      (["--overwrite", "--csv", "link.mp4", "sample.mp4"], 3),
                      (["--csv", "-", "--svg", "-", "sample.mp4"], 2), (["--csv", "-", "a", "b"], 2), ([], 2)):
    motion(*words, status=status)
assert json.loads(motion("--json", "text.mp4", status=1).splitlines()[0])["error"]["code"] == "notAMovie"
motion("--html", "out.html", "sample.mp4", status=4, preexec_fn=shortFiles)
assert not [entry for entry in os.listdir() if entry.startswith(("out", "."))]
write("out.svg", b"mine")
os.chmod("out.svg", 0o604)
os.umask(0o027)
assert "--overwrite" in motion(*everything, "sample.mp4", status=3)
assert read("out.svg") == b"mine" and not os.path.exists("out.csv")
assert "fastest turn" in motion("--overwrite", *everything, "sample.mp4")
assert all(read(f"out.{form}").decode() == written("sample.mp4", form) for form in FORMS)
assert [os.stat(f"out.{form}").st_mode & 0o777 for form in FORMS] == [0o640, 0o640, 0o604, 0o640]
assert "motion  none" in motion("clip.mp4") and read("sample.mp4") == movie
