#!/usr/bin/env python3
"""Holds sondexkit to what it promises: one strict record a name whatever the files, the workers or
the whole run suffer.  usage: scanTest.py KIT PROGRAM SAMPLE-MAKER SOURCE [FACTOR [FOLDER]]

FACTOR multiplies the number of files and of kills, which the suite leaves at 1; the files below
FOLDER, a whole path, are read besides those that are made."""

import base64
import collections
import contextlib
import fcntl
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import time

from common import kit, read, run, sampleMaker, source, write
import samples

factor = int(sys.argv[5]) if len(sys.argv) > 5 else 1
schema = samples.validator("record.schema.json")
chance = random.Random(16)
sanitized = b"__asan_init" in pathlib.Path(kit).read_bytes()


def nameOf(record):
    return base64.b64decode(record["pathBytes"]) if "pathBytes" in record else record["path"].encode()


def recordsOf(output):
    """Every line as a record, by strict rules."""
    assert output.endswith(b"\n") or not output
    return [json.loads(line, parse_constant=lambda word: 1 / 0) for line in output.splitlines()]


def scan(*words, names=None, status=(0, 1), stdout=subprocess.PIPE, **more):
    text = None if names is None else b"".join(name + b"\0" for name in names)
    words = [kit, "scan", *words] + (["--files-from", "-", "-0"] if names is not None else [])
    outcome = subprocess.run(words, input=text, stdout=stdout, stderr=subprocess.PIPE, **more)
    assert outcome.returncode in status, (outcome.returncode, outcome.stderr)
    return outcome


def codes(records):
    return collections.Counter(r["error"]["code"] for r in records if "error" in r)


def children(process):
    """The workers of a running scan."""
    try:
        listed = pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()
    except OSError:
        return []
    return [int(child) for child in listed]


def strange():
    """Names and kinds of files that scripts stumble over."""
    odd = [b"tab\there.jpg", b"line\nfeed.jpg", b"\xff\xfe.jpg", b'quo"te\\.jpg', b" .jpg", "ü€.jpg".encode(),
           b"-r", b"\x1b[31m.jpg"]
    os.mkfifo("fifo.mp4")
    os.mkdir("inner.mp4")
    for name in (*odd, "inner.mp4/deep.JPG"):
        shutil.copy("s.jpg", name)
    for name in ("unnamed", "clip.MOV"):
        shutil.copy("camera.MP4", name)
    for name in ("loop", "loop.mp4"):
        os.symlink(folder, name)
    shutil.copy("s.DNG", "hog.dng")
    os.truncate("hog.dng", 3 << 30)  # a still that is read whole
    return odd + [b"fifo.mp4", b"inner.mp4", b"/dev/null", b"/dev/zero", b"missing\n.jpg", b"x" * 5000]


def testAllKinds():
    real = [os.fsencode(p) for p in pathlib.Path(sys.argv[6]).rglob("*") if p.is_file()] if sys.argv[6:] else []
    asked = [n if n.startswith(b"/") else os.fsencode(folder) + b"/" + n for n in names] + real
    chosen = asked + [chance.choice(asked) for _ in range(500 * factor)]
    chosen = [n for i, n in enumerate(chosen) if i < len(asked) or not n.endswith(b"hog.dng")]
    records = recordsOf(scan("--timeout", "60", "--memory", "256", names=chosen).stdout)
    assert collections.Counter(map(nameOf, records)) == collections.Counter(chosen)
    for record in records:
        schema.validate(record)
    by_name = {nameOf(r): r for r in records}
    hog = by_name[os.fsencode(folder) + b"/hog.dng"]
    if not sanitized:  # whose own memory a limit would count
        assert hog["error"]["code"] == "memory", hog
    found = codes(records)
    assert {"notFound", "notRegularFile", "noCameraRecord", "damaged"} <= set(found), found
    assert not {"crashed", "timeout"} & set(found), found

    # In the order of the names, and the same ones.
    few = chosen[: len(asked) + 100]
    ordered = recordsOf(scan("--ordered", "--memory", "256", names=few).stdout)
    assert [nameOf(r) for r in ordered] == few
    assert all(by_name[nameOf(r)] == r for r in ordered)

    # Every option that does not change the answers, and the same answers outside the sandbox.
    plain = recordsOf(scan("--no-sandbox", "-j", "1", "--timeout", "0", "--memory", "256", names=few).stdout)
    assert {nameOf(r): r for r in plain} == {nameOf(r): r for r in ordered}


def testFolders():
    def found(*words):
        output = scan("-r", "--memory", "64", *words, "./").stdout
        return {nameOf(r).decode(errors="replace").removeprefix("./") for r in recordsOf(output)}
    by_name, by_content = found("--no-decode"), found("--no-decode", "--all")
    assert {"inner.mp4/deep.JPG", "fifo.mp4", "clip.MOV"} < by_name and "s.DNG" in by_content
    assert not any("loop" in n for n in by_name | by_content)
    assert "unnamed" in by_content - by_name and "text.mp4" in by_name - by_content
    table = scan("--csv", "--fields", "pathBytes,model,error.code", "s.jpg", names=[b"gone,\".jpg", b"\xff\xfe.jpg"],
                 status=[1]).stdout.decode().splitlines()
    assert table[0] == "path,pathBytes,model,error.code"
    assert "s.jpg,,KESTO ZELVA Q7," in table and '"gone,"".jpg",,,notFound' in table
    write("lines", b" .jpg\n\ns.jpg")
    listed = recordsOf(scan("--files-from", "lines", "--ordered", status=[0]).stdout)
    assert [nameOf(r) for r in listed] == [b" .jpg", b"s.jpg"]


def testSandboxes():
    """By its first word whoever reads a file can do no more, and the crash of one does not pass for an end."""
    movie = str(folder) + "/." * 200 + "/camera.MP4"  # of which the pipe holds few
    for words in (["facts"], ["boxes"], ["motion"], ["frame", "--force", "--every", "0.03"], ["scan", "-j", "1"]):
        process = subprocess.Popen([kit, *words, *[movie] * 60], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, pipesize=4096)
        assert process.stdout.readline(), words
        reader = (children(process.pid) or [process.pid])[0]
        status = pathlib.Path(f"/proc/{reader}/status").read_text()
        assert "NoNewPrivs:\t1" in status, words
        ignored = int(re.search(r"SigIgn:\t(\w+)", status)[1], 16)
        assert words[0] != "scan" or all(ignored >> number - 1 & 1 for number in (signal.SIGINT, signal.SIGTERM))
        os.kill(reader, signal.SIGKILL)
        assert words != ["motion"] or process.wait() == 4
        process.kill(), process.communicate()


def testKilledWorkers():
    """Whoever kills or stops workers costs nothing but time; every name has its record."""
    words = [kit, "scan", "--files-from", "-", "-0", "--timeout", "1", "-j", "2", "--no-decode", "-o", "killed"]
    process = subprocess.Popen(words, stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
    names, wanted, killed, given = plain * (1000 * factor), 20 * factor, 0, 0
    while killed < wanted or given < len(names):
        # Names are fed as kills happen, so that there is work left for every kill.
        upto = len(names) if killed == wanted else (killed + 1) * len(names) // (wanted + 1)
        process.stdin.write(b"".join(n + b"\0" for n in names[given:upto]))
        process.stdin.flush()
        given = upto
        time.sleep(chance.uniform(0, 0.02))
        workers = children(process.pid)
        if workers and killed < wanted:
            with contextlib.suppress(ProcessLookupError):
                os.kill(chance.choice(workers), signal.SIGSTOP if killed == wanted - 1 else signal.SIGKILL)
                killed += 1
    process.communicate()
    records = recordsOf(read("killed"))
    assert process.returncode in (0, 1), process
    assert collections.Counter(map(nameOf, records)) == collections.Counter(names)
    # A file may be unlucky three times, hardly many of them.
    assert sum(codes(records)[c] for c in ("crashed", "timeout")) <= 2 + wanted // 20, codes(records)


def testKilledRuns():
    """The whole run is killed again and again, and gone on with."""
    output, unique = folder / "resumed", [b"link%d.jpg" % i for i in range(2000 * factor)]
    for i, link in enumerate(unique):
        os.symlink(plain[i % len(plain)], link)
    write("list", b"".join(n + b"\0" for n in unique))
    words = ["--files-from", "list", "-0", "-o", "resumed", "--resume"]
    for _ in range(20):
        before = output.stat().st_size if output.exists() else 0
        process = subprocess.Popen([kit, "scan", *words], stderr=subprocess.DEVNULL)
        while process.poll() is None and not (output.exists() and output.stat().st_size > before):
            pass
        time.sleep(chance.uniform(0, 0.005))
        process.kill()
        process.wait()
        if output.read_bytes()[-1:] == b"\n":
            with open(output, "ab") as torn:  # as a machine leaves it that loses its power
                torn.write(chance.choice([b"", b'{"path":"' + unique[0][:20], b"\0" * 9, b"{"]))
    scan(*words)
    done = read("resumed")
    assert collections.Counter(map(nameOf, recordsOf(done))) == collections.Counter(unique)
    scan("-o", "resumed", "--resume", names=unique[:10])
    assert read("resumed") == done, "what is done was done again"

    # What is not ours is left alone.
    scan("-o", "resumed", names=unique[:1], status=[3])
    for content in (b"my diary\n", b"my diary", b'{"path":"a","status":"succeed"}\nnotes\n'):
        write("other", content)
        scan("-o", "other", "--resume", names=unique[:1], status=[3])
        assert read("other") == content
    scan("-o", "/dev/null", "--resume", names=unique[:1], status=[3])
    with open("list") as held:
        fcntl.flock(held, fcntl.LOCK_EX)
        assert b"another scan" in scan("-o", "list", "--resume", names=unique[:1], status=[3]).stderr
    for count in (1, 2):
        scan("-o", "few", "--resume", names=unique[:count], timeout=60)
        assert len(recordsOf(read("few"))) == count


def testOutputs():
    """A full disk and a closed pipe end the run with words and a status."""
    reading, closed = os.pipe()
    os.close(reading)
    full = os.open("/dev/full", os.O_WRONLY)
    for output, reason in ((full, b"No space left"), (closed, b"closed by its reader")):
        assert reason in scan(names=plain, status=[4], stdout=output).stderr
        os.close(output)
    # A worker takes a descriptor, of which there may be more than a program has at first.
    scan("-j", "40", names=plain * 10, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (16, 256)))
    for words in (["scan"], ["scan", "--bad"], [], ["scan", "--resume", "x"], ["facts"]):
        run(*words, status=2)


def testClosedStreams():
    """What is said goes nowhere, and never into a file that got the number of a closed stream."""
    for _ in range(2):  # the second is refused, with words
        subprocess.run(["sh", "-c", 'exec "$0" scan -o "$1" "$2" 0<&- 1>&- 2>&-', kit, "closed", "s.jpg"])
        assert len(recordsOf(read("closed"))) == 1


def testPeople():
    table = run("facts", "camera.MP4", "missing.dng", "s.DNG", status=1)
    assert "missing.dng" in table and "  camera             KESTO ZELVA Q7\n" in table and "DNG still\n" in table, table
    south = bytearray(read("camera.MP4").replace(b"+35.6895+139.6917+40.0", b"-35.6895-139.6917-40.0"))
    struct.pack_into(">I", south, south.index(b"mvhd") + 20, 3_725_500)
    write("south.mp4", south)
    rate = json.loads(run("facts", "--json", "south.mp4"))["videoBitRate"] / 1e6
    rows = {re.sub("  +", ": ", row.strip()) for row in run("facts", "south.mp4", "s.DNG").splitlines()}
    expected = {"position: 35.68950 S, 139.69170 W, -40.0 m", "duration: 3725.50 s (1:02:05)", "accelerometer: 30 samples/s",
                "gyro: 200 samples/s", "compass: 100 samples/s", "stabilisation: setting 4, direction free", "quality: fine",
                "pitch: 10.5 degrees", "roll: -2.5 degrees", "view heading: 90 degrees", f"video bit rate: {rate:.2f} Mbit/s"}
    assert expected <= rows, expected - rows
    shown = run("boxes", "south.mp4")
    assert re.search(r"\n +\d+ +\d+      tkhd  version=0 .*width=320", shown) and "'http://ns.google.com/v\"...\n" in shown
    assert recordsOf(run("facts", "--json", "camera.MP4").encode()) == recordsOf(scan("camera.MP4").stdout)
    boxes = json.loads(run("boxes", "--json", "camera.MP4"))["boxes"]
    end = 0
    for box in boxes:
        assert box["offset"] == end
        end += box["size"]
    assert end == os.stat("camera.MP4").st_size
    moov = next(b for b in boxes if b["type"] == "moov")
    assert any(b["type"] == "mvhd" and "timescale" in str(b).lower() for b in moov["boxes"]), moov
    run("boxes", "s.jpg", status=1)
    # Every option is in the manual and known to zsh; bash asks the program.
    words = {w for line in run("scan", "--help").splitlines()
             for w in line.split()[:1] if w.startswith("-") for w in w.split(",")}
    for page in ("docs/sondexkit.1.scd", "completions/_sondexkit"):
        written = pathlib.Path(source, page).read_text()
        assert all(w in written for w in words), (page, [w for w in words if w not in written])


def testPython():
    import wheel_of_sondex
    wheel = wheel_of_sondex.build_wheel(folder)
    assert wheel == f"sondex-{run('--version').split()[1]}-py3-none-any.whl"
    sys.path.insert(0, str(folder / wheel))
    import sondex
    assert wheel in sondex.__file__
    movie = sondex.facts(folder / "camera.MP4", program=kit)
    assert isinstance(movie, sondex.Movie) and movie.model == "KESTO ZELVA Q7"
    assert (movie.accelerometer_rate, movie.gyro_rate, movie.compass_rate) == (30, 200, 100)
    assert (movie.view_heading, movie.view_pitch, movie.field_of_view) == (90, 0, 75)

    def raised(kind, ask):
        try:
            ask()
        except kind as failure:
            return failure
    error = raised(sondex.Error, lambda: sondex.facts(os.fsencode(folder) + b"/none\xff.mp4", program=kit))
    assert error.code == "notFound" and error.path.endswith("none\udcff.mp4")
    names = [str(folder / n) for n in ("s.DNG", "missing.dng", "s.jpg")]
    records = list(sondex.scan(iter(names), program=kit, ordered=True, decode=False))
    assert [r.path for r in records] == names and records[0].get().jpeg.bytes > 0 and records[1].error
    assert all(raised(ValueError, lambda: list(sondex.scan([wrong], program=kit))) for wrong in ("", "a\0b"))
    (folder / "failing").write_text('#!/bin/sh\necho "$@" >&2\nexit 4\n')
    (folder / "failing").chmod(0o755)
    options = {"program": str(folder / "failing"), "jobs": 2, "timeout": 3, "memory": 64, "decode": False}
    failure = raised(sondex.ScanFailed, lambda: list(sondex.scan([], **options)))
    assert str(failure) == "scan --files-from - -0 --quiet --jobs 2 --timeout 3 --memory 64 --no-decode"


folder = pathlib.Path.cwd()
kinds = samples.make(folder, sampleMaker)
plain = [os.fsencode(folder / f) for kind in ("movies", "models", "stills") for f in kinds[kind]]
names = [os.fsencode(f) for kind in kinds.values() for f in kind] + strange() + [b"hog.dng"]
for test in (testAllKinds, testFolders, testSandboxes, testKilledWorkers, testKilledRuns, testOutputs,
             testClosedStreams, testPeople, testPython):
    started = time.monotonic()
    test()
    print(f"{test.__name__}: {time.monotonic() - started:.1f} s", flush=True)
