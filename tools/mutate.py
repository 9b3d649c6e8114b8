#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks the shipping folders one small way at a time and runs the tests on each.

usage: mutate.py SOURCE_DIRECTORY WORK_DIRECTORY [SAMPLE [SEED]]

The tests that know a folder best run first, all the others only on a mutant that those let live.
A mutant whose objects have the original's bytes is equivalent and does not count.
Prints a line per mutant, the survivors again at the end, and the share of the others that was killed.
SAMPLE 0 runs all of them.
"""
import concurrent.futures
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
    "node": ["node_test", "fault_test", "race_test"],
    "analysis": ["kernels_test", "worker_test", "node_test", "fault_test", "race_test"],
    "image": ["kernels_test", "worker_test"],
    "sharpen": ["kernels_test"],
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


def mutants(source):
    for folder in PROGRAMS:
        for path in sorted(source.glob(f"{folder}/*.cpp")) + sorted(source.glob(f"{folder}/*.h")):
            for number, line in enumerate(path.read_text().splitlines()):
                code = line.split("//")[0].rstrip()
                if not code.strip() or code.lstrip().startswith(("#", "static_assert", '"')):
                    continue
                forms = {code[:match.start()] + match.expand(new) + code[match.end():]
                         for old, new in RULES for match in re.finditer(old, code)}
                for changed in sorted(forms - {code}):
                    yield path.relative_to(source), number, changed


def run(*command, seconds=120, **options):
    """Whether the command succeeds in time and in 4 GiB."""
    limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              preexec_fn=limit, timeout=seconds, **options).returncode == 0
    except subprocess.TimeoutExpired:
        return False


class Workplace:
    """A copy of the sources with a build of its own."""

    def __init__(self, source, work):
        self.source, self.build = work / "source", work / "build"
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(source, self.source, ignore=shutil.ignore_patterns("build", ".git"))
        # Warnings are no errors: a mutant that only warns must be killed by a test. But a function
        # that returns nothing at all is no program. No debug information, so that equal code has
        # equal bytes.
        subprocess.run(["cmake", "--preset", "host", "-B", self.build, "-DZY_WERROR=OFF",
                        "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS=-Werror=return-type"],
                       cwd=self.source, check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["ninja", "-C", self.build], check=True, stdout=subprocess.DEVNULL)
        self.original = self.fingerprint()
        if not self.passes_everything():
            sys.exit("the tests fail before anything is broken")

    def fingerprint(self):
        libraries = [self.build / f"libzy_{folder}.a" for folder in PROGRAMS]
        return hashlib.sha256(b"".join(file.read_bytes() for file in libraries)).hexdigest()

    def make(self, *targets):
        return run("ninja", "-C", self.build, *targets)

    def judge(self, path, number, changed):
        file = self.source / path
        text = file.read_text()
        lines = text.splitlines()
        lines[number] = changed
        file.write_text("\n".join(lines) + "\n")
        try:
            return self.verdict(path.parts[0])
        finally:
            file.write_text(text)

    def verdict(self, folder):
        if not self.make(*(f"libzy_{folder}.a" for folder in PROGRAMS)):
            return "no build"
        if self.fingerprint() == self.original:
            return "equivalent"
        for program in PROGRAMS[folder]:
            test = [self.build / program, "--gtest_brief=1", "--gtest_fail_fast"]
            if not self.make(program) or not run(*test, seconds=20):
                return "killed"
        return "survived" if self.passes_everything() else "killed"

    def passes_everything(self):
        return self.make() and run("ctest", "--test-dir", self.build, "--stop-on-failure")


def main():
    source, work = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    sample, seed = int(sys.argv[3]) if len(sys.argv) > 3 else 40, int(sys.argv[4]) if len(sys.argv) > 4 else 1
    workplaces = queue.SimpleQueue()
    for index in range(os.cpu_count()):
        workplaces.put(Workplace(source, work / str(index)))
    chosen = list(mutants(source))
    if 0 < sample < len(chosen):
        chosen = random.Random(seed).sample(chosen, sample)

    def judge(mutant):
        workplace = workplaces.get()
        try:
            return workplace.judge(*mutant)
        finally:
            workplaces.put(workplace)

    counts, survivors = dict.fromkeys(VERDICTS, 0), []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (path, number, changed), verdict in zip(chosen, pool.map(judge, chosen)):
            line = (source / path).read_text().splitlines()[number].strip()
            what = f"{path}:{number + 1}: {line}  ->  {changed.strip()}"
            counts[verdict] += 1
            print(f"{verdict:10} {what}", flush=True)
            if verdict == "survived":
                survivors.append(what)
    print("survivors:", *survivors, sep="\n  ")
    judged = counts["killed"] + counts["survived"]
    print(", ".join(f"{n} {verdict}" for verdict, n in counts.items()))
    print(f"killed {counts['killed']} of {judged}: {100 * counts['killed'] / max(judged, 1):.1f} percent")


main()
