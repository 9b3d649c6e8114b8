#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks the shipping folders one small way at a time and runs the tests on each.

usage: mutate.py SOURCE_DIRECTORY WORK_DIRECTORY [SAMPLE [SEED]]

A mutant that compiles and leaves the program's bytes as they were is equivalent and does not count.
Prints a line per mutant, the survivors again at the end, and the share of the others that was killed.
SAMPLE 0 runs all of them.
"""
import hashlib
import pathlib
import random
import re
import shutil
import subprocess
import sys

FOLDERS = ["node", "analysis", "image", "sharpen"]
PROGRAMS = ["node_test", "worker_test", "fault_test", "race_test", "image_test", "crop_test",
            "sharpen_test", "array_helpers_test"]
RULES = [  # pattern, replacement
    (r"(?<![<>=!-])<(?= )", "<="), (r"(?<= )<=(?= )", "<"), (r"(?<= )>(?= )", ">="),
    (r"(?<= )>=(?= )", ">"), (r" == ", " != "), (r" != ", " == "), (r" && ", " || "),
    (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " + "), (r" / ", " * "),
    (r" >> ", " << "), (r" & ", " | "), (r"(?<![\w.\"':%])(\d+)(?![\w.\"'x])", r"(\1 + 1)"),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\.store\(([^,()]+), ", r".load("),
    (r"^(\s+)[\w:.>-]+\([^;{}]*\);$", r"\1;"), (r"^(\s+)return [^;]*;$", r"\1{}"),
    (r"\b(\w+)\((\w+), (\w+)(?=[,)])", r"\1(\3, \2"),
]


def mutants(source):
    for folder in FOLDERS:
        for path in sorted(source.glob(f"{folder}/*.cpp")):
            for number, line in enumerate(path.read_text().splitlines()):
                code = line.split("//")[0].rstrip()
                if not code.strip() or code.lstrip().startswith(("#", "static_assert", '"')):
                    continue
                for pattern, replacement in RULES:
                    for match in re.finditer(pattern, code):
                        changed = code[:match.start()] + match.expand(replacement) + code[match.end():]
                        if changed != code:
                            yield path.relative_to(source), number, changed


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)


def fingerprint(build):
    files = ["libzy_node.a", "libzy_analysis.a", "libzy_image.a", "libzy_sharpen.a"]
    objects = [subprocess.run(["objdump", "-dsr", build / f],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout for f in files]
    return hashlib.sha256(b"".join(objects)).hexdigest()


def survives(build):
    for program in PROGRAMS:
        try:
            if run(build / program, "--gtest_brief=1", timeout=120).returncode != 0:
                return False
        except subprocess.TimeoutExpired:
            return False
    return True


def main():
    source, work = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    sample, seed = int(sys.argv[3]) if len(sys.argv) > 3 else 40, int(sys.argv[4]) if len(sys.argv) > 4 else 1
    copy, build = work / "source", work / "build"
    shutil.rmtree(copy, ignore_errors=True)
    shutil.copytree(source, copy, ignore=shutil.ignore_patterns("build", ".git"))
    ninja = ["ninja", "-C", build, *PROGRAMS]
    # Warnings are off: a mutant that only warns must be killed by a test. No debug information, so that
    # equal code has equal bytes.
    run("cmake", "--preset", "host", "-B", build, "-DZY_WERROR=OFF", "-DCMAKE_BUILD_TYPE=Release",
        cwd=copy, check=True)
    run(*ninja, check=True)
    original = fingerprint(build)
    chosen = list(mutants(copy))
    if 0 < sample < len(chosen):
        chosen = random.Random(seed).sample(chosen, sample)
    counts, survivors = {"killed": 0, "survived": 0, "equivalent": 0, "no build": 0}, []
    for path, number, changed in chosen:
        file = copy / path
        text = file.read_text()
        lines = text.splitlines()
        what = f"{path}:{number + 1}: {lines[number].strip()}  ->  {changed.strip()}"
        lines[number] = changed
        file.write_text("\n".join(lines) + "\n")
        if run(*ninja).returncode != 0:
            verdict = "no build"
        elif fingerprint(build) == original:
            verdict = "equivalent"
        else:
            verdict = "survived" if survives(build) else "killed"
        file.write_text(text)
        counts[verdict] += 1
        print(f"{verdict:10} {what}", flush=True)
        if verdict == "survived":
            survivors.append(what)
    print(*["survivors:"] + survivors, sep="\n  ")
    judged = counts["killed"] + counts["survived"]
    print(", ".join(f"{n} {verdict}" for verdict, n in counts.items()))
    print(f"killed {counts['killed']} of {judged}: {100 * counts['killed'] / max(judged, 1):.1f} percent")


main()
