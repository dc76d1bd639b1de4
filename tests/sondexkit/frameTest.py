#!/usr/bin/env python3
"""Holds the pictures that sondexkit takes out of movies against ffmpeg's, and what they say of
themselves against exiftool's and exiv2's reading."""

import json
import math
import os
import shutil
import struct
import subprocess

from common import ffmpeg, makeCamera, probe, read, run, shortFiles, write

SCALER = "flags=bicubic+accurate_rnd+full_chroma_int+full_chroma_inp"


def frame(*words, status=0):
    """What it says of the pictures that it wrote."""
    lines = run("frame", "--json", *words, status=status).splitlines()
    return [json.loads(line) for line in lines if line.startswith("{")]


def hashes(*words):
    """Of the pixels of each picture."""
    told = ffmpeg("-noautorotate", *words, "-pix_fmt", "rgb24", "-f", "framemd5", "-")
    return [line.split()[-1] for line in told.splitlines() if not line.startswith("#")]


H264 = ["-c:v", "libx264", "-g", "12", "-bf", "3", "-pix_fmt", "yuv420p"]
HEVC = ["-c:v", "libx265", "-x265-params", "log-level=none:keyint=12:bframes=3"]
MOVIES = {  # what ffmpeg makes them with, how it is to turn them, the four numbers of the track's matrix
    "h264": (H264,),
    "open": ([*H264, "-x264-params", "open-gop=1:b-pyramid=normal"],),
    "full": ([*H264, "-pix_fmt", "yuvj420p"],),
    "hevc": ([*HEVC, "-pix_fmt", "yuv420p"],),
    "ten": ([*HEVC, "-pix_fmt", "yuv420p10le"],),
    "prores": (["-c:v", "prores_ks"],),
    "turned": (["-c:v", "prores_ks"], ",transpose=clock", (0, 1, -1, 0)),
    "mpeg4": (["-c:v", "mpeg4", "-bf", "2"],),
    "mjpeg": (["-c:v", "mjpeg"],),
    "av1": (["-c:v", "libsvtav1", "-preset", "12"],),
    "tagged": ([*H264, "-colorspace", "bt709", "-color_range", "tv"],),
    "fragmented": ([*H264, "-movflags", "frag_keyframe+empty_moov"],),
    "dash": ([*H264, "-movflags", "dash+frag_keyframe"],),
    "right": (H264, ",transpose=clock", (0, 1, -1, 0)),
    "over": (H264, ",hflip,vflip", (-1, 0, 0, -1)),
    "mirrored": (H264, ",hflip", (-1, 0, 0, 1)),
    "both": (H264, ",transpose=cclock_flip", (0, 1, 1, 0)),
}
for name, (options, *turned) in MOVIES.items():
    movie = f"{name}.{'mov' if 'prores_ks' in options else 'mp4'}"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=322x162:rate=30000/1001", "-frames:v", "40", *options, movie)
    turn, matrix = turned or ("", None)
    if matrix:
        a, b, c, d = (number << 16 for number in matrix)
        contents = bytearray(read(movie))
        struct.pack_into(">5i", contents, contents.index(b"tkhd") + 44, a, b, 0, c, d)
        write(movie, contents)
    expected = hashes("-i", movie, "-vf", f"scale={SCALER},format=rgb24{turn}", "-fps_mode", "passthrough")
    shots = []
    for number in (0, 11, 13, 30, 39):
        for words in (["--frame", str(number)], ["--at", f"{number * 1001 / 30000:.7f}"]):
            frame(movie, *words, "--output", f"{name}-one-{len(shots)}.png")
            shots.append(number)
    assert hashes("-i", f"{name}-one-%d.png") == [expected[number] for number in shots], name
    frame(movie, "--every", "0.02", "--output", f"{name}-%02d.png")
    assert hashes("-i", f"{name}-%02d.png") == expected, name

# An edit list hides what a cut keeps ahead of its beginning: numbers and times begin behind it.
ffmpeg("-ss", "0.55", "-i", "h264.mp4", "-c", "copy", "cut.mp4")
(cut,) = frame("cut.mp4", "--frame", "2", "--output", "cut.png")
behind = f"select=eq(n\\,19),scale={SCALER},format=rgb24"
assert hashes("-i", "cut.png") == hashes("-i", "h264.mp4", "-vf", behind, "-fps_mode", "passthrough")
assert cut["picture"] == 2

# Without a list all pictures count, also those whose times begin ahead of 0.
ffmpeg("-i", "mjpeg.mp4", "-c", "copy", "-bsf:v", "setts=pts=DTS+eq(N\\,3)", "early.mp4")
early = bytearray(read("early.mp4").replace(b"elst", b"skip"))
struct.pack_into(">2I2i", early, early.index(b"ctts") + 4, 1 << 24, 1, 40, -100)
write("early.mp4", early)
assert len(frame("early.mp4", "--every", "0.02")) == 40

# Without a word: the first picture that decodes, by its own number.
hurt = bytearray(read("mjpeg.mp4"))
hurt[(begin := hurt.index(b"mdat") + 4):begin + 500] = bytes(500)
write("hurt.mp4", hurt)
assert frame("hurt.mp4")[0]["picture"] == 1

# What a camera's picture says of itself; the camera is tilted by hand from picture 20 on.
makeCamera("camera.mp4", "testsrc2=size=640x320:rate=30000/1001:duration=2", *H264, "-metadata",
           "creation_time=2026-11-21T10:20:30Z")
first, late = frame("camera.mp4", "--every", "1.3")
row = probe.samplesOf("camera.mp4")[0][late["picture"]]
words = ["exiftool", "-validate", "-all", "-j", "-n", "-G1", "-a", late["path"]]
told = json.loads(subprocess.run(words, capture_output=True, check=True).stdout)[0]
assert late["path"] == "camera-00038.jpg" and told["ExifTool:Validate"] == "0 0 0", told
heading = (90 + math.degrees(row["yaw"])) % 360
pitch = math.degrees(math.atan2(-row["y"], math.hypot(row["x"], row["z"])))
roll = math.degrees(math.atan2(row["x"], row["z"]))
for key, value in {
    "IFD0:Make": "KESTO", "IFD0:Model": "KESTO ZELVA Q7", "ExifIFD:OffsetTimeOriginal": "+00:00",
    "ExifIFD:DateTimeOriginal": "2026:11:21 10:20:31", "ExifIFD:SubSecTimeOriginal": 268,
    "ExifIFD:ExifImageWidth": 640, "GPS:GPSLatitude": 35.6895, "GPS:GPSLongitude": 139.6917,
    "GPS:GPSLatitudeRef": "N", "GPS:GPSLongitudeRef": "E", "GPS:GPSAltitude": 40,
    "XMP-GPano:ProjectionType": "equirectangular", "XMP-GPano:FullPanoWidthPixels": 640,
    "XMP-GPano:FullPanoHeightPixels": 320, "XMP-GPano:CroppedAreaImageWidthPixels": 640,
    "XMP-GPano:CroppedAreaImageHeightPixels": 320, "XMP-GPano:CroppedAreaLeftPixels": 0,
    "XMP-GPano:PoseHeadingDegrees": heading, "XMP-GPano:PosePitchDegrees": pitch,
    "XMP-GPano:PoseRollDegrees": roll,
}.items():
    near = isinstance(value, float) and abs(told[key] - value) < 0.006
    assert near or told[key] == value, (key, told[key], value)
listed = subprocess.run(["exiv2", "-PEXkt", late["path"]], capture_output=True, text=True)
assert "Xmp.GPano.PoseRollDegrees" in listed.stdout and not listed.stderr, listed

# Without a word: a thumbnail; without the panorama: the pictures of both lenses.
(small,) = frame("camera.mp4", "--thumbnail")
assert (small["width"], small["height"]) == (320, 160)
assert b"Exif" not in read(small["path"])[:100]
shutil.copy("camera.mp4", "lenses.mp4")
run("set", "--projection", "2", "lenses.mp4")
(lenses,) = frame("lenses.mp4")
jpeg = read(lenses["path"])
assert b"KESTO" in jpeg and b"GPano" not in jpeg

# A JPEG shows what the PNG does, and loses as much as is asked for.
for movie, height in (("h264.mp4", 161), ("turned.mov", 636)):
    frame(movie, "--width", "320", "--output", "same.png", "--force")
    losses = []
    for quality in ("95", "20"):
        (same,) = frame(movie, "--width", "320", "--quality", quality, "--output", "same.jpg", "--force")
        assert same["height"] == height, same
        told = ffmpeg("-v", "info", "-i", "same.jpg", "-i", "same.png", "-lavfi", "psnr", "-f", "null", "-")
        losses.append(float(told.split("average:")[1].split()[0]))
    assert losses[0] > 30 and losses[0] > losses[1] + 3, (movie, losses)

shutil.copy("camera.mp4", "plain")
assert frame("absent.mp4", "./plain", status=1)[0]["path"] == "./plain-00000.jpg"
frame("camera.mp4", "--output", "SHOT.PNG")

# What is there is kept; failures are told in a line and leave nothing behind.
before = sorted(os.listdir())
write(first["path"], b"kept")
assert "there already" in run("frame", "camera.mp4", status=3) and read(first["path"]) == b"kept"
frame("camera.mp4", "--force")
assert read(first["path"])[:2] == b"\xff\xd8"
write("broken.mp4", read("clip.mp4")[:5000])
for words, status in (
        (["camera.mp4", "--at", "2.002"], 1), (["camera.mp4", "--frame", "60"], 1),
        (["cut.mp4", "--frame", str(2**64 - 1)], 1),
        (["broken.mp4"], 1), (["absent.mp4"], 1), (["camera.mp4", "--output", "no/shot.jpg"], 1),
        (["camera.mp4", "--at", "1", "--frame", "2"], 2),
        *((["camera.mp4", "--every", "1", "--output", name], 2)
          for name in ("%5d.jpg", "%s.jpg", "%05d%05d.jpg", "%%.jpg", "%00d.jpg", "one.jpg", "%05d.gif"))):
    assert frame(*words, status=status) == [], words
run("frame", "clip.mp4", status=1, preexec_fn=shortFiles)
os.remove("broken.mp4")
assert sorted(os.listdir()) == before
