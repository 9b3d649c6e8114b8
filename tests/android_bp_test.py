#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares Android.bp with CMake's own lists of sources, flags and libraries.

usage: android_bp_test.py SOURCE_DIRECTORY RECIPE      (CMake writes the recipe, tests/CMakeLists.txt)
"""
import pathlib
import re
import sys

root, recipe_file = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
blueprint = (root / "Android.bp").read_text()
recipe = {}
for line in recipe_file.read_text().splitlines():
    target, key, value = (line + " ").split(" ", 2)
    recipe[target, key] = [item for item in value.strip().split(";") if item]
failures = []


def strings(module, key):
    """Returns the strings of a list of the named module in Android.bp."""
    block = next(b for b in re.split(r"^\}", blueprint, flags=re.M) if f'name: "{module}"' in b)
    found = re.search(rf"^ *{key}: \[(.*?)\]", block, flags=re.M | re.S)
    return re.findall(r'"([^"]+)"', found[1]) if found else []


def same(what, ours, theirs):
    if sorted(ours) != sorted(theirs) or not ours:
        failures.append(f"{what}: CMake has {sorted(ours)}, Android.bp has {sorted(theirs)}")


def sources(target):
    folder = pathlib.Path(recipe[target, "SOURCE_DIR"][0])
    files = recipe[target, "SOURCES"]
    return [str((folder / name).relative_to(root)) for name in files if not name.startswith("$<")]


def code_flags(flags):
    """Returns the flags that change code; warnings and sanitizers differ between builds."""
    return [flag for flag in flags if re.match(r"-[fmO]", flag) and "sanitize" not in flag]


def linker_flags(options):
    """Returns the linker's arguments: -Wl,-z,now,-z,text equals -Wl,-z,now -Wl,-z,text."""
    words = ",".join(o[4:] for o in options if o.startswith("-Wl,")).replace("-z,", "-z=").split(",")
    # The version script has its own key; the preset for the NDK adds force-bti.
    return [word for word in words if not re.search("version-script|force-bti", word)]


NODE = "com.qti.node.brodaxgenderage"
same("sources of zy_image", sources("zy_image"), strings("zy_image", "srcs"))
same("sources of zy_sharpen", sources("zy_sharpen"), strings("zy_sharpen", "srcs"))
same("sources of the node", sources("zy_analysis") + sources("zy_node"), strings(NODE, "srcs"))
same("device libraries", [name.replace("fake_", "lib") for name in recipe["zy_device", "LIBRARIES"]],
     strings(NODE, "shared_libs"))
common = set(code_flags(recipe["zy_image", "COMPILE_OPTIONS"]))
# Branch protection exists on Arm only, but CMake may build for another machine.
same("flags of every folder", common | {"-mbranch-protection=standard"},
     code_flags(strings("brodax_node_defaults", "cflags")))
same("flags of src/analysis alone", set(code_flags(recipe["zy_analysis", "COMPILE_OPTIONS"])) - common,
     code_flags(strings(NODE, "cflags")))
same("flags of the link", linker_flags(recipe["node", "LINK_OPTIONS"]), linker_flags(strings(NODE, "ldflags")))
for file in re.findall(r'"([a-zA-Z_/0-9]+\.(?:cpp|map)|LICENSE)"', blueprint):
    if not (root / file).exists():
        failures.append(f"Android.bp names {file}, which does not exist")

print(*(f"FAIL {failure}" for failure in failures), sep="\n", end="\n" if failures else "")
sys.exit(bool(failures))
