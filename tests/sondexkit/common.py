"""What the tests of sondexkit share: the programs, a folder to work in, and calls.  Their usage:
NAMETest.py KIT PROGRAM SAMPLE-MAKER SOURCE"""

import os
import pathlib
import resource
import subprocess
import sys
import tempfile

kit, program, sampleMaker, source = map(os.path.abspath, sys.argv[1:5])
sys.path[:0] = [source + "/tests/contract", source + "/python"]
from driver import Sondex  # noqa: E402
from samples import ffmpeg  # noqa: E402

folder = tempfile.TemporaryDirectory()
os.chdir(folder.name)
probe = Sondex(program)


def run(*words, status=0, **more):
    """What sondexkit prints and complains of, which is one line where it fails."""
    outcome = subprocess.run([kit, *words], capture_output=True, text=True, stdin=subprocess.DEVNULL, **more)
    assert outcome.returncode == status, (words, outcome)
    ownWords = status == 2 or words[0] in ("cut", "tag")
    assert ownWords or outcome.stderr.count("\n") == (status != 0), outcome.stderr
    return outcome.stdout + outcome.stderr


def shortFiles():
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))


def read(name):
    return pathlib.Path(name).read_bytes()


def write(name, content):
    pathlib.Path(name).write_bytes(content)


def makeCamera(name, *words):
    """A movie of the camera around a clip that ffmpeg makes by these words."""
    ffmpeg("-f", "lavfi", "-i", *words, "clip.mp4")
    subprocess.run([sampleMaker, "movie", "clip.mp4", name], check=True)
