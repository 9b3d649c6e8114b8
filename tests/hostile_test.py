#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Hostile and damaged files: each gets an error of one line, or a harmless result, and no output is lost.
# usage: hostile_test.py [EMULATOR...] CAMSIM
import json
import pathlib
import random
import resource
import signal
import subprocess
import time

from programs import Program, arguments, check, finish, read, same, write

camsim = Program(*arguments)
FACE = [1, 2, 3, 4]
CALL = dict(model="", slot=0, face=FACE, answer=dict(age=1, prop=1, gender=1), at_us=1, took_us=1)
FAR = [-2**31, -2**31, 2**31 - 1, 2**31 - 1]


def processor_time():
    """Returns the seconds that the ended programs computed, which a busy machine does not change."""
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime


def line(**members):
    return json.dumps(members) + "\n"


def numbered(count, **more):
    return {**{f"k{i}": 1 for i in range(count)}, **more}


# ---- Each file, the command, its status and its message ------------------------------------------------
SCRIPT = "--annotated none --requests 8 --size 64x48 --script"
for content, command, status, says in [
        (b'{"recording":' + b"[" * 400000 + b"\n", SCRIPT, 3, "line 1: is nested deeper than 8 levels"),
        (b'{"recording":' + b"[" * 400000 + b"\n", "diff bad", 3, "line 1: is nested deeper"),
        (line(**numbered(60000)), SCRIPT, 3, "line 1: has an object of more than 1000 keys"),
        (line(request=1, out=numbered(40000)), "diff bad", 3, "line 1: has an object of more than 1000 keys"),
        (line(**{"pass": {"calls": [CALL] * 1000}}), "diff bad", 0, ""),
        (line(request=1, out={"a": [1] * 200000}), "diff bad", 0, ""),
        *((line(recording=1, size=[64, 48], stride=64, crop=crop) + line(request=1), "--annotated none --replay", 3,
           "line 1: crop: must be empty, or x, y") for crop in ([1, 0, 63, 48], [0, 1, 16, 16], [0, 0, 16])),
        (line(request=1) + line(request=2, **{"in": {"faces": [FACE] * 1001}}), SCRIPT, 3,
         "line 2: in.faces: must be a list of 0..1000"),
        (line(request=1, **{"in": {"faces": [FACE] * 1000}}), SCRIPT, 0, ""),
        (line(request=1, **{"in": {"faces": [FAR], "brodax.sensorSize.size": [1, 1]}}), SCRIPT, 0, ""),
        (line(request=1, **{"in": {"android.statistics.faceRectangles": FAR}}), "--upright " + SCRIPT, 0, ""),
        (line(request=1, frame={"index": 2**53 + 1}), SCRIPT, 3, "must be 0..9007199254740992"),
        (b'{"request":1}\0 and more\n', SCRIPT, 3, "line 1: contains a NUL byte"),
        (line(device={"failing_inits": 2**64 - 1}), SCRIPT, 3, "must be -1..2147483647"),
        (line(request=1, out={"a": [2**63]}), "diff bad", 3, "out.a: must be a tag's value"),
        (line(request=1, **{"\x1b[2J\x7f": 1}), SCRIPT, 3, r"\x1b[2J\x7f: is unknown"),
        (b"YUV4MPEG2 W64 H48 Q\x1b\xff\n", "--annotated none --input", 3, r"tag 'Q\x1b\xff'"),
]:
    write("bad", content)
    began = processor_time()
    (camsim.bad if says else camsim.run)(status, command, "bad", **({"says": says} if says else {}))
    check(processor_time() - began < 20, f"{command} takes too long")
camsim.bad(2, "--annotated none", *["--face 1,2,3,4"] * 1001, says="--face")

# ---- Outputs that cannot be written, and runs that end early --------------------------------------------
write("script", line(request=1))
done = camsim.bad(1, "--size 64x48 --trace /dev/full", says="/dev/full: cannot write: No space left")
check("annotated picture" not in done.out, "a picture without a name is announced")
for command in "diff script script", "--annotated none --size 64x48":
    full = subprocess.run([*camsim.command, *command.split()], stdout=open("/dev/full", "w"), stderr=subprocess.PIPE)
    same(command, (1, b"camsim: standard output: cannot write: No space left on device\n"),
         (full.returncode, full.stderr))

camsim.bad(1, "diff script script --report /dev/stdout", says="is standard output")
write("piped", line(request=1))
camsim.bad(1, "diff - script --report piped", stdin=pathlib.Path("piped"), says="is also an input")
camsim.bad(1, "--size 64x48 --trace /dev/full --report kept.html", says="/dev/full: cannot write")
check(pathlib.Path("kept.html").exists(), "a lost output takes another one with it")
camsim.bad(2, "diff script script --tolerance", "9" * 400, says="is not a plain number")

outputs = ["old.png", "old.trace", "old.html"]
started = pathlib.Path("lines")


def end_with(number, *options):
    """Begins a run that does not end by itself, and ends it with a signal when it has sent a request."""
    for name in outputs:
        write(name, "old")
    pathlib.Path("link.png").unlink(missing_ok=True)
    pathlib.Path("link.png").symlink_to("old.png")
    pathlib.Path("old.png").chmod(0o640)
    started.unlink(missing_ok=True)
    run = subprocess.Popen([*camsim.command, "--annotated", "link.png", "--trace", "old.trace", "--report",
                            "old.html", "--jsonl", "lines", *options], stderr=subprocess.PIPE,
                           stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)
    while run.poll() is None and (not started.exists() or started.read_bytes().count(b"\n") < 2 and not options[0] == "--script"):
        time.sleep(0.01)
    time.sleep(0.3 if options == BLOCKED else 0)
    run.send_signal(number)
    run.communicate(timeout=60)
    return run.returncode, [read(name) == b"old" for name in outputs]


LONG = "--size", "64x48", "--requests", "100000000"
BLOCKED = "--size", "640x480", "--annotated-clip", "-"  # a clip that nobody reads before the signal
same("a killed run", (-signal.SIGKILL, [True] * 3), end_with(signal.SIGKILL, *LONG))
write("long", line(recording=1, size=[64, 48]) + "".join(line(request=i, out={}) for i in range(1, 99999)))
for number, options in [(signal.SIGINT, LONG), (signal.SIGTERM, LONG), (signal.SIGINT, ("--replay", "long")),
                        (signal.SIGINT, BLOCKED)]:
    same("an ended run", (130, [False] * 3), end_with(number, *options))
    check(read("old.png").endswith(b"IEND\xaeB`\x82") and json.loads(read("old.trace")), "outputs are whole")
    same("the mode", 0o640, pathlib.Path("old.png").stat().st_mode & 0o777)
write("script", line(request=1, frame={"index": 10**9}))
same("a run that has sent nothing", (130, [True] * 3),
     end_with(signal.SIGTERM, "--script", "script", "--input", "/dev/zero", "--size", "2x2"))
same("temporary files", [], list(pathlib.Path(".").glob(".zy_*")))

# A tag's name that is no text, nor fit for a terminal, in every output.
node = pathlib.Path(arguments[-1]).with_name("com.qti.node.brodaxgenderage.so")
write("node.so", read(node).replace(b"\0CurrentMode\0", b"\0Curr\xff\x1b[2Jde\0"))
done = camsim.run(0, "--node node.so --size 64x48 --trace t --report r --jsonl j", "--annotated none")
check(r"Curr\xff\x1b[2Jde 0" in done.out and json.loads(read("t")), f"a tag's name: {done.out}")
camsim.run(0, "--node node.so --annotated none --replay j")

# A library that the run has loaded is no output.
write("liblog.so", read(node.with_name("device") / "liblog.so"))
for library, option in ("node.so", "--node node.so"), ("liblog.so", "--device ."):
    camsim.bad(1, "--annotated none --size 64x48", option, "--jsonl", library, says="is also an input")

# ---- Every recording of a run at no pace replays -------------------------------------------------------
draw = random.Random(22)
for _ in range(6):
    edge = lambda: draw.choice([0, 1, -1, 700, 5000, 2**31 - 1, -2**31, draw.randrange(4000)])
    lines, number = "", 0
    for _ in range(12):
        number += draw.randrange(1, 4)
        members = {
            "faces": [[edge() for _ in FACE] for _ in range(draw.randrange(4))],
            "android.statistics.faceRectangles": draw.choice([None, [edge() for _ in range(draw.randrange(14))]]),
            "brodax.sensorSize.size": draw.choice([None, [4000, 3000], [1, 1], [edge(), edge()]]),
            "brodax.device.orientation": draw.choice([0, 90, 180, 270, edge()]),
            "brodax.faceScore.enabled": edge(), "brodax.quadcfa.enabled": draw.randrange(256),
            "com.qti.chi.multicamerainfo.MultiCameraIdRole": draw.choice([None, [0, 1, 0], [edge(), edge(), 7]])}
        lines += draw.choice(["", line(pipeline="restart"), line(device={"failing_inits": draw.randrange(3)}),
                              line(property={"persist.x": draw.choice([None, "\x1b"])})])
        lines += line(request=number, frame={"index": draw.choice([number, 3, 2**53 - 20])},
                      **{"in": dict(draw.sample(sorted(members.items(), key=str), 3))})
    write("script", lines)
    shape = draw.choice(["--size 64x48", "--size 161x121 --upright"])
    camsim.run(0, shape, "--annotated none --script script --jsonl recording")
    done = camsim.run(0, "--annotated none --replay recording")
    check("0 differences" in done.out, f"a replay differs: {done.out} {lines}")

write("clip.y4m", b"YUV4MPEG2 W64 H48 Cmono\n" + b"FRAME\n" + bytes(64 * 48))
camsim.run(0, "--annotated none --input clip.y4m --jsonl recording")
same("the input", "camsim: input from the recording: clip.y4m\n",
     camsim.run(0, "--annotated none --replay recording").err)

finish("hostile files do no harm")
