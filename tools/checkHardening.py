#!/usr/bin/env python3
"""Checks with readelf that programs and modules bear the hardening that cmake/Flags.cmake asks for.

usage: checkHardening.py FILE...
"""

import re
import subprocess
import sys


def readelf(*words):
    return subprocess.run(["readelf", "-W", *words], capture_output=True, text=True,
                          check=True).stdout


def faults(path):
    header = readelf("-h", path)
    segments = readelf("-l", path)
    dynamic = readelf("-d", path)
    symbols = readelf("-s", path)
    isProgram = "INTERP" in segments
    if not re.search(r"Type:\s+DYN", header) or (isProgram and "PIE" not in dynamic):
        yield "not position-independent"
    if "GNU_RELRO" not in segments or not re.search(r"BIND_NOW|\bNOW\b", dynamic):
        yield "relocations stay writable"
    if re.search(r"GNU_STACK\s.*RWE", segments):
        yield "the stack is executable"
    if "__stack_chk_fail" not in symbols:
        yield "no stack protector"
    if isProgram and not re.search(r"__\w+_chk@", symbols):
        yield "no checked library calls"


def main():
    bad = 0
    for path in sys.argv[1:]:
        for fault in faults(path):
            print(f"{path}: {fault}")
            bad += 1
    sys.exit(1 if bad or len(sys.argv) < 2 else 0)


main()
