#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Runs camkit on generated pictures.
# usage: camkit_test.py CAMKIT...   (an emulator, if any, precedes the program)
import functools
import os
import pathlib
import re
import subprocess

from programs import Program, arguments, check, finish, read, same, size_of, write, write_png

camkit = Program(*arguments)


def run_to(size, command):
    """Expects success, one line with the time of the call, and a PNG of that size at the last path."""
    out = pathlib.Path(command.split()[-1])
    out.unlink(missing_ok=True)
    done = camkit.run(0, command)
    check(re.fullmatch(rf"{command.split()[0]}: \d+x\d+ in \d+\.\d+ ms\n", done.err) and not done.out,
          f"{command} says: {done.out}{done.err}")
    same(f"size after {command}", size, size_of(out))


@functools.cache
def encoded(picture):
    """Returns a picture, rotated, in the encoding of camkit, where equal pixels are equal bytes."""
    write("given.png", picture)
    camkit.run(0, "rotate --degrees 180 given.png encoded.png")
    return read("encoded.png")


def is_same(first, second):
    """Compares the pixels of two files."""
    return encoded(read(first)) == encoded(read(second))


def makes(expected, size, command, differs=()):
    """Expects the pixels of `expected`, and other ones than in `differs`."""
    run_to(size, command + " made.png")
    check(is_same("made.png", expected), f"{command} does not make {expected}")
    for other in differs:
        check(not is_same("made.png", other), f"{command} makes {other}")


edges = {"edge": (60, 160), "white": (255, 255), "black": (0, 0), "right": (100, 200), "left": (255, 0), "flat": (100, 100)}
for name, (left, right) in edges.items():
    write_png(f"{name}.png", 48, 32, lambda x, y: left if x < 24 else right)
write_png("wide.png", 160, 20, lambda x, y: x)
write_png("white_half.png", 24, 16, lambda x, y: 255)
write_png("black_half.png", 24, 16, lambda x, y: 0)
write_png("colours.png", 40, 30, lambda x, y: (60 + 3 * x, 200 - 2 * y, 100 + x + y))
write_png("gray.png", 40, 30,
          lambda x, y: .299 * (60 + 3 * x) + .587 * (200 - 2 * y) + .114 * (100 + x + y))
write_png("face.png", 48, 32, lambda x, y: tuple(value + y % 2 * 20 for value in (
    (200, 150, 120) if x < 24 else (60, 110, 160))))

# ---- Luma ----------------------------------------------------------------------------------------------
for operation in "sharpen", "sharpen-skin", "smooth":
    makes("flat.png", "48x32", f"{operation} flat.png")
    run_to("48x32", f"{operation} edge.png {operation}.png")
    check(not is_same("edge.png", f"{operation}.png"), f"{operation} leaves an edge as it was")
    run_to("328x29", f"{operation} --compare wide.png both.png")
run_to("328x29", "half --compare wide.png both.png")  # enlarged to the original size
makes("sharpen.png", "48x32", "filter --weights=-3,76,-12 edge.png")
makes("edge.png", "48x32", "filter --weights=0,16,0 edge.png")
for operation in "sharpen", "smooth":
    run_to("40x30", f"{operation} colours.png colour.png")
    check(not is_same("colour.png", "gray.png"), f"{operation} loses the colours")

for mask in "white.png", "white_half.png", "right.png --threshold 90":
    makes("sharpen-skin.png", "48x32", f"sharpen-skin --mask {mask} edge.png")
for mask in "black.png", "black_half.png":
    makes("edge.png", "48x32", f"sharpen-skin --mask {mask} edge.png")
run_to("48x32", "sharpen-skin --mask right.png edge.png marked.png")
check(not is_same("marked.png", "edge.png"), "half a mask does nothing")
check(not is_same("marked.png", "sharpen-skin.png"), "half a mask does all")
run_to("48x32", "sharpen-skin --mask left.png face.png masked.png")
makes("masked.png", "48x32", "sharpen-skin --skin face.png", differs=["face.png"])
run_to("24x16", "smooth --skin face.png map.png")

# ---- Sizes ---------------------------------------------------------------------------------------------
# The kit drops columns beyond the last block, and no row drifts.
write_png("stripes.png", 45, 37, lambda x, y: 80 if x < 24 else 180)
write_png("flag.png", 64, 32, lambda x, y: (180, 60, 40) if (x < 32) == (y < 16) else (40, 60, 200))
for operation, factor in ("half", 2), ("quarter", 4), ("eighth", 8):
    write_png("expected.png", 45 // factor, 37 // factor, lambda x, y: 80 if x < 24 // factor else 180)
    makes("expected.png", f"{45 // factor}x{37 // factor}", f"{operation} stripes.png")
    write_png("expected.png", 64 // factor, 32 // factor,
              lambda x, y: (180, 60, 40) if (x < 32 // factor) == (y < 16 // factor) else (40, 60, 200))
    makes("expected.png", f"{64 // factor}x{32 // factor}", f"{operation} flag.png")


# ---- Rotation ------------------------------------------------------------------------------------------
def write_corner(name, width, height, is_bright):
    """Makes one corner brighter; the colour is uniform, including an odd size's last column and row."""
    write_png(name, width, height, lambda x, y: (180, 180, 250) if is_bright(x, y) else (20, 20, 90))


write_corner("corner.png", 7, 5, lambda x, y: x < 3 and y < 2)
write_corner("corner_90.png", 5, 7, lambda x, y: x > 2 and y < 3)
write_corner("corner_180.png", 7, 5, lambda x, y: x > 3 and y > 2)
write_corner("corner_270.png", 5, 7, lambda x, y: x < 2 and y > 3)
for degrees in 90, 180, 270:
    makes(f"corner_{degrees}.png", size_of(f"corner_{degrees}.png"), f"rotate --degrees {degrees} corner.png")
run_to("30x40", "rotate --degrees 90 colours.png turned.png")
first = read("turned.png")
for size in "40x30", "30x40", "40x30", "30x40":
    os.rename("turned.png", "before.png")
    run_to(size, "rotate --degrees 90 before.png turned.png")
check(read("turned.png") == first, "four quarter turns change the colours")

# Messages for a closed stream do not go to the picture.
subprocess.run([*camkit.command, "sharpen", "edge.png", "closed.png"], preexec_fn=lambda: os.close(2))
check(read("closed.png") == read("sharpen.png"), "the time went into the picture")
lost = subprocess.run([*camkit.command, "sharpen", "edge.png", "/dev/stdout"], preexec_fn=lambda: os.close(1))
same("exit status with a closed output", 1, lost.returncode)

# ---- Bad input -----------------------------------------------------------------------------------------
write_png("tiny.png", 2, 2, lambda x, y: 90)
for operation in "sharpen", "sharpen-skin", "smooth", "quarter", "eighth":
    camkit.bad(1, operation, "tiny.png out.png", says="2x2 is too small")
write("kept.png", read("edge.png"))
for command in ("sharpen-skin --mask colours.png edge.png out.png", "sharpen edge.png missing/out.png",
                "sharpen edge.png /dev/full", "sharpen kept.png ./kept.png", "sharpen - kept.png",
                "sharpen-skin --mask kept.png face.png kept.png"):
    camkit.bad(1, command, stdin=pathlib.Path("kept.png"))
check(read("kept.png") == read("edge.png"), "an input was overwritten")
write("cut.png", read("colours.png")[:100])
write("empty.png", b"")
for name in "missing.png", "cut.png", "empty.png", ".", __file__:
    camkit.bad(3, "half", pathlib.Path(name), "out.png")
    camkit.bad(3, "sharpen-skin --mask", pathlib.Path(name), "edge.png out.png")
check(not os.path.exists("out.png"), "a failure leaves a picture behind")

check("camkit sharpen photo.jpg" in camkit.run(0, "--help").out, "--help has no example")
for command in ("", "sharpen edge.png", "blur edge.png out.png", "rotate edge.png out.png",
                "rotate --degrees 45 edge.png out.png", "half edge.png -", "half --mask white.png edge.png out.png",
                "half edge.png out.jpg", "filter --weights 1,2 edge.png out.png",
                "filter --weights 1,200,3 edge.png out.png", "sharpen-skin --skin --mask white.png edge.png out.png"):
    camkit.bad(2, command)

finish("camkit works as documented")
