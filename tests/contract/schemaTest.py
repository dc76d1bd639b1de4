#!/usr/bin/env python3
"""Holds real results and dumps against the schemas: whatever the camera's texts hold, numbers are
numbers and texts are texts.  usage: schemaTest.py PROGRAM SAMPLE-MAKER SOURCE"""

import math
import pathlib
import sys
import tempfile

import samples
from driver import Sondex

program, sampleMaker, _ = sys.argv[1:]
result, dump = map(samples.validator, ("result.schema.json", "dump.schema.json"))
with tempfile.TemporaryDirectory() as name, Sondex(program) as probe:
    folder = pathlib.Path(name)
    files = samples.make(folder, sampleMaker)
    answers = {f: probe.ask(str(folder / f)) for kind in files.values() for f in kind}
    for file, answer in answers.items():
        result.validate(answer)
        assert (answer["status"] == "failed") == (file in files["unreadable"]), file

    # What is read is what the camera wrote, less what cannot be in a text.
    models = [answers[f].get("model") for f in files["models"]]
    assert models == ["12345678901234", "true,  x :1.5", "\\ \\u0041\\n\\\\ \\", "     567890123", "",
                      "inf, nan: -inf", "  null", "{}[],:\x7f'&<>;#`"], models
    # Dumps: all three streams, a stream with numbers that are not finite, and no samples.
    streams = probe.samplesOf(folder / "camera.MP4", folder)
    for stream in streams:
        dump.validate(stream)
    assert [set(s[0]) - {"x", "y", "z", "timestamp"} for s in streams] == [{"yaw"}, set(), set()]
    assert math.isnan(probe.samplesOf(folder / "nan.mp4", folder)[1][0]["x"])
    assert probe.samplesOf(folder / "clip.mp4", folder) == [[], [], []]
