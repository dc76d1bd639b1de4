#!/usr/bin/env python3
"""Holds the edits of sondexkit to what they promise, on movies made and cut with ffmpeg: frames stay
what they were, metadata follows them, refusals leave the file alone."""

import fcntl
import json
import os
import struct
import subprocess

from common import ffmpeg, kit, makeCamera, probe, program, read, run, sampleMaker, write
from samples import box, full

SPATIAL = bytes.fromhex("28F311E2B7914F6F94E24F5DEACB3C01")
XMP = bytes.fromhex("BE7ACFCB97A942E89C71999491E3AFAC")
AXIS = bytes.fromhex("8E4E1F9781F34D5997B5FF05A27CDB7B")
SOUND_RATE = 100  # samples a second; each lasts 480 units of its clock
PRIVATE = {"gps": (b"35.6895", b"139.6917", b"35,41", b"139,41"), "serial": (b"00104711",), "motion": (b"KDTB", AXIS)}


def frames(name):
    return ffmpeg("-i", name, "-map", "0", "-f", "framemd5", "-")


def ffprobe(name, entries):
    words = ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", entries, "-of", "csv=p=0", name]
    return subprocess.run(words, capture_output=True, text=True, check=True).stdout


def rows(name):
    """The accelerometer at each frame. The yaw is that of a turn since the first, and differs."""
    return [{key: value for key, value in row.items() if key != "yaw"} for row in probe.samplesOf(name)[0]]


def private(name):
    """What the file holds that may tell on its user."""
    return {word for word, texts in PRIVATE.items() if any(text in read(name) for text in texts)}


def addSpatialSound(name, seconds, clock=48000):
    """Sound in three chunks of its own that begins after 50 ms, and a tilt stream of a sample a frame."""
    samples = int(seconds * SOUND_RATE)
    pcm = b"".join(struct.pack("<I", i) for i in range(samples))
    movie = bytearray(read(name))
    begin = len(movie) + 8
    third = samples // 3
    entry = box("sowt", bytes(6) + struct.pack(">HQHHHHI", 1, 0, 2, 16, 0, 0, 48000 << 16))
    stbl = (box("stsd", struct.pack(">II", 0, 1) + entry) + full("stts", 1, samples, 480)
            + full("stsc", 2, 1, third, 1, 3, samples - 2 * third, 1)
            + full("stsz", 4, samples)
            + full("stco", 3, begin, begin + 4 * third, begin + 8 * third))
    mdia = full("mdhd", 0, 0, clock, samples * 480, 0) + box("minf", box("stbl", stbl))
    katr = full("tkhd", 0, 0, 9, 0, int(seconds * 1000), *[0] * 15) + box(
        "edts", full("elst", 2, 50, 0xFFFFFFFF, 0x10000, int(seconds * 1000), 0, 0x10000)) + box("mdia", mdia)
    count = len(rows(name))
    tilt = struct.pack(">HHIi20x", 2, 0, count, -1) + b"".join(struct.pack(">4i", i, 2, 3, 4) for i in range(count))
    movie += box("mdat", pcm) + box("uuid", SPATIAL + box("KATR", katr))
    movie += box("uuid", AXIS + tilt)
    write(name, movie)
    return pcm


def spatialSamples(name):
    """The bytes that the tables of the spatial sound name."""
    movie = read(name)
    katr = movie[movie.index(SPATIAL):]

    def table(code, row):
        at, (count,) = katr.index(code) + 12, struct.unpack_from(">I", katr, katr.index(code) + 8)
        return list(struct.iter_unpack(row, katr[at:at + count * struct.calcsize(row)]))

    rules = table(b"stsc", ">3I")
    return b"".join(movie[at:at + 4 * [rule[1] for rule in rules if rule[0] <= chunk][-1]]
                    for chunk, (at,) in enumerate(table(b"stco", ">I"), 1))


def camera(name, seconds, picture, *options):
    makeCamera(name, f"{picture}=size=320x160:rate=30000/1001:duration={seconds}", "-f", "lavfi", "-i",
               f"sine=frequency=440:duration={seconds}", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-g", "30",
               "-bf", "2", "-c:a", "aac", *options)


# A byte stream on the way repeats parameter sets and adds delimiters: the pictures are the same.
for words in (["libx265", "-x265-params", "log-level=none"], ["libx264"]):
    camera("coded.mp4", 1, "testsrc2", "-c:v", *words)
    ffmpeg("-i", "coded.mp4", "-map", "0:v", "-c", "copy", "coded.ts")
    ffmpeg("-i", "coded.ts", "-c", "copy", "stream.mp4")
    assert "30 of 30 coded pictures equal: frames 0–29" in run("carry", "coded.mp4", "stream.mp4")

camera("camera.mp4", 6, "testsrc2")
camera("other.mp4", 3, "testsrc")
pcm = addSpatialSound("camera.mp4", 6)
sourceRows = rows("camera.mp4")
sourceResult = probe.ask("camera.mp4")

# Cuts of every kind: the frames stay, the rows are the source's, and a second run has nothing to do.
cuts = {
    "key.mp4": ["-ss", "2.002", "-i", "camera.mp4", "-t", "2"],
    "between.mp4": ["-ss", "2.5", "-i", "camera.mp4", "-t", "2"],
    "after.mp4": ["-i", "camera.mp4", "-ss", "2.5", "-t", "2"],
    "fast.mp4": ["-ss", "1.5", "-i", "camera.mp4", "-t", "2", "-movflags", "+faststart"],
    "order.mp4": ["-ss", "1.5", "-i", "camera.mp4", "-t", "2", "-map", "0:a", "-map", "0:v"],
    "silent.mp4": ["-i", "camera.mp4", "-t", "1", "-an"],
    "half.mp4": ["-i", "camera.mp4", "-vf", "scale=160:80", "-c:v", "libx264"],
}
for name, words in cuts.items():
    ffmpeg(*words, *([] if "-c:v" in words else ["-c", "copy"]), name)
    before = frames(name)
    told = json.loads(run("carry", "--json", "camera.mp4", name))
    assert frames(name) == before, name
    kept = rows(name)
    first = next(i for i, row in enumerate(sourceRows) if row == kept[0])
    numbers = [sourceRows.index(row) for row in kept]
    assert numbers == sorted(set(numbers)) and f"frames {first}–{numbers[-1]}" in told["frames"]
    movie = read(name)
    times = struct.unpack_from("<I", movie, movie.index(b"KDTG") + 4)[0]
    assert times == len(kept) == before.count("\n1," if name == "order.mp4" else "\n0,") or "hides" in told["frames"]
    for key in ("model", "cameraSerial", "gps", "GSpherical:InitialViewHeadingDegrees",
                "creatorTool", "KDTDSamplingRate", "KDTBSamplingRate", "KDTCSamplingRate"):
        assert probe.ask(name)[key] == sourceResult[key], (name, key)
    tilt = movie[movie.index(AXIS) + 16 + 32:]
    assert [struct.unpack_from(">i", tilt, 16 * i)[0] for i in range(times)] == numbers, name
    # The spatial sound: the source's bytes from where the target's time line begins.
    heard = spatialSamples(name)
    assert heard and pcm.find(heard) % 4 == 0, name
    hidden = float(told["frames"].split("hides ")[1][:-2]) if "hides" in told["frames"] else 0
    # A cut whose sound begins ahead of the pictures shows nothing until then.
    ahead = max(0, float(ffprobe(name, "stream=start_time").strip().strip(",")))
    late = max(0, first * 1001 / 30000 + hidden - ahead - 0.05) - pcm.find(heard) / 4 / SOUND_RATE
    assert -0.002 < late < 1 / SOUND_RATE + 0.002, (name, late)
    katr = movie[movie.index(SPATIAL):]
    assert katr.count(b"elst") <= 1, name
    assert first > 0 or struct.unpack_from(">Qq", katr, katr.index(b"elst") + 12) == (50, -1), name
    assert "nothing to do" in run("carry", "camera.mp4", name)

# Chapters joined by ffmpeg.
write("list.txt", b"file camera.mp4\nfile other.mp4\n")
ffmpeg("-f", "concat", "-safe", "0", "-i", "list.txt", "-map", "0:v", "-c", "copy", "joined.mp4")
before = frames("joined.mp4")
assert "not every source" in run("carry", "--join", "camera.mp4", "other.mp4", "--", "joined.mp4")
addSpatialSound("other.mp4", 3, 24000)
assert "not coded alike" in run("carry", "--replace", "--join", "camera.mp4", "other.mp4", "--", "joined.mp4")
assert frames("joined.mp4") == before
values = [[row[axis] for axis in "xyz"] for row in rows("joined.mp4")]
assert values == [[row[axis] for axis in "xyz"] for row in sourceRows + rows("other.mp4")]

# What is left behind, and what a dry run and another output leave alone.
ffmpeg(*cuts["key.mp4"], "-c", "copy", "drop.mp4")
before = read("drop.mp4")
run("carry", "--dry-run", "camera.mp4", "drop.mp4")
for words in ("gps", "serial", "motion", "gps,serial,motion"):
    told = json.loads(run("carry", "--json", "--output", words, "--drop", words, "camera.mp4", "drop.mp4"))
    assert told["path"] == words and private(words) == PRIVATE.keys() - set(words.split(",")), told
    assert {item["fate"] for item in told["items"]} == {"carried"}, told
    assert probe.ask(words)["model"] == sourceResult["model"]
assert read("drop.mp4") == before
run("carry", "--output", "same.mp4", "camera.mp4", "key.mp4")
assert read("same.mp4") == read("key.mp4")

# What ffmpeg writes of the metadata gives way, and where it fails nothing is left.
write("placed.mp4", read("camera.mp4"))
run("set", "--position", "35.5,139.25,40", "placed.mp4")
told = json.loads(run("cut", "--json", "--from", "2", "--to", "3", "placed.mp4", "cut.mp4"))
assert {item["fate"] for item in told["items"]} == {"carried"}, told
ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32", "-frames:v", "1", "-c:v", "prores_ks", "prores.mov")
assert "ffmpeg could not cut" in run("cut", "prores.mov", "none.mp4", status=3) and not os.path.exists("none.mp4")

# Wrong pairs are refused, and both files stay as they were.
ffmpeg("-i", "camera.mp4", "-r", "15", "-c:v", "libx264", "rate.mp4")
ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x32", "-frames:v", "1", "still.jpg")
write("damaged.mp4", read("camera.mp4")[:90000])
ffmpeg("-i", "camera.mp4", "-c", "copy", "-bsf:v", "setts=pts=DTS", "shuffled.mp4")
endless = bytearray(read("drop.mp4"))
struct.pack_into(">I", endless, endless.rindex(b"moov") - 4, 0)
write("endless.mp4", endless)
for pair, words in {
    ("camera.mp4", "endless.mp4"): "its last box has no end",
    ("other.mp4", "drop.mp4"): "say from which second",
    ("camera.mp4", "rate.mp4"): "frames a second",
    ("camera.mp4", "camera.mp4"): "the target itself",
    ("--output", "camera.mp4", "camera.mp4", "drop.mp4"): "the output is the source",
    ("still.jpg", "drop.mp4"): "JPEG",
    ("damaged.mp4", "drop.mp4"): "damaged.mp4",
    ("camera.mp4", "shuffled.mp4"): "another order",
    ("clip.mp4", "other.mp4"): "no metadata of the camera",
}.items():
    before = [read(name) for name in pair[-2:]]
    assert words in run("carry", *pair, status=3), pair
    assert [read(name) for name in pair[-2:]] == before, pair

# A re-encoded part goes by the second that is given.
ffmpeg("-ss", "2.002", "-i", "camera.mp4", "-t", "1", "-vf", "scale=160:80", "part.mp4")
assert "on only 15" in run("carry", "--from", "5.5", "camera.mp4", "part.mp4", status=3)
run("carry", "--from", "2.002", "camera.mp4", "part.mp4")
assert rows("part.mp4") == sourceRows[60:60 + len(rows("part.mp4"))]

# Strip: gone from the bytes, also where an earlier edit left them, and the frames stay. A free box may hold
# what a file's items refer to, or its media.
subprocess.run([sampleMaker, "jpeg", "still.jpg", "camera.jpg"], check=True)
movie, still = (read(name) for name in ("camera.mp4", "camera.jpg"))
items = box("meta", bytes(4) + full("iloc", 0)) + box("free", b"kept")
left = 2 * box("free", b"+35.6895+139.6917/") + box("uuid", XMP + b"<a>+35.6895+139.6917/</a>")
for word, contents in [(word, movie + items) for word in PRIVATE] + [("all", movie + left), ("all", still)]:
    write("one", contents)
    before = frames("one")
    assert "overwritten" in run("strip", f"--{word}", "one") and "nothing to do" in run("strip", f"--{word}", "one")
    assert frames("one") == before and private("one") == (PRIVATE.keys() - {word} if word != "all" else set()), word
    assert read("one")[-4:] == b"kept" or word == "all"
spare = movie.replace(b"mdat", b"free", 1)
write("one", spare)
assert "may hold media" in run("strip", "--all", "one", status=3) and read("one") == spare

# Tag, set and faststart: done once, then nothing to do; wrong words are wrong use.
assert "NO   spherical-video box" in run("tag", "--check", "clip.mp4", status=1)
assert '"spherical":false' in run("tag", "--check", "--json", "clip.mp4", status=1)
for words in (["tag", "--heading", "30", "--pitch", "5", "--fov", "60"], ["set", "--position", "-35.5,139.25,40", "--time",
              "2026-11-21T10:00:00Z"], ["faststart"], ["set", "--position", "-33.25,9"]):
    for name in ("clip.mp4", "camera.mp4"):
        before = frames(name)
        assert "nothing to do" not in run(*words, name), (words, name)
        assert "nothing to do" in run(*words, name)
        assert frames(name) == before
    assert spatialSamples("camera.mp4") == pcm, words
assert "NO" not in run("tag", "--check", "clip.mp4")
facts = json.loads(run("facts", "--json", "clip.mp4"))
assert [facts[f"GSpherical:Initial{name}Degrees"] for name in ("ViewHeading", "ViewPitch", "HorizontalFOV")] == [30, 5, 60]
tags = ffprobe("clip.mp4", "format_tags")
assert "-33.2500+009.0000" in tags and "2026-11-21T10:00:00" in tags
with open("clip.mp4", "ab") as file:
    file.write(box("mfra", b""))
before = read("clip.mp4")
assert "'mfra' cannot be kept right" in run("tag", "--pitch", "10", "clip.mp4", status=3)
assert read("clip.mp4") == before
for words in (["set", "--position", "nowhere"], ["set", "--position", "91,0"], ["set", "--position", "1,2,40000"], ["set"],
              ["set", "--time", "2026-02-30T10:00:00Z"], ["set", "--time", "2026-11-21T10:00:60Z"],
              ["set", "--time", "2026-11-21T10:00:00Zone"], ["set", "--time", "2026-11-21T10:00:00Z", "--xmp", "."],
              ["tag", "--pitch", "91"], ["set", "--flag", "--zenith", "1"], ["strip"]):
    run(*words, "clip.mp4", status=2)
# A still is patched where it stands when a sector holds the change, else replaced by a new file.
os.chmod("camera.jpg", 0o640)
os.rename("camera.jpg", "real.jpg")
os.symlink("real.jpg", "set.jpg")
ways = set()
for pad in range(4, 512, 60):
    before = still[:2] + struct.pack(">HH", 0xFFFE, pad) + bytes(pad - 2) + still[2:]
    write("set.jpg", before)
    node = os.stat("set.jpg").st_ino
    assert "maker note set" in run("set", "--zenith", "3", "--projection", "2", "set.jpg")
    assert "nothing to do" in run("set", "--zenith", "3", "set.jpg")
    after = read("set.jpg")
    changed = {at // 512 for at in range(len(before)) if before[at] != after[at]}
    assert len(after) == len(before) and (os.stat("set.jpg").st_ino == node) == (len(changed) == 1)
    ways.add(len(changed))
assert ways == {1, 2}, ways
run("set", "--stabilization", "9", "set.jpg")
note = subprocess.run([program, "-dump", "set.jpg"], capture_output=True, text=True).stdout
assert all(line in note for line in ("type: 2\n", "adjZenith: 3\n", "stabilize: 9\n")), note
assert os.path.islink("set.jpg") and os.stat("set.jpg").st_mode & 0o777 == 0o640
with open("set.jpg") as held:
    fcntl.flock(held, fcntl.LOCK_EX)
    assert "another program" in run("set", "--zenith", "2", "set.jpg", status=3)
run("set", "--position", "1,2", "set.jpg", status=3)
