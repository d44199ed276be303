# Sourced by the scripts beside it: the set-up of a bare Debian machine, and the build.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
  echo "$*" >&2
  exit 1
}

# install_missing PACKAGE:PROBE...: installs each package whose probe (a command's name, or a file's
# absolute path) is not there. What cannot be installed is named, all at once.
install_missing() {
  local missing=() entry probe
  for entry in "$@"; do
    probe=${entry#*:}
    command -v "$probe" >/dev/null || [[ $probe == /* && -e $probe ]] || missing+=("${entry%%:*}")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  command -v apt-get >/dev/null || fail "Missing here, and no apt-get to install it: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "Missing here: ${missing[*]}. Run this as root, or with sudo."
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  "${as_root[@]}" apt-get update -q || true
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}" ||
    fail "Could not install: ${missing[*]}"
}

build_tools=(g++:g++ cmake:cmake ninja-build:ninja nlohmann-json3-dev:/usr/include/nlohmann/json.hpp)
test_libraries=(libgtest-dev:/usr/include/gtest/gtest.h libbenchmark-dev:/usr/include/benchmark/benchmark.h)

# build_preset PRESET TARGET [OPTION...]: builds a target of a preset, below build/.
build_preset() {
  local preset=$1 target=$2
  shift 2
  cmake --preset "$preset" "$@"
  cmake --build --preset "$preset" --target "$target"
}
