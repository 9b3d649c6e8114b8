#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Unpacks OpenCV for Arm and its dependencies from Debian's packages into a directory, without
# installing them, which would require half a desktop. Fails when the packages are not available.
# usage: unpack_arm64_peers.sh DIRECTORY
set -euo pipefail
directory=$1
packages=(libopencv-core406 libopencv-core-dev libopencv-imgproc406 libopencv-imgproc-dev
  libblas3 liblapack3 libgfortran5 libtbb12 libglx0 libglvnd0 libx11-6 libxcb1 libxau6 libxdmcp6
  libbsd0 libmd0)
[ -e "$directory/complete" ] && exit 0
mkdir -p "$directory/packages"
(cd "$directory/packages" && apt-get download -qq "${packages[@]/%/:arm64}" 2>/dev/null)
for package in "$directory"/packages/*.deb; do
  dpkg -x "$package" "$directory"
done
rm -r "$directory/packages"
touch "$directory/complete"
