#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Records, replays, compares and draws runs. Each golden recording equals a new run of its script, and replays
# without a difference; ./dev goldens renews them.
# usage: recording_test.py SOURCE_DIRECTORY PLAIN_MODEL CAMSIM...
#   (a model library without controls; an emulator, if any, precedes the program)
import collections
import json
import os
import pathlib
import re
import subprocess

from programs import Program, arguments, check, finish, read, same, write

golden_folder = pathlib.Path(arguments[0], "tests", "golden").resolve()
plain = pathlib.Path(arguments[1]).parent.resolve()
camsim = Program(*arguments[2:])


def run(status, *options):
    return camsim.run(status, "--annotated none", *options)


def bad(status, message, *options):
    """Expects the status and the message, and that no file is overwritten."""
    write("kept", "kept\n")
    same("message", f"camsim: {message}\n", run(status, *options, "--jsonl kept").err)
    same(f"a file after {options}", b"kept\n", read("kept"))


def bad_line(message, line, *options):
    write("bad", line)
    bad(3, f"bad: {message}", *(options or ["--script bad"]))


def first_line(done):
    return done.out.split("\n", 1)[0]


def requests(path):
    """Returns the lines of a recording without its header, which differs between builds."""
    return read(path).split(b"\n", 1)[1]


# ---- Golden recordings ---------------------------------------------------------------------------------
scripts = sorted(golden_folder.glob("*.script.jsonl"))
check(scripts, "there are no golden recordings")
for script in scripts:
    golden = script.with_name(script.name.replace(".script", ""))
    run(0, "--script", script, "--jsonl new.jsonl")
    check(requests("new.jsonl") == requests(golden), f"{golden} is not what its script gives")
    same(f"replay of {golden}", "0 differences", first_line(run(0, "--replay", golden, "--jsonl again.jsonl")))
    check(requests("again.jsonl") == requests(golden), f"a replay of {golden} records something else")

# A replay turns frames for the sensor again; faces stay in picture coordinates.
run(0, "--upright --orientation 90 --size 319x240 --requests 12 --jsonl run.jsonl")
same("replay of turned frames", "0 differences", first_line(run(0, "--replay run.jsonl --jsonl again.jsonl")))
same("recording of the replay", requests("run.jsonl"), requests("again.jsonl"))
check(run(4, "--replay run.jsonl --no-upright").out.startswith("12 requests with other pixels"),
      "the recorded pixels are not those sent")

# ---- Differences ---------------------------------------------------------------------------------------
golden = golden_folder / "switches.jsonl"
lines = golden.read_text().splitlines(keepends=True)
age = re.search(r'"age":\[([0-9.]*)', lines[10])[1]
other = [*lines[:10], re.sub(r'"age":\[[0-9.]*', '"age":[1.5', lines[10]),
         re.sub(r'"outcome":"[a-z ]*"', '"outcome":"dropped"', lines[11]), *lines[12:]]
write("other.jsonl", "".join(other))
same("differences of a replay", [f"request 10: slot 0 age {age}, recorded 1.5",
                                 'request 11: outcome "not offered", recorded "dropped"', "2 differences"],
     run(4, "--replay other.jsonl").out.splitlines()[:3])
same("differences of two recordings", "1 difference\n",
     camsim.run(4, "diff", golden, "other.jsonl --tolerance 100 --differences 0").out)
camsim.run(0, "diff", golden, golden)
write("short.jsonl", "".join(lines[:20]))
check('request 20: missing in short.jsonl\n' in camsim.run(4, "diff short.jsonl", golden).out,
      "a request that one run lacks")
same("a replay of the first requests", "0 differences", first_line(run(0, "--requests 81 --replay", golden)))
write("clip.y4m", b"YUV4MPEG2 W64 H48\n" + 12 * (b"FRAME\n" + b"\x80" * 4608))
run(0, "--input clip.y4m --face 8,8,40,40 --jsonl run.jsonl --passes")
check(requests("run.jsonl").count(b'\n{"pass":') == 1, "the pass is missing")
same("a replay of a recording with passes", "0 differences", first_line(run(0, "--replay run.jsonl")))
write("short.y4m", read("clip.y4m")[:-4614])
check('request 12: missing in the run\n' in run(4, "--input short.y4m --replay run.jsonl").out,
      "an input that ends one request early")
done = run(4, "--size 322x240 --replay", golden).out.splitlines()
same("other pixels", "82 requests with other pixels than in the recording, the first is 1", done[0])
check(any(line.endswith("differences, with other inputs") for line in done), f"the last line: {done[-3:]}")

# ---- Bad input -----------------------------------------------------------------------------------------
line = '{"request":1}\n{"request":2,"in":{"brodax.quadcfa.enabled":300}}\n'
for options in "--script bad", "--replay bad":
    bad_line("line 2: in.brodax.quadcfa.enabled: must be 0..255", line, options)
bad_line("line 1: is not the header of a recording", '{"request":1}\n', "--replay bad")
bad_line("line 2: is cut short", '{"request":1}\n{"reque')
bad_line("line 1: device.colour: is unknown", '{"device":{"colour":1}}\n{"request":1}\n')
bad_line("line 1: is longer than 1048576 bytes", bytes(20000000))
bad_line(f"line 2: device.model_delay_ms: {plain}/libQVFD_AgeGender.so: has no zy_set_age_gender_delay",
         '{"request":1}\n{"device":{"model_delay_ms":1}}\n{"request":2}\n', "--script bad --device", plain)
bad(3, "missing: cannot open: No such file or directory", "--replay missing")
camsim.run(2, "--script bad --replay bad")

# ---- Changes by the command line -----------------------------------------------------------------------
def changed(file, status, *options):
    """What a replay of a file, or its script, says first, and the settings and faces of its last request."""
    done = run(status, file, *options, "--jsonl run.jsonl")
    inputs = json.loads(read("run.jsonl").splitlines()[-1])["in"]
    return [first_line(done), inputs["brodax.device.orientation"], inputs["android.statistics.faceRectangles"], inputs["faces"]]


write("script", '{"request":1,"in":{"faces":[[10,10,300,300]]}}\n{"request":2,"in":{"brodax.device.orientation":0}}\n')
run(0, "--script script --jsonl old.jsonl")
same("a replay at 90 with another sensor", ["orientation 90 instead of the recorded values", 90, [100, 100, 3090, 3090], [[10, 10, 300, 300]]],
     changed("--replay old.jsonl", 0, "--orientation 90 --sensor 6400x3600"))
same("a script at 90", ["orientation 90 until a line of the script changes it", 0, [64, 84, 1932, 2576], [[10, 10, 300, 300]]],
     changed("--script script", 0, "--orientation 90"))
write("script", '{"device":{"model_delay_ms":1}}\n{"property":{"persist.vendor.camera.zynode_conf":"ff"}}\n{"request":1}\n')
run(0, "--script script --jsonl old.jsonl")
run(0, "--replay old.jsonl --zynode-conf f --jsonl run.jsonl")
check(b'"ff"' not in read("run.jsonl") and b"model_delay_ms" in read("run.jsonl"), "a recorded property holds")
for options in "--orientation 45", "--zynode-conf xyz", "--tolerance 1":
    camsim.bad(2, options)
run(1, "--script", golden, "--jsonl", golden_folder / "../golden/switches.jsonl")
run(1, "--jsonl same --trace ./same")


# ---- The trace -----------------------------------------------------------------------------------------
def events(**members):
    """Returns the events of the trace whose members match the patterns."""
    return [event for event in json.loads(read("trace.json"))["traceEvents"]
            if all(re.match(pattern, event.get(name, "")) for name, pattern in members.items())]


run(0, "--requests 60 --size 320x240 --trace trace.json --report run.html --jsonl run.jsonl")
for number, members in ((60, dict(ph="X", name="request ")), (3, dict(ph="X", name="pass over ")),
                        (7, dict(ph="i", name="skipped$")), (60, dict(ph="C", name="faces$")),
                        (9, dict(name="age and gender$"))):
    same(f"events of the trace with {members}", number, len(events(**members)))
check(all(slice["dur"] >= 1 for slice in events(ph="X")), "slices without length")
starts, ends = (collections.Counter(event["id"] for event in events(ph=ph)) for ph in "sf")
check(len(starts) == 6 and starts == ends, f"arrows of the trace: {starts} {ends}")
done = run(0, "--requests 60 --size 64x64 --realtime --fps 500 --model-delay 300 --trace trace.json")
counts = [len(events(ph="i", name="dropped$")), len(events(ph="X", name="pass over "))]
same("dropped frames and passes of the trace", re.search(r"taken, (\d+) dropped.*; (\d+) analysed", done.out).groups(),
     tuple(map(str, counts)))
same("the rate in the trace", 500, json.loads(read("trace.json"))["metadata"]["fps"])
# The pass of request 4 ends between requests 27 and 28, unless the machine is busy.
run(0, "--size 64x48 --face 2,2,40,40 --realtime --fps 50 --model-delay 470 --requests 28 --jsonl run.jsonl")
last = json.loads(read("run.jsonl").splitlines()[-1])
check(last["outcome"] == "dropped" or last["figures_age"] == 24, f"a pass between two requests: {last}")
# However long the set-up takes, no figures are published before their pass ends.
# The rate leaves a second for the pass, in which the thread sanitizer may write a report.
os.mkfifo("slow.y4m")
writer = subprocess.Popen("sleep 0.3; cat clip.y4m >slow.y4m", shell=True)
run(0, "--input slow.y4m --face 8,8,40,40 --realtime --fps 6 --trace trace.json")
writer.wait()
arrows = {event["id"]: event["ts"] for event in events(ph="s")}
check(len(arrows) == 2 and all(event["ts"] >= arrows[event["id"]] for event in events(ph="f")),
      f"arrows that go back in time: {arrows}")

# ---- The page, which page_test opens in a browser ------------------------------------------------------
same("pictures of the page", 6, read("run.html").count(b"data:image/jpeg"))

finish("runs are recorded, replayed, compared and drawn")
