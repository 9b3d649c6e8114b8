#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Replays recordings of this machine's camsim on the Arm camsim with the Arm library, without a difference. The
# annotated picture has the same bytes too: both machines compress it with the same version of the same library.
# The golden recordings of recording_test.py replay there as well.
# usage: arm64_same_bytes_test.py HOST_CAMSIM ARM_CAMSIM...   (an emulator precedes the latter)
from programs import Program, arguments, check, finish, read, write

host, arm = Program(arguments[0]), Program(*arguments[1:])


def compare(options):
    host.run(0, "--jsonl host.jsonl --annotated host.png", options)
    arm.run(0, "--replay host.jsonl --jsonl arm.jsonl --annotated arm.png")
    here, there = (read(f"{machine}.jsonl").splitlines()[1:] for machine in ("host", "arm"))
    check(here and here == there, f"other lines: {options}")
    check(read("host.png") == read("arm.png"), f"another picture: {options}")


# A program's bytes as pixels: hard edges, identical on both machines.
noise = read(host.command[0])
write("frame.nv12", noise[:176 * 144 * 3 // 2])
write("photo.ppm", b"P6 178 131 255\n" + noise[:178 * 131 * 3])
Program("cjpeg").run(0, "-quality 80 -outfile photo.jpg photo.ppm")
for options in ("", "--requests 16 --size 321x243 --face 11,7,201,199",
                "--requests 16 --size 1366x766 --sensor 4000x3000 --quad-cfa --orientation 90",
                "--input frame.nv12 --size 176x144 --face 8,8,120,120 --orientation 0",
                "--requests 10 --input photo.jpg --face 20,10,101,99 --orientation 180"):
    compare(options)
write("scene.png", read("host.png"))
compare("--requests 10 --input scene.png --face 33,11,101,99")

finish("both machines print the same bytes")
