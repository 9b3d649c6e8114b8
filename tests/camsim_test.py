#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Runs camsim: equal input gives equal bytes, other input other figures, and bad input a one-line error and an
# exit status.
# usage: camsim_test.py OTHER_NODE PLAIN_MODEL CAMSIM...
#   (a node and a model library that are not ours; an emulator, if any, precedes the program)
import json
import os
import pathlib
import re
import signal
import subprocess
import time

from programs import Program, arguments, check, finish, read, same, words, write

other_node, plain = pathlib.Path(arguments[0]), pathlib.Path(arguments[1]).parent
camsim = Program(*arguments[2:])


def run(status, *options, picture="annotated.png", **more):
    return camsim.run(status, "--annotated", picture, *options, **more)


def bad(status, *options, picture="annotated.png", **more):
    return camsim.bad(status, "--annotated", picture, *options, **more)


def has(pattern, text):
    """Returns whether the pattern is found; ^ and $ are the ends of a line."""
    return re.search(pattern, text, re.M) is not None


def expect(pattern, text):
    check(has(pattern, text), f"no {pattern!r} in: {text[-1500:]}")


def records(path):
    return [json.loads(line) for line in read(path).splitlines()[1:]]


def results(path):
    """Returns the published figures."""
    return [[record.get("out", {}).get(name) for name in ("faceNum", "gender", "age", "score", "prop")]
            for record in records(path)]


def own_tags(path):
    return [{name: value for name, value in record["out"].items() if "com.qti.node" in name}
            for record in records(path)]


# ---- The built-in scene --------------------------------------------------------------------------------
first = run(0)
expect("^60 requests sent, 10 handed over: 3 taken, 0 dropped, 7 skipped.*; 3 analysed$", first.out)
expect("^requests that were not handed over: 50 ", first.out)
same("rows of the table", 10, len(re.findall(r"^ *\d+ *3 \|", first.out, re.M)))
expect(r"^ *4 3 \|.*\n +\| not analysed yet$", first.out)
same("longest line of the table", 80, max(map(len, first.out[:first.out.index("requests that")].splitlines())))
expect("^annotated picture: annotated.png$", first.out)
scene = read("annotated.png")
check(scene.startswith(b"\x89PNG"), "the annotated picture is no PNG")
write("first.png", scene)
check(run(0, "--models stand-in").out == first.out and read("annotated.png") == scene, "two runs differ")
same("unasked lines on standard error", "", first.err)


# ---- Options that change the figures -------------------------------------------------------------------
def small(*options):
    """Returns the path of the JSON lines of ten small requests."""
    run(0, "--requests 10 --size 320x240 --jsonl other.jsonl", *options)
    return "other.jsonl"


os.rename(small(), "base.jsonl")
base = results("base.jsonl")
same("JSON objects of ten requests", 10, len(base))
for options in ("--orientation 0", "--face 40,40,120,120", "--role 2", "--no-score", "--no-gender-age",
                "--zynode-conf fffffb", "--operation-mask 0", "--sensor 160x120"):
    check(results(small(options)) != base, f"{options} changes nothing")
run(0, "--requests 10 --size 318x238 --jsonl other.jsonl")
check(results("other.jsonl") != base, "the size changes nothing")
# The quad sensor and the doubled rectangles cancel out in the node's faces.
for options in "--quad-cfa", "--quad-cfa --camera 7", "--sensor 5000x4000", "--stride 400", "--buffer 64x48":
    same(f"results with {options}", base, results(small(options)))
for options in "--buffer 64x48", "--node-caps 5":
    check(own_tags(small(options)) != own_tags("base.jsonl"), f"{options} does not show in the node's own tags")
expect("^the node.s own tags: SupportedFeature 1, CurrentMode 5, ",
       run(0, "--requests 10 --size 320x240 --node-caps 5").out)

# At 180 the crop of an upright picture begins with the same pixel as at 270.
same("results of upright frames", base, results(small("--upright --orientation 180")))
same("faces of upright frames", [r["in"]["faces"] for r in records("base.jsonl")],
     [r["in"]["faces"] for r in records("other.jsonl")])


# ---- Reasons for zeros and defaults --------------------------------------------------------------------
def why(reason, requests, *options):
    """Expects the reason in the last row."""
    reasons = re.findall(r"\| ([^|.\n]*)$", run(0, f"--requests {requests} --all", *options).out, re.M)
    same(f"the reason with {options}", reason, reasons[-1])


why("off", 10, "--role 2")
why("off", 10, "--no-score --no-gender-age")
why("not handed over", 9)
why("estimates off", 10, "--no-gender-age")
why("score off", 10, "--no-score")
why("too small", 10, "--face 10,10,120,300")
why("0 too small", 10, "--face 10,10,120,300 --face 10,10,121,300")
why("too small", 10, "--face 10,10,300,120 --orientation 0")

# ---- Logs, pacing, slow models -------------------------------------------------------------------------
done = run(0, "--requests 4 --size 320x240 --log info --jsonl -")
same("lines of --jsonl -", 5, done.out.count("\n"))
expect(r"^I/CHIGENDERAGE: ProcessRequest\(\):642 ChiGenderAgeNode frameNum 4, inputNum 1$", done.err)
expect(r"^E/ZYPreview: ProcessBuffer\+\+,   mAnalyzingEnabled:1, mIsAnalyzing:0", done.err)
done = run(0, "--requests 4 --size 320x240 --log error --failing-inits 2")
same("failing set-ups of the model", 2, done.err.count("E/ZYPreview: AnalyzeCurrentFrame: FaceInit failed\n"))
check(not has("^I/", done.err), "info lines at level error")
done = run(0, "--requests 60 --size 64x64 --realtime --fps 500 --model-delay 1000")
expect("[12] taken, [12] dropped, 7 skipped", done.out)
expect(r"^500.0 requests a second asked, [0-9.]+ reached; [0-9]+ late", done.out)

# ---- Streams and pictures ------------------------------------------------------------------------------
head, frame = b"YUV4MPEG2 W64 H48 F30:1 C420jpeg\n", b"FRAME\n" + b"\x80" * 4608
clip = head + 12 * frame
write("clip.y4m", clip)
done = run(0, "--input clip.y4m --face 8,8,30,30")
expect("^12 requests sent, 2 handed over", done.out)
same("the table of a pipe", done.out, run(0, "--input - --face 8,8,30,30", stdin=clip).out)
done = run(0, "--input clip.y4m --face 8,8,30,30 --annotated-clip -", picture="none")
expect("^12 requests sent", done.err)
check(done.out.startswith("YUV4MPEG2 W64 H48 F30:1 "), f"header of the clip: {done.out[:40]}")
check(done.stdout[-4614:] != frame, "nothing is drawn into the clip")
write("shown.y4m", done.stdout)
expect("^12 requests sent", run(0, "--input shown.y4m --annotated-clip again.y4m").out)
run(0, "--input first.png --face 100,100,300,300 --requests 10")
write("long.y4m", head + 72 * frame)
expect("^72 requests sent", run(0, "--input long.y4m").out)
write("short.y4m", head + 3 * frame)
why("no face", 3, "--input short.y4m")
write("raw.nv12", b"\x80" * 9216)
run(0, "--input raw.nv12 --size 64x48")
for name, content in (("cut.png", scene[:2000]), ("cut.y4m", clip[:5000]), ("empty.y4m", head), ("empty", b"")):
    write(name, content)
    bad(3, "--input", name)
# A crop sends the same pixels as a file of that part, and a replay crops as well.
pixels = bytes(i * 7 % 251 for i in range(96 * 64 * 3 // 2))
part = b"".join(pixels[y * 96 + 16:y * 96 + 64] for y in (*range(8, 40), *range(64 + 4, 64 + 20)))
write("whole.nv12", pixels)
write("part.nv12", part)
for options in "--input whole.nv12 --size 96x64 --crop 16,8,48,32", "--replay other.jsonl", "--input part.nv12 --size 48x32":
    run(0, options, "--requests 4 --jsonl crop.jsonl", *(["--face 2,2,20,20"] if "replay" not in options else []))
    os.replace("crop.jsonl", "other.jsonl")
    sent = [(record["frame"]["digest"], record["in"], record["out"]["faceNum"]) for record in records("other.jsonl")]
    check(options.startswith("--input whole") or sent == cropped, f"another crop: {options}")
    cropped = sent
expect("^no faces: give --face X,Y,W,H or --faces auto$", run(0, "--input part.nv12 --size 48x32").out)
expect("^largest face 4 pixels wide, analysed above 5: try --crop auto$",
       run(0, "--input part.nv12 --size 48x32 --face 2,2,4,4").out)
write("film.mp4", b"\0\0\0\x20ftypisom" + bytes(99))
bad(3, "--input film.mp4", says="ffmpeg -i")
for name in "missing.png", ".":
    bad(3, "--input", name)
bad(3, "--input raw.nv12 --size 66x48")
bad(2, "--input clip.y4m --size 64x48")
bad(2, "--input clip.y4m --stride 60")
bad(2, "--input clip.y4m --face 64,0,8,8")
run(0, "--input clip.y4m --sensor 16384x8192 --face 0,0,200000,200000")
bad(1, "--jsonl /dev/full")
expect("^camsim: /dev/full: ", run(1, "--input clip.y4m --annotated-clip /dev/full").err)
bad(1, "--annotated-clip - --jsonl -")
bad(1, "--node missing.so")
# A bare name means a file of this folder, whatever folders the loader searches.
os.mkdir("elsewhere")
write("elsewhere/bare.so", scene)
bad(1, "--node bare.so", says="cannot open",
    LD_LIBRARY_PATH=os.environ.get("LD_LIBRARY_PATH", "") + ":elsewhere")

# A bad output ends camsim before the run: nothing is overwritten and no file remains.
bad(1, "--jsonl missing/out.jsonl")
bad(1, picture="missing/out.png")
bad(1, "--jsonl both.png", picture="both.png")
check(not os.path.exists("both.png"), "a refused picture is left behind")
os.symlink("nowhere", "link.png")
bad(1, "--jsonl link.png", picture="link.png")
check(os.path.islink("link.png"), "a refused output deletes a link")
write("kept.png", scene)
for source in "kept.png", "-", "./elsewhere/../kept.png":
    for options, picture in (("--jsonl kept.png", "annotated.png"), ("", "kept.png"),
                             ("--annotated-clip kept.png", "annotated.png")):
        done = bad(1, "--input", source, options, picture=picture, stdin=pathlib.Path("kept.png"))
        same("a table before the outputs were tried", "", done.out)
same("the input after runs that would overwrite it", scene, read("kept.png"))
run(0, "--requests 4 --size 64x64", picture="none")
check(not os.path.exists("none"), "--annotated none writes a picture")
lines = run(0, "--requests 3 --size 64x64 --jsonl /dev/stdout", picture="none").out.splitlines()
check(len(lines) == 4 and all(line.startswith("{") for line in lines), "/dev/stdout is not -")

# ---- Runs that end early -------------------------------------------------------------------------------
write("cut.y4m", clip[:50000])
os.remove("annotated.png")
expect("^10 requests sent", run(3, "--input cut.y4m --face 8,8,30,30").out)
check(os.path.exists("annotated.png"), "a clip cut in its middle loses the picture")
for number in signal.SIGINT, signal.SIGTERM:
    for name in "annotated.png", "lines":
        pathlib.Path(name).unlink(missing_ok=True)
    options = "--annotated annotated.png --requests 1000000 --realtime --size 64x64 --jsonl lines"
    process = subprocess.Popen([*camsim.command, *options.split()], stdout=subprocess.PIPE, text=True)
    while not os.path.exists("lines") or not os.path.getsize("lines"):
        time.sleep(0.05)
    time.sleep(0.5)
    process.send_signal(signal.SIGSTOP)  # it must not write while the file is read
    check(read("lines").endswith(b"\n"), "the lines do not leave one by one")
    process.send_signal(signal.SIGCONT)
    process.send_signal(number)
    out = process.communicate()[0]
    same(f"exit status after {number.name}", 130, process.returncode)
    check(read("lines").endswith(b"}\n") and os.path.exists("annotated.png"),
          f"{number.name} loses half a line or the picture")
    expect(f"^{len(records('lines'))} requests sent", out)

# Output for a closed stream does not go to another file.
closed = "--annotated annotated.png --requests 6 --size 64x64 --jsonl apart.jsonl".split()
check(subprocess.run([*camsim.command, *closed], preexec_fn=lambda: os.close(1), stderr=subprocess.DEVNULL).returncode != 0,
      "a closed standard output goes unnoticed")
check(all(line.startswith(b"{") for line in read("apart.jsonl").splitlines()), "the table went into the JSON lines")

# ---- Another node, another device ----------------------------------------------------------------------
expect("^8 requests sent, 8 handed over: 8 taken, .* 8 analysed$",
       run(0, "--requests 8 --node", other_node).out)
done = run(0, "--input clip.y4m --node", other_node)
same("requests without an outcome", 12, len(re.findall(r"\| \?$", done.out, re.M)))
expect("^12 requests sent, 0 seen taken; the node does not log the others; 0 analysed$", done.out)
bad(1, "--node", other_node, says="callbacks empty: pGetCapabilities, ", ZY_DEFECT="fills_create_only")
done = run(0, "--requests 4 --log info --device", plain)
expect(f"^camsim: libQVFD_AgeGender.so is {re.escape(str(plain))}/libQVFD_AgeGender.so$", done.err)
expect("zyGenderVer=plain", done.err)
bad(2, "--model-delay 5 --device", plain, says=f"{plain}/libQVFD_AgeGender.so: has no zy_")
bad(1, "--device .")

# ---- A node that hangs, crashes or ends the process ----------------------------------------------------
def broken(statuses, lines, defect, says, *options, term=False):
    """Expects a line about the call and the number of requests before it; an older picture stays unchanged."""
    write("kept.png", scene)
    pathlib.Path("lines").unlink(missing_ok=True)
    process = subprocess.Popen(
        [*camsim.command, *words([f"--node {other_node} --requests 20 --annotated kept.png --jsonl lines", *options])],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env={**os.environ, "ZY_DEFECT": defect})
    if term:
        while not os.path.exists("lines") or read("lines").count(b"\n") < 1 + lines:
            time.sleep(0.05)
        begin = time.monotonic()
        process.terminate()
    out, err = process.communicate()
    check(process.returncode in statuses, f"{defect}: exit status {process.returncode}")
    check(not term or time.monotonic() - begin < 3, f"{defect}: SIGTERM takes long")
    check(has(f"^camsim: {says}$", err) or "Sanitizer" in err, f"{defect}: {err}")
    same(f"the lines of {defect}", lines, sum("request" in record for record in records("lines")))
    rows = re.findall(r"^ *\d+ \d+ \|", out, re.M)
    check(len(rows) >= lines and read("kept.png") == scene, f"{defect}: lost rows or a picture: {out}")
    run(0, "diff lines lines")


rests = "the worker's pass after request 2 has not ended for 1 s"
broken([1], 6, "hangs_in_request", "process-request of request 7 has not returned for 1 s", "--timeout 1 --size 64x64")
broken([1], 1, "never_rests", rests, "--timeout 1")
broken([1], 1, "never_rests", rests.replace("1 s", "2 s"), "--timeout 1 --model-delay 1000")
broken([130], 6, "hangs_in_request", "interrupted in process-request of request 7", "--timeout 0 --size 64x64",
       term=True)
broken([1], 20, "exits", "the node ended the process in destroy after request 20", "--size 64x64")
write("restart", '{"request":2}\n{"pipeline":"restart"}\n{"request":4}\n')
for options, says, sent in ("--script restart", "line 2: destroy: ", 3), ("", "destroy: ", 4):
    done = bad(1, "--requests 4 --size 64x64 --node", other_node, options, says=says, ZY_DEFECT="publishes_late")
    expect(f"^{sent} requests sent(.*\n)*annotated picture", done.out)
# A sanitizer catches a crash by itself.
broken([-signal.SIGSEGV, 1, 66], 6, "crashes_in_request", "Segmentation fault in process-request of request 7",
       "--size 64x64")

# ---- Usage ---------------------------------------------------------------------------------------------
usage = run(0, "--help").out
expect("no estimates of a person", usage)
expect("yuv4mpegpipe", usage)
expect(r"^camsim [0-9]+\.[0-9]+\.[0-9]+$", run(0, "--version").out)
for options in ("--nonsense", "--face 1,2,3", "--face 1,2,0,4", "--size 0x5", "--requests 0", "--fps 0", "--fps nan",
                "--input=", "--size 8x8", "--annotated -", "--annotated picture.jpg", "--faces some", "--faces auto:2",
                "--faces auto --face 1,2,3,4", "--crop auto", "--crop 1,0,16,16", "--crop 0,0,14,16",
                "--size 64x64 --crop 50,0,16,16", "--models other", "--size 64x128 --stride 64 --upright --orientation 0"):
    bad(2, options)
bad(2, "--size 16385x16", says="1 to 16384 a side")
bad(2, "--log loud", says="error, info, none")

finish("camsim works as documented")
