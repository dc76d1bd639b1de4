#!/usr/bin/env python3
"""Prints the table of docs/carry.md: what of the camera's metadata survives a cut, a re-encoding and
a join, by ffmpeg alone, by exiftool's tag copy and by sondexkit carry.
usage: compareCarry.py [BUILD-FOLDER]"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release").resolve()
FACTS = {
    "camera model": "model",
    "serial number": "cameraSerial",
    "position": "gps",
    "initial view": "GSpherical:InitialViewHeadingDegrees",
    "XMP": "creatorTool",
    "zenith correction": "topBottomCorrection",
    "stabilisation setting": "videoStabilization",
}


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, stdin=subprocess.DEVNULL).stdout


def facts(movie):
    out = run(build / "Sondex", movie).decode()
    return json.loads(next(line for line in out.splitlines() if line.startswith("result: "))[8:])


def motionRows(movie):
    subprocess.run([build / "Sondex", "-kdtd:rows.json", movie], capture_output=True)
    text = pathlib.Path("rows.json").read_text()
    # Of a movie without sensors the file holds an opening bracket.
    values = json.loads(text) if "]" in text else []
    return [[row[key] for key in ("x", "y", "z", "timestamp")] for row in values]


def survives(movie, source, sourceRows):
    """What of each kind is as it was in the source."""
    found = facts(movie)
    kept = {name: key in source and found.get(key) == source[key] for name, key in FACTS.items()}
    tagged = subprocess.run([build / "sondexkit", "tag", "--check", movie], capture_output=True)
    kept["360-degree projection"] = tagged.returncode == 0
    rows = motionRows(movie)
    allowed = {tuple(row[:3]) for row in sourceRows}
    kept["motion of every frame"] = bool(rows) and all(tuple(row[:3]) in allowed for row in rows)
    return kept


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for name, picture in (("A.mp4", "testsrc2"), ("B.mp4", "testsrc")):
            run("ffmpeg", "-f", "lavfi", "-i", f"{picture}=size=320x160:rate=30:duration=4", "-f",
                "lavfi", "-i", "sine=duration=4", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-g",
                "30", "-y", "clip.mp4")
            run(build / "sondex-sample", "movie", "clip.mp4", name)
        pathlib.Path("list").write_text("file A.mp4\nfile B.mp4\n")
        makes = {
            "cut": ["-ss", "1", "-i", "A.mp4", "-t", "2", "-c", "copy"],
            "re-encoding": ["-i", "A.mp4", "-vf", "scale=160:80"],
            "join": ["-f", "concat", "-i", "list", "-map", "0:v", "-c", "copy"],
        }
        source, sourceRows = facts("A.mp4"), motionRows("A.mp4") + motionRows("B.mp4")
        columns = {}
        for name, words in makes.items():
            plain = f"{name}.mp4"
            run("ffmpeg", *words, "-map_metadata", "0", "-strict", "unofficial", plain)
            columns[name, "ffmpeg"] = survives(plain, source, sourceRows)
            shutil.copy(plain, "tags.mp4")
            run("exiftool", "-overwrite_original", "-tagsFromFile", "A.mp4", "-all:all", "-unsafe",
                "tags.mp4")
            columns[name, "exiftool"] = survives("tags.mp4", source, sourceRows)
            sources = ["--join", "A.mp4", "B.mp4", "--"] if name == "join" else ["A.mp4"]
            run(build / "sondexkit", "carry", *sources, plain)
            columns[name, "carry"] = survives(plain, source, sourceRows)
    print("| | " + " | ".join(f"{name}: {tool}" for name, tool in columns) + " |")
    print("|---" * (len(columns) + 1) + "|")
    for row in next(iter(columns.values())):
        marks = ["yes" if column[row] else "–" for column in columns.values()]
        print(f"| {row} | " + " | ".join(marks) + " |")


main()
