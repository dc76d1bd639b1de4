#!/usr/bin/env python3
"""Plants the small faults of tools/mutants.txt, one at a time, in a copy of the tree and runs the
tests on each; prints those that no test sees.  usage: mutants.py [--quick] [PREFIX...]

PREFIX: only faults whose file and line of the list, as "app/main.cpp:90", begin so. --quick: only the tests of the fault's own folder;
what they do not see, another may. The copy and its build stay in build/mutants, so
that the next run builds little. Ends with 1 when a fault survives without a reason, is not found in
its file any more, or does not build.
"""

import os
import pathlib
import re
import resource
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
tree = root / "build/mutants/tree"
build = root / "build/mutants/build"
jobs = str(len(os.sched_getaffinity(0)))
# A fault may make a program hang, or take all there is.
testSeconds, memory, fileBytes = 300, 8 << 30, 16 << 30
# Asked when all the others are content.
slowTests = ["faults", "limits", "kit_scan", "kit_carry", "kit_dask"]


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


def copyTree():
    """Brings the copy up to date; files that are equal keep their times."""
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, text=True,
                           stdout=subprocess.PIPE, check=True).stdout.splitlines()
    names = {name for name in names if (root / name).is_file()}
    for name in names:
        source, target = root / name, tree / name
        if not target.is_file() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(source.read_bytes())
            target.chmod(source.stat().st_mode)
    for path in tree.rglob("*"):
        if path.is_file() and str(path.relative_to(tree)) not in names:
            path.unlink()


def limitResources():
    resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    resource.setrlimit(resource.RLIMIT_FSIZE, (fileBytes, fileBytes))


def run(*words, **more):
    return subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", **more)


def make(*targets):
    return run("cmake", "--build", build, "--parallel", jobs,
               *(["--target", *targets] if targets else []))


def failingTest(pattern):
    """The first of the tests of these names that fails; nothing when all pass."""
    # What is installed is tested by builds of its own, which take longer than all the rest; how the
    # shipped build is hardened no fault can change.
    outcome = run("ctest", "--test-dir", build, "-R", pattern, "-E", "^(package|hardening)$",
                  "--stop-on-failure", "-j", jobs, "--timeout", str(testSeconds),
                  preexec_fn=limitResources)
    if outcome.returncode == 0:
        return ""
    failed = re.search(r"^\s*\d+ - (\S+) \(", outcome.stdout, re.M)
    return failed.group(1) if failed else "ctest"


def quickTests(path):
    """The tests that most likely see a fault in this file, by the folder's name."""
    names = {"app": ["app", "cli"], "probe": ["probe", "cli"], "exif": ["exif", "cli"],
             "h264": ["h264", "cli"], "builder": ["builder", "kit_carry"],
             "kit": ["sondexkit", "kit_scan", "kit_carry"], "python": ["kit_dask"]}
    folder = path.split("/")[0]
    return names.get(folder, [folder])


def quickTargets(paths):
    names = {name for path in paths for name in quickTests(path)}
    kits = ["sondexkit"] if any(name.startswith("kit_") for name in names) else []
    return ["Sondex", "sondex-sample", *kits,
            *sorted("test_" + name for name in names if (tree / "tests" / name).is_dir())]


def outcomeOf(mutant, isQuick):
    """What became of the fault: a word, and the test that saw it."""
    path = tree / mutant.path
    text = path.read_text()
    faulty = mutant.apply(text)
    if faulty is None:
        return "stale", ""
    path.write_text(faulty)
    try:
        quick = quickTests(mutant.path)
        if quick:
            if make(*quickTargets([mutant.path])).returncode:
                return "unbuildable", ""
            seen = failingTest("^(" + "|".join(quick) + ")$")
            if seen or isQuick:
                return ("killed", seen) if seen else ("survived", "")
        if make().returncode:
            return "unbuildable", ""
        seen = failingTest("^(?!(" + "|".join(slowTests) + ")$)") or failingTest("|".join(slowTests))
        return ("killed", seen) if seen else ("survived", "")
    finally:
        path.write_text(text)


def main(words):
    isQuick, prefixes = "--quick" in words, [word for word in words if word != "--quick"]
    mutants = [mutant for mutant in readList(root / "tools/mutants.txt")
               if not prefixes or f"{mutant.path}:{mutant.line}".startswith(tuple(prefixes))]
    copyTree()
    # Compiling takes most of the time.
    configured = run("cmake", "-S", tree, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                     "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG")
    targets = quickTargets(mutant.path for mutant in mutants) if isQuick else []
    if configured.returncode or make(*targets).returncode:
        sys.exit("mutants: the tree itself does not build")
    tests = "|".join(sorted({name for mutant in mutants for name in quickTests(mutant.path)}))
    if seen := failingTest(f"^({tests})$" if isQuick else "."):
        sys.exit(f"mutants: without a fault, {seen} fails already")
    results = {}
    for number, mutant in enumerate(mutants, 1):
        outcome, seen = outcomeOf(mutant, isQuick)
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
