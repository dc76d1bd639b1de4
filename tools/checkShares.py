#!/usr/bin/env python3
"""Holds the tests and the fuzz targets to their share of the product, counted in lines that are
neither blank nor comments; prints both."""

import pathlib
import subprocess
import sys

PRODUCT = ("app", "support", "h264", "exif", "mp4", "sensor", "probe", "builder", "sondex", "kit",
           "web", "python")
MOST = {"tests": 33, "fuzz": 10}
HASHED = {".py", ".sh", ".toml", ".txt", ".cmake"}
SLASHED = {".h", ".cpp", ".mjs", ".js", ".ts", ".css"}
PLAIN = {".html"}


def count(path):
    """The lines of a text file that say something to a machine."""
    lines, inside, end = 0, False, "*/"
    marks = ("#",) if path.suffix in HASHED else ("//",) if path.suffix in SLASHED else ()
    opening = {".py": '"""', ".html": "<!--"}.get(path.suffix, "/*")
    end = {".py": '"""', ".html": "-->"}.get(path.suffix, "*/")
    for line in map(str.strip, path.read_text().splitlines()):
        if inside:
            inside = end not in line
        elif line.startswith(opening):
            inside = end not in line[len(opening):]
        elif line and not line.startswith(marks):
            lines += 1
    return lines


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    names = subprocess.run(["git", "ls-files"], cwd=root, text=True, stdout=subprocess.PIPE,
                           check=True).stdout.splitlines()
    lines = {}
    for name in names:
        path, folder = root / name, name.split("/")[0]
        if name.startswith("web/test/"):
            folder = "tests"
        if path.suffix in HASHED | SLASHED | PLAIN and path.is_file():
            lines[folder] = lines.get(folder, 0) + count(path)
    product = sum(lines.get(folder, 0) for folder in PRODUCT)
    good = True
    for folder, most in MOST.items():
        share = 100 * lines[folder] / product
        good = good and share <= most
        print(f"{folder}: {lines[folder]} lines to the product's {product}, {share:.1f} % "
              f"of at most {most} %")
    return 0 if good else 1


sys.exit(main())
