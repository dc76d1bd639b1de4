#!/usr/bin/env python3
"""Holds every include line of the tree against the table of who may include whom."""

import pathlib
import re
import sys

ALLOWED = {
    "support": set(),
    "h264": {"support"},
    "exif": {"support"},
    "mp4": {"support", "h264"},
    "sensor": {"support", "mp4", "exif"},
    "probe": {"support", "mp4", "exif", "sensor"},
    "builder": {"support", "mp4", "exif", "sensor"},
    "sondex": {"support", "exif", "mp4", "sensor", "probe", "builder"},
    "kit": {"sondex"},
    "web": {"support", "app", "sondex"},
    "app": {"support", "mp4", "sensor", "probe"},
}
# The headers of the front door stand on the standard library alone.
DOOR = "sondex"
ANY = {"tests", "bench", "fuzz", "tools", "examples"}


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    folders = set(ALLOWED) | ANY
    faults = []
    for folder in sorted(folders):
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            for number, line in enumerate(path.read_text().splitlines(), 1):
                found = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
                if not found:
                    continue
                where = f"{path.relative_to(root)}:{number}"
                target = found.group(1).split("/")[0]
                if not (root / found.group(1)).is_file():
                    faults.append(f"{where}: {found.group(1)} is not named from the root")
                elif path.parent == root / DOOR and path.suffix == ".h" and target != DOOR:
                    faults.append(f"{where}: a header of the front door includes {target}")
                elif folder in ALLOWED and target != folder and target not in ALLOWED[folder]:
                    faults.append(f"{where}: {folder} may not include {target}")
    print("\n".join(faults) if faults else "include directions hold")
    return 1 if faults else 0


sys.exit(main())
