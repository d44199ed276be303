# shellcheck shell=bash disable=SC2034 # tables of those scripts
# Sourced after lib.sh by what works for more than this machine: the platforms that tavok is for, and what
# builds for another architecture than this machine's.

declare -A codenames=([12]=bookworm [13]=trixie)      # of Debian's releases
declare -A machines=([amd64]=x86_64 [arm64]=aarch64)  # the compiler's names of Debian's architectures

# require_one_of KIND WORD SUPPORTED...: ends the script as a wrong use unless the word is among them.
require_one_of() {
  [[ " ${*:3} " == *" $2 "* ]] ||
    wrong_use "No $1 '$2'. Supported: $(printf '%s\n' "${@:3}" | sort | xargs)"
}

require_release() { require_one_of "release of Debian" "$1" "${!codenames[@]}"; }

require_architecture() { require_one_of architecture "$1" "${!machines[@]}"; }

# install_cross_compiler ARCHITECTURE
install_cross_compiler() {
  [ -e "cmake/$1.cmake" ] || fail "No cross build for $1: build on such a machine"
  install_missing "g++-${machines[$1]}-linux-gnu:${machines[$1]}-linux-gnu-g++"
}

# install_emulator ARCHITECTURE: of its programs.
install_emulator() { install_missing "qemu-user-static:qemu-${machines[$1]}-static"; }

# unpack_libraries ARCHITECTURE: those that tavok needs there. Sets `libraries` to a directory with a
# directory for each package, with its control files, and one for all, `root`.
unpack_libraries() {
  local package
  libraries=$PWD/build/libraries-$1
  [ ! -d "$libraries" ] || return 0
  rm -rf "$libraries.unfinished"
  download_packages "$1" "$libraries.unfinished" libc6 libgcc-s1 libstdc++6 >"$libraries.log" 2>&1 ||
    fail "The libraries of $1 cannot be had, see $libraries.log"
  for package in "$libraries.unfinished"/*.deb; do
    dpkg-deb -R "$package" "${package%%_*}"
    dpkg-deb -x "$package" "$libraries.unfinished/root"
    rm "$package"
  done
  mv "$libraries.unfinished" "$libraries"
}
