#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks the shipping folders one small way at a time and runs the tests on each.

The tests closest to a folder (PROGRAMS) run first; the other tests run only if the mutant survives.
A mutant whose objects have the original's bytes is equivalent and does not count. Prints a line per
mutant, then the survivors and the share killed; exit status 1 if some survive. A survivor is a
missing test, or changes nothing that a caller can observe.
"""
import argparse
import concurrent.futures
import contextlib
import hashlib
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import subprocess
import sys

PROGRAMS = {
    "node": ["node_test", "fault_test", "worker_test"],
    "analysis": ["node_test", "worker_test", "fault_test", "kernels_test", "race_test"],
    "image": ["kernels_test", "node_test"],
    "sharpen": ["kernels_test"],
    "base": ["kernels_test", "node_test", "worker_test", "fault_test", "race_test"],
}
RULES = [  # pattern, replacement
    (r"(?<![<>=!-])<(?= )", "<="), (r"(?<= )<=(?= )", "<"), (r"(?<= )>(?= )", ">="),
    (r"(?<= )>=(?= )", ">"), (r" == ", " != "), (r" != ", " == "), (r" && ", " || "),
    (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " + "), (r" / ", " * "),
    (r" >> ", " << "), (r" & ", " | "), (r"(?<![\w.\"':%])(\d+)(?![\w.\"'x])", r"(\1 + 1)"),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\.store\(([^,()]+), ", r".load("),
    (r"^(\s+)[\w:.>-]+\([^;{}]*\);$", r"\1;"), (r"^(\s+)return [^;]*;$", r"\1{}"),
    (r"\b(\w+)\((\w+), (\w+)(?=[,)])", r"\1(\3, \2"),
]
VERDICTS = ["killed", "survived", "equivalent", "no build"]


class Mutant:
    """A line of a file and its replacement."""

    def __init__(self, path, number, line, changed):
        self.path, self.number, self.changed = path, number, changed
        self.text = f"{path}:{number + 1}: {line.strip()}  ->  {changed.strip()}"


def mutants(source, folders):
    for folder in folders:
        for file in sorted(source.glob(f"src/{folder}/*.cpp")) + sorted(source.glob(f"src/{folder}/*.h")):
            for number, line in enumerate(file.read_text().splitlines()):
                code = line.split("//")[0].rstrip()
                if not code.strip() or code.lstrip().startswith(("#", "static_assert", '"')):
                    continue
                forms = {code[:match.start()] + match.expand(new) + code[match.end():]
                         for old, new in RULES for match in re.finditer(old, code)}
                for changed in sorted(forms - {code}):
                    yield Mutant(file.relative_to(source), number, line, changed)


def changed_lines(source, revision):
    """Returns each file's lines, counted from 0, that are new since the revision or not committed."""
    # Without a path, so that moved files are found.
    diff = subprocess.run(["git", "-C", source, "diff", "--unified=0", "--find-renames", "--no-ext-diff", revision],
                          stdout=subprocess.PIPE, text=True)
    if diff.returncode != 0:
        sys.exit(2)
    lines, file = {}, None
    for line in diff.stdout.splitlines():
        if line.startswith("+++ "):
            file = lines.setdefault(pathlib.Path(line[6:]), set())
        elif hunk := re.match(r"@@ \S+ \+(\d+)(?:,(\d+))? @@", line):
            first, count = int(hunk[1]) - 1, int(hunk[2] or 1)
            file.update(range(first, first + count))
    return lines


def run(*command, seconds=120):
    """Returns whether the command succeeds in time and within 4 GiB."""
    limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              preexec_fn=limit, timeout=seconds).returncode == 0
    except subprocess.TimeoutExpired:
        return False


class Workplace:
    """A copy of the sources with its own build."""

    def __init__(self, source, work, folders):
        self.source, self.build = work / "source", work / "build"
        self.programs = sorted({program for folder in folders for program in PROGRAMS[folder]})
        self.rest_is_sound = False
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(source, self.source, ignore=shutil.ignore_patterns("build", ".git"))
        for name in "src/CMakeLists.txt", "Android.bp":  # vector code compiles in a quarter of the time so
            recipe = self.source / name
            recipe.write_text(recipe.read_text().replace("-O3", "-O1"))
        # Warnings are no errors: a test must kill a mutant that only warns. A missing return is an
        # error. Without debug information and compiler cache, equal code has equal bytes.
        subprocess.run(["cmake", "--preset", "host", "-B", self.build, "-DZY_WERROR=OFF",
                        "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS=-Werror=return-type",
                        "-DCMAKE_CXX_COMPILER_LAUNCHER="],
                       cwd=self.source, check=True, stdout=subprocess.DEVNULL)
        self.libraries = [f"libzy_{folder}.a" for folder in PROGRAMS if folder != "base"]  # headers only
        subprocess.run(["ninja", "-C", self.build, *self.libraries, *self.programs], check=True,
                       stdout=subprocess.DEVNULL)
        self.original = self.fingerprint()
        if not all(self.passes(program) for program in self.programs):
            sys.exit("the tests fail without a mutation")

    def fingerprint(self):
        content = b"".join((self.build / library).read_bytes() for library in self.libraries)
        return hashlib.sha256(content).hexdigest()

    def make(self, *targets):
        return run("ninja", "-C", self.build, *targets, seconds=600)

    def passes(self, program):
        return self.make(program) and run(self.build / program, "--gtest_brief=1",
                                          "--gtest_fail_fast", seconds=60)

    def passes_rest(self, folder):
        return self.make() and run("ctest", "--test-dir", self.build, "--stop-on-failure",
                                   "-E", f"^({'|'.join(PROGRAMS[folder])})$", seconds=300)

    @contextlib.contextmanager
    def broken_by(self, mutant):
        file = self.source / mutant.path
        text = file.read_text()
        lines = text.splitlines()
        lines[mutant.number] = mutant.changed
        file.write_text("\n".join(lines) + "\n")
        try:
            yield
        finally:
            file.write_text(text)

    def judge(self, mutant):
        folder = mutant.path.parts[1]
        with self.broken_by(mutant):
            verdict = self.first_verdict(folder)
        if verdict != "survived":
            return verdict
        if not self.rest_is_sound and not self.passes_rest(folder):
            sys.exit("the tests fail without a mutation")
        self.rest_is_sound = True
        with self.broken_by(mutant):
            return "survived" if self.passes_rest(folder) else "killed"

    def first_verdict(self, folder):
        if not self.make(*self.libraries):
            return "no build"
        if self.fingerprint() == self.original:
            return "equivalent"
        passes = all(self.passes(program) for program in PROGRAMS[folder])
        return "survived" if passes else "killed"


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("source", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("work", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("sample", type=int, nargs="?",
                        help="number of random mutants; 0 is all (40; with --since all)")
    parser.add_argument("--since", metavar="REVISION", help="only lines that changed since then")
    parser.add_argument("--folder", action="append", choices=PROGRAMS, help="may be repeated")
    parser.add_argument("--list", action="store_true", help="print the mutants and run no test")
    parser.add_argument("--seed", type=int, default=1, help="seed of the sample")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_intermixed_args()


def choose(options):
    chosen = list(mutants(options.source, options.folder or list(PROGRAMS)))
    if options.since:
        changed = changed_lines(options.source, options.since)
        chosen = [mutant for mutant in chosen if mutant.number in changed.get(mutant.path, ())]
    sample = options.sample if options.sample is not None else 0 if options.since else 40
    if 0 < sample < len(chosen):
        chosen = random.Random(options.seed).sample(chosen, sample)
    return chosen


def judge_all(options, chosen):
    folders = {mutant.path.parts[1] for mutant in chosen}
    workplaces = queue.SimpleQueue()
    for index in range(min(options.jobs, len(chosen))):
        workplaces.put(Workplace(options.source, options.work / str(index), folders))

    def judge(mutant):
        workplace = workplaces.get()
        try:
            return workplace.judge(mutant)
        finally:
            workplaces.put(workplace)

    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for mutant, verdict in zip(chosen, pool.map(judge, chosen)):
            print(f"{verdict:10} {mutant.text}", flush=True)
            yield mutant, verdict


def main():
    options = arguments()
    chosen = choose(options)
    if options.list:
        print(*(mutant.text for mutant in chosen), sep="\n")
        return
    verdicts = list(judge_all(options, chosen))
    counts = {name: sum(verdict == name for _, verdict in verdicts) for name in VERDICTS}
    print("survivors:", *sorted(m.text for m, v in verdicts if v == "survived"), sep="\n")
    print(", ".join(f"{n} {verdict}" for verdict, n in counts.items()))
    judged = counts["killed"] + counts["survived"]
    print(f"killed {counts['killed']} of {judged}: {100 * counts['killed'] / max(judged, 1):.1f} percent")
    sys.exit(counts["survived"] > 0)


main()
