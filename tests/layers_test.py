#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Checks the layers: each folder includes only the folders and libraries of its row, and no .cpp file.
# usage: layers_test.py SOURCE_DIRECTORY
import pathlib
import re
import sys

# Allowed includes of a folder besides its own headers, the standard library and POSIX: folders, single
# headers, and libraries, which begin with "<". lab/bench may include anything.
FOLDERS = {
    "src/base": "", "src/platform": "", "src/image": "base", "src/sharpen": "base",
    "src/analysis": "image base platform",
    "src/node": "analysis/zy_preview.h image/zy_image_buffer.h base platform",
    "lab/common": "", "lab/device": "platform common",
    "lab/media": "common image/zy_image_buffer.h <png.h <turbojpeg.h",
    "lab/framework": "platform media common",
    "lab/record": "framework media common platform <nlohmann",
    "lab/camsim": "record framework media common platform device/control.h real_models/find_faces.h "
                  "image/zy_copy_buffer.h",
    "lab/nodecheck": "framework media common platform device/control.h",
    "lab/camkit": "image sharpen media common",
    "lab/real_models": "platform common device/control.h <opencv2",
    "lab/examples": "<brodax",
}
# Additional includes of single files: the vector header, our node, JSON for the networks' manifest, digests.
FILES = {
    "src/base/neon.h": "<simde <arm_neon.h",
    "lab/framework/own_node.cpp": "node/log_lines.h",
    "lab/framework/crash_report.cpp": "<cxxabi.h <execinfo.h <ucontext.h",
    "lab/real_models/age_gender_net.cpp": "<nlohmann",
    "lab/real_models/model_files.cpp": "<openssl",
    "lab/common/command_line.cpp": "<CLI",
    "lab/camsim/page.cpp": "<zlib.h",
}
OWN = {"record/json.h"}  # for their own folder alone
SYSTEM = re.compile(r"<(\w+|sys/\w+\.h|(dlfcn|errno|fcntl|link|poll|pthread|signal|spawn|stdlib|time|unistd)\.h)$")

root = pathlib.Path(sys.argv[1])
failures = [f"{folder} has no row" for folder in sorted(
    f"{half}/{path.name}" for half in ("src", "lab") for path in (root / half).iterdir() if path.is_dir())
    if folder not in FOLDERS and folder != "lab/bench"]
for folder, allowed in FOLDERS.items():
    for file in sorted(file for file in (root / folder).rglob("*") if file.suffix in (".h", ".cpp")):
        name = str(file.relative_to(root))
        permitted = [folder[4:], *allowed.split(), *FILES.get(name, "").split()]
        for number, line in enumerate(file.read_text().splitlines(), 1):
            include = re.match(r"\s*#\s*include\s*(?:\"(.*)\"|(<.*)>)", line)
            header = include and (include[1] or include[2])
            if not header or SYSTEM.match(header):
                continue
            is_private = header.endswith(".cpp") or header in OWN and folder != f"lab/{header.split('/')[0]}"
            if is_private or not any(header == item or header.startswith(item + "/") for item in permitted):
                failures.append(f"{name}:{number}: {header} is not for this file")

print(*(f"FAIL {failure}" for failure in failures), sep="\n", end="\n" if failures else "")
sys.exit(bool(failures))
