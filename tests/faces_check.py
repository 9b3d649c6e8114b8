#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Runs the node with real networks on two photographs and compares the published figures with a person's
# judgement, at every orientation of the device. Needs the files that ./dev faces fetches.
# usage: faces_check.py BUILD_DIRECTORY PHOTOGRAPHS
import json
import pathlib
import shutil

from programs import Program, arguments, check, finish, same, work, write

build, photographs = (pathlib.Path(argument).resolve() for argument in arguments)
camsim = Program(build / "camsim", "--models", "real", "--faces", "auto")


def published(photograph, orientation):
    """Returns the last record of twelve requests: the figures of the fourth one's frame."""
    lines = camsim.run(0, "--requests 12 --annotated none --jsonl - --input", photograph,
                       f"--orientation {orientation}").out.splitlines()
    record = next(record for record in map(json.loads, lines) if record.get("request") == 10)
    same(f"faces of {photograph.name} at {orientation}", (1, 1),
         (len(record["in"]["faces"]), record["out"]["faceNum"]))
    return {name: record["out"][name] for name in ("gender", "age", "score", "prop")}


# A photograph of a woman, and her lowest and highest age.
for name, low, high in ("astronaut.png", 22, 45), ("grace_hopper.jpg", 60, 100):
    at = {orientation: published(photographs / name, orientation) for orientation in (270, 90, 0, 180)}
    same(f"{name} at 180 and at 270, where the crop begins with the same pixel", at[270], at[180])
    for orientation, figures in at.items():
        gender, age, score = (figures[key][0] for key in ("gender", "age", "score"))
        print(f"{name:17} at {orientation:3}: gender {gender:.3f} age {age:.1f} score {score:.1f}")
        check(0 <= gender < 0.5, f"{name} at {orientation}: not a woman")
        check(low <= age <= high, f"{name} at {orientation}: not {low} to {high} years old")
        # The crop may begin one pixel further right or below.
        check(abs(age - at[270]["age"][0]) <= 8 and abs(score - at[270]["score"][0]) <= 10,
              f"{name} at {orientation}: other figures than at 270")

write("dark.y4m", b"YUV4MPEG2 W320 H240 F30:1 Cmono\n" + 4 * (b"FRAME\n" + bytes(76800)))
table = camsim.run(0, "--input dark.y4m --annotated none --all").out
check(table.count("no face") >= 4, f"a picture without faces: {table}")
check("estimates by a small network" in table.lower(), "the table does not explain the figures")

# Missing networks: a program without them, and one that lacks a file.
for name in "camsim", "libframework_watch.so":
    shutil.copy(build / name, name)
elsewhere = Program("./camsim", "--models", "real", "--faces", "auto", "--annotated", "none",
                    "--node", build / "com.qti.node.brodaxgenderage.so")
elsewhere.name = "camsim"
elsewhere.bad(1, says="./dev models")
shutil.copytree(build / "device-real", work / "device-real", ignore=lambda _, names: [
    name for name in names if name.endswith(".bin")])
elsewhere.bad(1, says="./dev models")

finish("the networks agree with a person")
