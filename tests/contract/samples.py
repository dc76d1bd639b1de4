"""The files that the contract's tests ask about: samples of every kind, odd and damaged ones."""

import json
import pathlib
import struct
import subprocess
import sys


def validator(name):
    """Of the schema; a test that needs it is skipped on a machine without the means."""
    try:
        import jsonschema
    except ImportError:
        print("python3-jsonschema is missing")
        sys.exit(77)
    schema = json.loads((pathlib.Path(__file__).parents[2] / "docs/schema" / name).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


def ffmpeg(*words):
    """What it prints and complains of."""
    words = ["ffmpeg", "-nostdin", "-v", "error", "-y", *words]
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True).stdout


def box(code, *payload, claims=None):
    body = b"".join(payload)
    return struct.pack(">I4s", claims or len(body) + 8, code.encode("latin-1")) + body


def full(code, *numbers):
    """A box that begins with a version and flags."""
    return box(code, struct.pack(f">{len(numbers) + 1}I", 0, *numbers))


def ifd(*entries):
    """An IFD of entries (tag, type, count, value)."""
    return struct.pack(">H", len(entries)) + b"".join(struct.pack(">HHII", *e) for e in entries)


def tiff(count, tail=b"", first=None):
    """The camera's four IFDs, of that many entries each; the last one leads to the next IFD. `first`: what
    the first one begins with."""
    others = [(0x0001, 3, 1, 0)] * (count - 1)
    size = 2 + 12 * count
    return (b"MM\0*\0\0\0\x08" + ifd(*(first or others), (0x8769, 4, 1, 8 + size))
            + ifd(*others, (0x927C, 7, 8, 8 + 2 * size)) + b"Kesto\0\0\0"
            + ifd(*others, (0x4001, 4, 1, 16 + 3 * size)) + ifd(*others, (0x0007, 3, 1, 0)) + tail)


def jpeg(data, fill=0):
    return b"\xFF\xD8" + b"\xFF" * fill + b"\xFF\xE1\xFF\xFFExif\0\0" + data


def withModel(still, text):
    assert len(text) == 14 and still.count(b"KESTO ZELVA Q7\0") == 1
    return still.replace(b"KESTO ZELVA Q7\0", text + b"\0")


def withFirstGyro(movie, *values):
    box = movie.index(b"KDTB")
    order = ">" if struct.unpack_from("<H", movie, box + 12) == (0x3210,) else "<"
    image = bytearray(movie)
    struct.pack_into(f"{order}3f", image, box + 20, *values)
    return bytes(image)


def withSegment(still, length):
    """A JPEG whose Exif segment stands behind one of this length."""
    return still[:2] + b"\xff\xe2" + length.to_bytes(2, "big") + bytes(length - 2) + still[2:]


def make(folder, sampleMaker):
    """Fills the folder; returns the names by kind."""
    clip, picture = folder / "clip.mp4", folder / "picture.jpg"
    source = "testsrc2=size=320x160:rate=30:duration=1"
    ffmpeg("-f", "lavfi", "-i", source, "-c:v", "libx264", "-profile:v", "baseline", "-pix_fmt", "yuv420p", clip)
    ffmpeg("-f", "lavfi", "-i", source, "-frames:v", "1", picture)
    for kind, name, origin in (("movie", "camera.MP4", clip), ("jpeg", "s.jpg", picture), ("dng", "s.DNG", picture)):
        subprocess.run([sampleMaker, kind, origin, folder / name], check=True, stdout=subprocess.DEVNULL)
    movie, still = (folder / "camera.MP4").read_bytes(), (folder / "s.jpg").read_bytes()

    def write(name, data):
        (folder / name).write_bytes(data)
        return name

    models = [b'12345678901234', b'true, "x":1.5 ', b'\\"\\u0041\\n\\\\ \\', b"\xff\xc3\xa9\x01\t567890123",
              b"\0" * 14, b"inf, nan: -inf", b"  null        ", b"{}[],:\x7f'&<>;#`"]
    models = [write(f"model{i}.jpg", withModel(still, m)) for i, m in enumerate(models)]
    return {
        "movies": ["camera.MP4", "clip.mp4", write("nan.mp4", withFirstGyro(
            movie, float("nan"), float("inf"), float("-inf")))],
        "models": models,
        "stills": ["s.jpg", "s.DNG", write("near.jpg", withSegment(still, 0x7FFF))],
        "unreadable": [write("cut.mp4", movie[: len(movie) // 50]), write("empty.jpg", b""),
                       write("text.mp4", b"no movie\n" * 99), "missing.dng", "picture.jpg",
                       write("late.jpg", withSegment(still, 0xFFFF))],
    }
