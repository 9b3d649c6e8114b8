#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs camsim as a person would: the same input gives the same bytes, other inputs other numbers, and bad
# input a line and an exit status.
# usage: camsim_test.sh OTHER_NODE PLAIN_MODEL CAMSIM...
#   (a node and a model library that are not ours; an emulator stands before the program where there is one)
set -euo pipefail
other_node=$1
plain=$(dirname "$2")
camsim=("${@:3}")
source "$(dirname "$0")/program_test.sh"
picture=annotated.png

run() { # exit status, arguments
  expect "$1" "${camsim[@]}" --annotated "$picture" "${@:2}"
}

# Bad input: the status, and one line that begins with the program's name.
run_bad() {
  run "$@"
  [ "$(wc -l <err)" -eq 1 ] && grep -q '^camsim: ' err || fail "no one-line error: $* ($(cat err))"
}

# What the node found; its own tags tell of options as well.
results() { grep -o '"faceNum".*"prop":[^]]*' "$1" || true; }
own_tags() { grep -o '"com.qti.node[^}]*}' "$1" | sort -u; }

# ---- The built-in scene --------------------------------------------------------------------------------
run 0
grep -q '60 requests sent, 10 handed over: 3 taken, 0 dropped, 7 skipped' out || fail "summary: $(tail -n 2 out)"
grep -q '; 3 analysed$' out || fail "analysed"
grep -q '^requests that were not handed over: 50 ' out || fail "how many requests are left out"
[ "$(grep -c '^ *[0-9]* *3 |' out)" -eq 10 ] || fail "the table has other rows than those handed over"
grep -q '^ *4 .*| not analysed yet$' out || fail "no reason for the defaults of request 4"
grep -q '^annotated picture: annotated.png$' out || fail "no path of the annotated picture"
[ "$(head -c 4 annotated.png | tail -c 3)" = PNG ] || fail "the annotated picture is no PNG"
cp out first
cp annotated.png first.png
run 0
cmp -s out first && cmp -s annotated.png first.png || fail "two runs differ"
[ ! -s err ] || fail "unasked lines on standard error"

# ---- What changes the numbers --------------------------------------------------------------------------
small() {
  run 0 --requests 10 --size 320x240 "$@"
}
small --jsonl base.jsonl
[ "$(grep -c '^{"request"' base.jsonl)" -eq 10 ] || fail "one JSON object per request"
for options in "--orientation 0" "--face 40,40,120,120" "--role 2" "--no-score" "--no-gender-age" \
  "--zynode-conf fffffb" "--operation-mask 0" "--sensor 160x120"; do
  # shellcheck disable=SC2086
  small --jsonl other.jsonl $options
  [ "$(results base.jsonl)" != "$(results other.jsonl)" ] || fail "$options changes nothing"
done
run 0 --requests 10 --size 318x238 --jsonl other.jsonl
[ "$(results base.jsonl)" != "$(results other.jsonl)" ] || fail "the size changes nothing"
# The quad sensor and the doubled rectangles cancel out in what the node finds.
for options in "--quad-cfa" "--quad-cfa --camera 7" "--sensor 5000x4000" "--stride 400" "--buffer 64x48"; do
  # shellcheck disable=SC2086
  small --jsonl other.jsonl $options
  [ "$(results base.jsonl)" = "$(results other.jsonl)" ] || fail "$options changes the results"
done
for options in "--buffer 64x48" "--node-caps 5"; do
  # shellcheck disable=SC2086
  small --jsonl other.jsonl $options
  [ "$(own_tags base.jsonl)" != "$(own_tags other.jsonl)" ] || fail "$options does not show in the node's own tags"
done
grep -q '^the node.s own tags: SupportedFeature 1, CurrentMode 5, ' out || fail "own tags: $(tail -n 2 out)"

# At 180 the crop of an upright picture begins with the same pixel as at 270.
small --jsonl other.jsonl --upright --orientation 180
[ "$(results base.jsonl)" = "$(results other.jsonl)" ] || fail "--upright does not turn the frames"
[ "$(grep -o '"faces":[^}]*' base.jsonl)" = "$(grep -o '"faces":[^}]*' other.jsonl)" ] || fail "--upright: the faces are those of the sensor"

# ---- Why a figure is zero or default -------------------------------------------------------------------
why() { # the reason of the last row, requests, options
  local reason=$1 requests=$2
  shift 2
  run 0 --requests "$requests" --all "$@"
  grep '^ *[0-9]* *[0-9] |' out | tail -n 1 | grep -q "| $reason\$" || fail "not '$reason': $* ($(tail -n 4 out | head -n 1))"
}
why "off" 10 --role 2
why "off" 10 --no-score --no-gender-age
why "not handed over" 9
why "estimates off" 10 --no-gender-age
why "score off" 10 --no-score
why "0 too small, 1 no face, 2 no face" 10 --face 10,10,120,300
why "1 no face, 2 no face" 10 --face 10,10,121,300
why "0 too small, 1 no face, 2 no face" 10 --face 10,10,300,120 --orientation 0

# ---- Logs, pacing, slow models -------------------------------------------------------------------------
run 0 --requests 4 --size 320x240 --log info --jsonl -
[ "$(wc -l <out)" -eq 5 ] || fail "--jsonl - leaves standard output to the objects"
grep -q '^I/CHIGENDERAGE: ProcessRequest():642 ChiGenderAgeNode frameNum 4, inputNum 1$' err || fail "info log"
grep -q '^E/ZYPreview: ProcessBuffer++,   mAnalyzingEnabled:1, mIsAnalyzing:0' err || fail "error log"
run 0 --requests 4 --size 320x240 --log error --failing-inits 2
[ "$(grep -c '^E/ZYPreview: AnalyzeCurrentFrame: FaceInit failed$' err)" -eq 2 ] || fail "failing set-ups of the model"
if grep -q '^I/' err; then fail "info lines at level error"; fi
run 0 --requests 60 --size 64x64 --realtime --fps 500 --model-delay 1000
grep -Eq '[12] taken, [12] dropped, 7 skipped' out || fail "frames drop in real time: $(tail -n 4 out)"
grep -Eq '^500.0 requests a second asked, [0-9.]+ reached; [0-9]+ late' out || fail "no rates: $(tail -n 4 out)"

# ---- Streams and pictures ------------------------------------------------------------------------------
y4m() { # frames
  printf 'YUV4MPEG2 W64 H48 F30:1 C420jpeg\n'
  for _ in $(seq "$1"); do
    printf 'FRAME\n'
    head -c 4608 /dev/zero | tr '\0' '\200'
  done
}
y4m 12 >clip.y4m
run 0 --input clip.y4m --face 8,8,30,30
grep -q '^12 requests sent, 2 handed over' out || fail "a clip of 12 frames: $(tail -n 2 out)"
cp out from_file
"${camsim[@]}" --annotated annotated.png --input - --face 8,8,30,30 <clip.y4m >out || fail "from a pipe"
cmp -s out from_file || fail "a pipe and a file differ"
"${camsim[@]}" --annotated none --input clip.y4m --face 8,8,30,30 --annotated-clip - >shown.y4m 2>err || fail "a clip of a clip: $(cat err)"
grep -q '^12 requests sent' err || fail "where a clip takes standard output the summary is lost"
head -n 1 shown.y4m | grep -q '^YUV4MPEG2 W64 H48 F30:1 ' || fail "header of the clip: $(head -n 1 shown.y4m)"
run 0 --input shown.y4m --annotated-clip again.y4m
grep -q '^12 requests sent' out || fail "frames of the clip: $(grep sent out)"
if cmp -s <(tail -c 4614 shown.y4m) <(tail -c 4614 clip.y4m); then fail "nothing is drawn into the clip"; fi
run 0 --input first.png --face 100,100,300,300 --requests 10
{ cat clip.y4m && for _ in 1 2 3 4 5; do tail -n +2 clip.y4m; done; } >long.y4m
run 0 --input long.y4m
grep -q '^72 requests sent' out || fail "a clip of 72 frames: $(grep sent out)"
y4m 3 >short.y4m
why "no face" 3 --input short.y4m
tail -c 9216 clip.y4m | tr 'F' '_' >raw.nv12
run 0 --input raw.nv12 --size 64x48
run_bad 3 --input missing.png
run_bad 3 --input .
head -c 2000 first.png >cut.png
run_bad 3 --input cut.png
head -c 5000 clip.y4m >cut.y4m
run_bad 3 --input cut.y4m
y4m 0 >empty.y4m
run_bad 3 --input empty.y4m
: >empty
run_bad 3 --input empty
run_bad 3 --input raw.nv12 --size 66x48
run_bad 2 --input clip.y4m --size 64x48
run_bad 2 --input clip.y4m --stride 60
run_bad 2 --input clip.y4m --face 64,0,8,8
run 0 --input clip.y4m --sensor 16384x8192 --face 0,0,200000,200000
run_bad 1 --jsonl /dev/full
run 1 --input clip.y4m --annotated-clip /dev/full
grep -q '^camsim: /dev/full: ' err || fail "a clip that cannot be written: $(cat err)"
run_bad 1 --annotated-clip - --jsonl -
run_bad 1 --node missing.so
# A bare name is a file of this folder, wherever the loader looks for libraries.
mkdir elsewhere && cp first.png elsewhere/bare.so
LD_LIBRARY_PATH=${LD_LIBRARY_PATH:-}:elsewhere run_bad 1 --node bare.so
grep -q 'cannot open' err || fail "a bare name leaves the folder: $(cat err)"

# Outputs are tried first: nothing is run, nothing is overwritten, nothing is left behind.
run_bad 1 --jsonl missing/out.jsonl
picture=missing/out.png
run_bad 1
picture=both.png
run_bad 1 --jsonl both.png
cp first.png kept.png
for input in kept.png - ./elsewhere/../kept.png; do
  picture=annotated.png
  run_bad 1 --input "$input" --jsonl kept.png <kept.png
  run_bad 1 --input "$input" --annotated-clip kept.png <kept.png
  picture=kept.png
  run_bad 1 --input "$input" <kept.png
done
cmp -s first.png kept.png || fail "the input was overwritten"
[ ! -e both.png ] || fail "a refused picture is left behind"
[ ! -s out ] || fail "a run before its outputs were tried"
picture=none
run 0 --requests 4 --size 64x64
[ ! -e none ] || fail "--annotated none writes a picture"
run 0 --requests 3 --size 64x64 --jsonl /dev/stdout
[ "$(grep -c '^{' out)" -eq 4 ] && [ "$(wc -l <out)" -eq 4 ] || fail "/dev/stdout is not -"
picture=annotated.png

# ---- Runs that end early -------------------------------------------------------------------------------
head -c 50000 clip.y4m >cut.y4m
rm annotated.png
run 3 --input cut.y4m --face 8,8,30,30
grep -q '^10 requests sent' out && [ -s annotated.png ] || fail "a clip cut in its middle loses summary or picture"
for signal in INT TERM; do
  rm -f annotated.png lines
  # A job in the background ignores SIGINT until it is told otherwise.
  env --default-signal=INT "${camsim[@]}" --annotated annotated.png --requests 1000000 --realtime --size 64x64 --jsonl lines >out 2>err &
  until [ -s lines ]; do sleep 0.05; done
  sleep 0.5
  # It must not write while tail looks.
  kill -STOP $!
  [ "$(tail -c 1 lines | od -An -tx1)" = " 0a" ] || fail "the lines do not leave one by one"
  kill -CONT $!
  kill -$signal $!
  status=0
  wait $! || status=$?
  [ "$status" -eq 130 ] || fail "exit status $status after SIG$signal"
  [ "$(tail -n 1 lines | tail -c 2)" = "}" ] && [ -s annotated.png ] || fail "SIG$signal loses half a line or the picture"
  [ "$(grep -c '^{"request"' lines)" = "$(sed -n 's/ requests sent,.*//p' out)" ] || fail "SIG$signal loses lines"
done

# A closed stream does not end up in another file.
"${camsim[@]}" --annotated annotated.png --requests 6 --size 64x64 --jsonl apart.jsonl >&- 2>err && fail "a closed standard output goes unnoticed"
[ "$(grep -vc '^{' apart.jsonl)" -eq 0 ] || fail "the table went into the JSON lines"

# ---- Another node, another device ----------------------------------------------------------------------
run 0 --node "$other_node" --requests 8
grep -q '^8 requests sent, 8 handed over: 8 taken, .* 8 analysed$' out || fail "another node: $(tail -n 2 out)"
run 0 --node "$other_node" --input clip.y4m
[ "$(grep -c '| ?$' out)" -eq 12 ] || fail "requests of which a node tells nothing: $(cat out)"
grep -q '^12 requests sent, 0 seen taken; the node does not tell of the others; 0 analysed$' out || fail "silence: $(tail -n 2 out)"
ZY_DEFECT=fills_create_only run_bad 1 --node "$other_node"
grep -q 'callbacks empty: pGetCapabilities, ' err || fail "missing callbacks: $(cat err)"
run 0 --requests 4 --device "$plain" --log info
grep -q "^camsim: libQVFD_AgeGender.so is $plain/libQVFD_AgeGender.so$" err || fail "no path of a library: $(cat err)"
grep -q 'zyGenderVer=plain' err || fail "the folder's library is not in use"
run_bad 2 --device "$plain" --model-delay 5
grep -q "$plain/libQVFD_AgeGender.so: has no zy_" err || fail "a missing knob: $(cat err)"
run_bad 1 --device .

# ---- Usage ---------------------------------------------------------------------------------------------
run 0 --help
grep -q 'no estimates of a person' out || fail "--help does not say what the figures are"
grep -q 'yuv4mpegpipe' out || fail "--help has no example"
run 0 --version
grep -Eq '^camsim [0-9]+\.[0-9]+\.[0-9]+$' out || fail "--version: $(cat out)"
for options in --nonsense "--face 1,2,3" "--face 1,2,0,4" "--size 0x5" "--requests 0" "--fps 0" "--fps nan" "--input=" "--size 8x8" "--annotated -" "--annotated picture.jpg" "--faces some" "--faces auto:2" "--faces auto --face 1,2,3,4" "--models other" "--size 64x128 --stride 64 --upright --orientation 0"; do
  # shellcheck disable=SC2086
  run_bad 2 $options
done
run_bad 2 --size 16385x16
grep -q '1 to 16384 a side' err || fail "the limits of a size are not said"
run_bad 2 --log loud
grep -q 'error, info, none' err || fail "the choices of --log are not said"

finish "camsim does what it says"
