#!/usr/bin/env python3
"""Holds the program to its limits: makes hostile files, runs the program on each, as an argument
and as a job line, and reads peak resident memory and processor time from the system's accounting of
the finished child.

usage: limitsTest.py PROGRAM [NAME...]

For a file of n bytes resident memory may grow to 64 MiB + 8 n above what a small good movie takes
(the video library is in that), and processor time to 1 s + 0.5 s a MB.
"""

import os
import pathlib
import resource
import shutil
import struct
import subprocess
import sys
import tempfile

from samples import box, ffmpeg, full, ifd, jpeg, tiff

MIB = 1 << 20
RECORDS = {"KDTB": 24, "KDTC": 24, "KDTD": 16, "KDTG": 8}
# So many records take a multiple of 2^32 bytes, whatever their unit.
WRAPS = 1 << 29
SPATIAL = bytes.fromhex("28f311e2b7914f6f94e24f5deacb3c01")
SPHERICAL = bytes.fromhex("ffcc8263f8554a938814587a02521fdd")
XMP = bytes.fromhex("be7acfcb97a942e89c71999491e3afac")


def chain(length, step):
    """Boxes in boxes that each claim the rest of the file. With a `step` of 32 the box around each
    ends behind its header, so that what follows belongs to two parents, at each level again."""
    data = box("moov", claims=length) + box("trak", claims=length - 8)
    while len(data) + 32 <= length:
        left = length - len(data)
        data += box("uuid", SPATIAL, claims=step or left) + box("KATR", claims=left - 24)
    return data.ljust(length, b"\0")


def tracks(count):
    """Each is as long as all that follow."""
    return box("moov", *(box("trak", claims=8 * (count - i)) for i in range(count)))


def table(code, rows):
    """A hundred sample tables of one kind that announce so many rows."""
    size = b"\0" * 4 if code == "stsz" else b""
    one = box(code, b"\0" * 4, size, struct.pack(">I", rows))
    return box("moov", box("trak", box("mdia", box("minf", box("stbl", one * 100)))))


def stream(code, count, records=b"", claims=None):
    header = struct.pack("<IHHH6x", count, 100, RECORDS[code], 0x0123)
    return box(code, header, records, claims=claims)


def udta(*boxes):
    return box("moov", box("udta", *boxes))


def uuid(kind, text):
    return box("uuid", kind, text)


def longTexts(length):
    """A DNG in which all four texts of the record are nearly the whole file."""
    text = lambda tag: (tag, 2, length - 400, 300)
    first = ifd(text(0x0110), text(0x0131), (0x014A, 4, 2, 280), (0x8769, 4, 1, 64))
    exif = ifd((0x927C, 7, 100, 82))
    maker = b"Kesto\0\0\0" + ifd(text(2), text(5), (0x4001, 4, 1, 140))
    camera = ifd((0x0201, 7, 8, 300), (0x0202, 7, 8, 300))
    strip = ifd((0x0111, 4, 1, 300), (0x0117, 4, 1, 8))
    data = b"MM\0*\0\0\0\x08" + first
    for place, part in ((64, exif), (82, maker), (140, camera), (200, strip)):
        data = data.ljust(place, b"\0") + part
    return data.ljust(280, b"\0") + struct.pack(">II", 200, 200).ljust(20, b"\0") + b"x" * length


def pictures(count):
    """A movie of the largest pictures of H.264, ten bytes each, none of which is a start. They refer
    to pictures that are missing, for which the decoder puts others of the same size."""
    record = bytes.fromhex("0142c03effe1001a6742c03eda00100001006c0440000003004000000f23c2010a8001000468ce0fc8")
    samples = b"".join(bytes.fromhex("0000000a419a") + bytes([0x40 + 0x20 * (i % 5)])
                       + bytes.fromhex("268000040000c0") for i in range(count))
    entry = box("avc1", struct.pack(">6xH16xHH50x", 1, 16384, 8192), box("avcC", record))
    movie = lambda at: box("moov", box("trak", box("mdia",
        full("mdhd", 0, 0, 25, count, 0), box("hdlr", b"\0" * 8 + b"vide" + b"\0" * 13),
        box("minf", box("stbl", box("stsd", struct.pack(">II", 0, 1), entry), full("stts", 1, count, 1),
                        full("stsc", 1, 1, count, 1), full("stsz", 14, count), full("stco", 1, at))))))
    return movie(len(movie(0)) + 8) + box("mdat", samples)


def hostileFiles(clip):
    """Names and contents; `clip` is a small movie that decodes."""
    big = 16 * MIB
    yield "chain1280.mp4", chain(1280, 32)
    yield "chain64k.mp4", chain(65536, 32)
    yield "nested.mp4", chain(2 * MIB, None)
    yield "tracks.mp4", tracks(20000)
    yield "tracksOfClip.mp4", clip + tracks(20000)
    yield "boxes.mp4", box("free") * 131072
    yield "boxesInside.mp4", clip + box("moov", box("uuid") * 131072)
    yield "smallBoxes.mp4", clip + box("uuid") * (2 * big // 8)
    for code in ("stsz", "stts", "stsc", "stco", "co64"):
        yield code + ".mp4", clip + table(code, 0xFFFFFFFF)
    for code in RECORDS:
        yield code + "few.mp4", clip + udta(stream(code, 178956971, b"\0" * 8))
        yield code + "many.mp4", clip + udta(*[stream(code, WRAPS)] * 20000)
    yield "allStreams.mp4", clip + udta(*[stream(code, WRAPS) for code in RECORDS], b"\1" * big)
    yield "frames.mp4", clip + udta(
        stream("KDTB", 1, b"\1" * 24), stream("KDTD", 1, b"\1" * 16),
        stream("KDTC", big // 32, b"\1" * (big * 3 // 4)), stream("KDTG", big // 32, b"\1" * (big // 4)))
    for name, payload in (("tags", b"<x:CreatorTool>"), ("openings", b"<GSpherical:StitchingSoftware>"),
                          ("blanks", b" "), ("closings", b"</x:CreatorTool>")):
        text = payload * (4 * MIB // len(payload))
        yield name + ".mp4", clip + uuid(XMP, text) + box("moov", box("trak", uuid(SPHERICAL, text)))
    text = b"<GSpherical:StitchingSoftware>" + b"x" * big + b"</GSpherical:StitchingSoftware>"
    yield "longSoftware.mp4", box("moov", box("trak", uuid(SPHERICAL, text))) + clip
    yield "longPosition.mp4", clip + udta(box("@xyz", b"x" * big), box("@mod", b"x" * big))
    yield "note.mp4", clip + udta(box("KMKN", tiff(65535)))
    yield "pictures.mp4", pictures(600)
    yield "fill.jpg", jpeg(tiff(4), 2 * 31)
    yield "tooManyFills.jpg", jpeg(tiff(4), 2 * 32)
    yield "fillBytes.jpg", jpeg(tiff(4), 70000)
    yield "entries.jpg", jpeg(tiff(1300))
    yield "entries.dng", tiff(65535)
    yield "texts.dng", longTexts(big)
    yield "tail.dng", tiff(4, b"\0" * (2 * big))


def bound():
    """A limit that is gone must not take the machine with it."""
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_CPU, (60, 60))


def spend(words, job=None):
    """Peak resident bytes and processor seconds of one run, and its standard output."""
    with tempfile.TemporaryFile() as out:
        with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=out, stderr=subprocess.DEVNULL,
                              preexec_fn=bound) as child:
            child.stdin.write(job or b"")
            child.stdin.close()
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
        size = out.tell()
        out.seek(max(0, size - 100000))
        return usage.ru_maxrss * 1024, usage.ru_utime + usage.ru_stime, child.returncode, out.read()


def makeAll(folder, clip, chosen):
    """Writes the files, in a process of its own: a child's peak counts what its parent holds when
    it starts."""
    pid = os.fork()
    if pid != 0:
        return os.waitpid(pid, 0)[1] == 0
    for name, data in hostileFiles(clip):
        if not chosen or name in chosen:
            (folder / name).write_bytes(data)
    os._exit(0)


def main():
    program, chosen = sys.argv[1], sys.argv[2:]
    bad = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        clip, base = b"", 0
        if shutil.which("ffmpeg"):
            ffmpeg("-f", "lavfi", "-i", "color=size=32x16:duration=0.1", "-pix_fmt", "yuv420p", folder / "clip.mp4")
            clip, base = (folder / "clip.mp4").read_bytes(), spend([program, folder / "clip.mp4"])[0]
        print(f"a good movie takes {base / MIB:.1f} MiB" if clip else "no ffmpeg: bad movies only")
        if not makeAll(folder, clip, chosen):
            sys.exit("the files could not be made")
        for path in sorted(folder.iterdir()):
            name, n = path.name, path.stat().st_size
            memory, seconds = 64 * MIB + 8 * n + base, 1 + 0.5 * n / MIB
            if name == "pictures.mp4":
                # The decoder's own bounds.
                memory, seconds = memory + 1100 * MIB, 2
            for words, job in (([program, "-dump", path], None), ([program], bytes(path) + b"\n")):
                peak, spent, status, out = spend(words, job)
                good = peak <= memory and spent <= seconds and status in ((0,) if job else (0, 1))
                if job:
                    good = good and out.count(b"\nresult: ") + out.startswith(b"result: ") == 1
                bad += not good
                print(f"{'ok ' if good else 'BAD'} {name:20} {n / MIB:7.2f} MiB "
                      f"{(peak - base) / MIB:7.1f} MiB more, {spent:5.2f} s, "
                      f"{'line' if job else 'argument'} mode, status {status}")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
