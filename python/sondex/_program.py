"""Runs sondexkit."""

from __future__ import annotations

import os
import subprocess
import threading
from typing import IO, Iterable, Iterator, List, Optional, Sized, Union

from ._records import Movie, Path, Record, Still, record


class ScanFailed(Exception):
    """sondexkit could not be run, or ended early."""


def facts(path: Path, *, decode: bool = True, program: str = "sondexkit") -> Union[Movie, Still]:
    """The facts of one file; raises Error, or ScanFailed when the program is missing."""
    for answer in scan([path], decode=decode, jobs=1, program=program):
        return answer.get()
    raise ScanFailed(f"{program}: no answer")


def scan(paths: Iterable[Path], *, jobs: Optional[int] = None, decode: bool = True,
         timeout: Optional[float] = None, memory: Optional[int] = None, ordered: bool = False,
         program: str = "sondexkit") -> Iterator[Record]:
    """Exactly one record for each of the paths, as they get ready, or in their order.

    jobs: worker processes, else one a core. decode: whether a movie's first picture is decoded.
    timeout: seconds a file. memory: megabytes a worker. The paths are drawn as they are needed.
    """
    words = [program, "scan", "--files-from", "-", "-0", "--quiet"]
    for name, value in (("--jobs", jobs), ("--timeout", timeout), ("--memory", memory)):
        if value is not None:
            words += [name, str(value)]
    words += ["--no-decode"] * (not decode) + ["--ordered"] * ordered
    return _run(words, paths)


def _run(words: List[str], paths: Iterable[Path]) -> Iterator[Record]:
    try:
        process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
    except OSError as failure:
        raise ScanFailed(f"{words[0]}: {failure.strerror}") from failure
    assert process.stdin and process.stdout and process.stderr
    failures: List[BaseException] = []
    feeder = threading.Thread(target=_feed, args=(process.stdin, paths, failures), daemon=True)
    feeder.start()
    try:
        for line in process.stdout:
            yield record(line)
        feeder.join()
        words_said = process.stderr.read().decode(errors="replace").strip()
        if failures:
            raise failures[0]
        if process.wait() not in (0, 1):  # 1: some files failed, as their records say
            raise ScanFailed(words_said or f"{words[0]}: ended with {process.returncode}")
    finally:
        process.kill()
        process.wait()
        for stream in (process.stdout, process.stderr):
            stream.close()


def _feed(to: IO[bytes], paths: Iterable[Path], failures: List[BaseException]) -> None:
    # Who draws the names from somewhere may wait for the answers to the first before the next.
    at_once = not isinstance(paths, Sized)
    try:
        for path in paths:
            name = os.fsencode(path)
            if not name or b"\0" in name:
                raise ValueError(f"no file has this name: {path!r}")
            to.write(name + b"\0")
            if at_once:
                to.flush()
    except BrokenPipeError:
        pass  # the program ended early and says why
    except BaseException as failure:  # the caller's iterator raised it, so the caller shall see it
        failures.append(failure)
    finally:
        try:
            to.close()
        except OSError:
            pass
