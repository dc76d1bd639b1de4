#!/usr/bin/env python3
"""Plants the small faults of tools/mutants.txt, one at a time, in copies of the tree and runs the
tests on each; prints those that no test sees.  usage: mutants.py [--quick] [PREFIX...]

PREFIX: only faults whose file and line of the list, as "app/main.cpp:90", begin so. --quick:
without the slow tests but those of the fault's own folder. Each processor has a copy and a build in
build/mutants, which stay, so that the next run builds little. Ends with 1 when a fault survives
without a reason, is not found in its file any more, or does not build.
"""

import concurrent.futures
import os
import pathlib
import queue
import re
import resource
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
workers = len(os.sched_getaffinity(0))
# A fault may make a program hang, or take all there is.
testSeconds, memory, fileBytes = 300, 8 << 30, 16 << 30
# Asked when all the others are content.
slowTests = ["faults", "limits", "kit_scan", "kit_carry", "kit_dask", "kit_frame"]
# What is installed is tested by builds of its own, which take longer than all the rest; how the
# shipped build is hardened no fault can change.
otherTests = ["package", "hardening"]
# Only a build without FFmpeg has it.
headerReader = "probe/HeaderVideoReader.cpp"


class Mutant:
    def __init__(self, path, line):
        self.path, self.line = path, line
        self.search, self.replacement, self.reason = "", "", ""

    def __str__(self):
        return f"{self.path}\n    - {self.search}\n    + {self.replacement}"

    def apply(self, text):
        """The text with the fault in it; nothing where it does not hold the search text once."""
        return text.replace(self.search, self.replacement) if text.count(self.search) == 1 else None


def readList(path):
    """The faults of the list, whose head says how it is written."""
    mutants, file = [], ""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        kind, rest = line[:1], line[2:].strip()
        if kind == "@":
            file = rest
        elif kind == "-":
            mutants.append(Mutant(file, number))
            mutants[-1].search = rest
        elif kind == "+":
            mutants[-1].replacement = rest
        elif kind == "?":
            mutants[-1].reason = rest
    return mutants


def limitResources():
    resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    resource.setrlimit(resource.RLIMIT_FSIZE, (fileBytes, fileBytes))


def run(*words, **more):
    return subprocess.run([str(word) for word in words], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **more)


def named(names):
    return "^(" + "|".join(names) + ")$"


def quickTests(path):
    """The tests that most likely see a fault in this file, by the folder's name."""
    names = {"app/": ["app", "cli"], "probe/": ["probe", "cli"], "exif/": ["exif", "cli"],
             "probe/ffmpeg/": ["probe", "kit_frame"], "support/": ["support", "faults"],
             "sondex/inside/Stills": ["sondex", "faults", "kit_carry"],
             "sondex/NewFile": ["sondex", "faults"],
             "h264/": ["h264", "cli"], "builder/": ["builder", "kit_carry"],
             "kit/": ["sondexkit", "kit_scan"], "kit/motion/": ["kit_motion"],
             "kit/Motion": ["kit_motion"], "kit/Output": ["kit_motion"], "kit/Frame": ["kit_frame"],
             "kit/Carry": ["kit_carry"], "kit/Cut": ["kit_carry"], "kit/Each": ["kit_carry"],
             "kit/Set": ["kit_carry"], "kit/Strip": ["kit_carry"], "kit/Tag": ["kit_carry"],
             "kit/FramesIn": ["kit_scan"], "python/": ["kit_scan", "kit_dask"]}
    places = [place for place in names if path.startswith(place)]
    return names[max(places, key=len)] if places else [path.split("/")[0]]


class Workshop:
    """A copy of the tree and its builds, by the kind of video reader, for one fault at a time."""

    def __init__(self, folder):
        self.tree, self.folder = folder / "tree", folder
        self.copyTree()

    def copyTree(self):
        """Brings the copy up to date; files that are equal keep their times."""
        names = run("git", "ls-files", "-co", "--exclude-standard", cwd=root).stdout.splitlines()
        names = {name for name in names if (root / name).is_file()}
        for name in names:
            source, target = root / name, self.tree / name
            if not target.is_file() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(source.read_bytes())
                target.chmod(source.stat().st_mode)
        for path in self.tree.rglob("*"):
            if path.is_file() and str(path.relative_to(self.tree)) not in names:
                path.unlink()

    def prepare(self, readers, isQuick):
        """Builds the sound tree for these readers: what went wrong, or nothing."""
        for reader in readers:
            # Compiling takes most of the time, and optimising most of that; a shared library
            # costs one link.
            configured = run("cmake", "-S", self.tree, "-B", self.folder / reader,
                             "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG",
                             "-DBUILD_SHARED_LIBS=ON", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                             "-DSONDEX_VIDEO_READER=" + reader)
            if configured.returncode or not self.makes(reader):
                return "the tree itself does not build"
            if seen := self.failingTest(reader, ".", slowTests if isQuick else []):
                return f"without a fault, {seen} fails already"
        return ""

    def makes(self, reader):
        return run("cmake", "--build", self.folder / reader, "--parallel", 1).returncode == 0

    def failingTest(self, reader, pattern, others):
        """The first test of this pattern, others left out, that fails; nothing when all pass."""
        outcome = run("ctest", "--test-dir", self.folder / reader, "-R", pattern,
                      "-E", named(otherTests + others), "--stop-on-failure",
                      "--timeout", testSeconds, preexec_fn=limitResources)
        if outcome.returncode == 0:
            return ""
        failed = re.search(r"^\s*\d+ - (\S+) \(", outcome.stdout, re.M)
        return failed.group(1) if failed else "ctest"

    def outcomeOf(self, mutant, isQuick):
        """What became of the fault: a word, and the test that saw it."""
        path, reader = self.tree / mutant.path, readerOf(mutant)
        text = path.read_text()
        faulty = mutant.apply(text)
        if faulty is None:
            return "stale", ""
        path.write_text(faulty)
        try:
            if not self.makes(reader):
                return "unbuildable", ""
            own = quickTests(mutant.path)
            seen = (self.failingTest(reader, named(own), []) or
                    self.failingTest(reader, ".", own + slowTests))
            if not seen and not isQuick:
                seen = self.failingTest(reader, named(set(slowTests) - set(own)), [])
            return ("killed", seen) if seen else ("survived", "")
        finally:
            path.write_text(text)


def readerOf(mutant):
    return "header" if mutant.path == headerReader else "ffmpeg"


def main(words):
    isQuick, prefixes = "--quick" in words, [word for word in words if word != "--quick"]
    mutants = [mutant for mutant in readList(root / "tools/mutants.txt")
               if not prefixes or f"{mutant.path}:{mutant.line}".startswith(tuple(prefixes))]
    shops = [Workshop(root / "build/mutants" / str(number)) for number in range(workers)]
    readers = {readerOf(mutant) for mutant in mutants}
    free = queue.Queue()
    results = {}

    def judge(mutant):
        shop = free.get()
        try:
            return mutant, *shop.outcomeOf(mutant, isQuick)
        finally:
            free.put(shop)

    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        for complaint in pool.map(lambda shop: shop.prepare(readers, isQuick), shops):
            if complaint:
                sys.exit("mutants: " + complaint)
        for shop in shops:
            free.put(shop)
        judged = [pool.submit(judge, mutant) for mutant in mutants]
        for number, done in enumerate(concurrent.futures.as_completed(judged), 1):
            mutant, outcome, seen = done.result()
            if mutant.reason:
                outcome = "unseen" if outcome == "survived" else "seen after all"
            results.setdefault(outcome, []).append(mutant)
            print(f"{number}/{len(mutants)} {mutant.path} (line {mutant.line}): {outcome} {seen}",
                  file=sys.stderr, flush=True)
    for outcome, title in (("survived", "no test sees"), ("stale", "not found once in its file"),
                           ("unbuildable", "does not build"),
                           ("seen after all", "has a reason, and is seen or no fault any more")):
        for mutant in results.get(outcome, []):
            print(f"{title}: {mutant}")
    for mutant in results.get("unseen", []):
        print(f"nobody can see: {mutant}\n    ? {mutant.reason}")
    print(", ".join(f"{len(found)} {outcome}" for outcome, found in results.items()))
    return 1 if set(results) - {"killed", "unseen"} else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
