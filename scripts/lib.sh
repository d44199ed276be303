# shellcheck shell=bash
# Sourced by the shell scripts of this tree: their common options, the set-up of a bare Debian machine,
# the build, and the start of a tavok.

set -euo pipefail
[[ $0 == /* ]] && self=$0 || self=$PWD/$0
cd "${BASH_SOURCE[0]%/*}/.."
trap 'exit 130' INT # even if the running command ignores Ctrl-C

# Prints the comment at the head of the script.
usage() { sed -n '2,/^[^#]/s/^# \?//p' "$self"; }

wrong_use() {
  echo "$1" >&2
  usage >&2
  exit 2
}

# options_only ARGUMENT...: a name alone would mean nothing to ctest, which would run everything.
options_only() { [[ ${1:--} == -* ]] || wrong_use "A name follows -R: -R $1"; }

fail() {
  echo "$*" >&2
  exit 1
}

# Ends the script with the status of a check that this machine does not allow.
skip() {
  echo "Not possible here: $*"
  exit 77
}

# await SECONDS COMMAND...: repeats the command until it succeeds; fails if that takes longer.
await() {
  local - end=$((SECONDS + $1))
  set +x
  until "${@:2}"; do
    [ "$SECONDS" -lt "$end" ] || fail "Not within $1 seconds: ${*:2}"
    sleep 0.01
  done
}

# alone NAME COMMAND...: runs the command when no other script runs one under that name.
alone() {
  mkdir -p build
  flock "build/$1.lock" "${@:2}"
}

# install_missing PACKAGE:PROBE...: installs each package whose probe (a command's name, or a file's
# absolute path) is missing. Reports all that cannot be installed.
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
  alone packages "${as_root[@]}" apt-get update -q || true
  alone packages "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}" ||
    fail "Could not install: ${missing[*]}"
}

# download_packages ARCHITECTURE DIRECTORY PACKAGE...: with a state of apt's own, since this machine's may lack
# that architecture, and stays as it is.
download_packages() (
  state=$PWD/build/apt-$1
  mkdir -p "$state"/{lists,archives}/partial "$2"
  exec {lock}>"$state.lock"
  flock "$lock"
  get=(apt-get -q -o APT::Sandbox::User=root -o APT::Architecture="$1" -o APT::Architectures="$1"
    -o Dir::State="$state" -o Dir::State::status=/dev/null -o Dir::Cache="$state")
  cd "$2"
  "${get[@]}" update
  "${get[@]}" download "${@:3}"
)

this_architecture() { dpkg --print-architecture; }

# For a check that fetches packages each time.
require_mirror() {
  rm -rf build/mirror # what is there would not be fetched
  download_packages "$(this_architecture)" build/mirror base-files >/dev/null 2>&1 ||
    skip "no package can be had from Debian's mirror"
}

# unpack_packages DIRECTORY PACKAGE...: without installing them, which would start their services.
unpack_packages() {
  local package
  download_packages "$(this_architecture)" "$@" || return
  for package in "$1"/*.deb; do dpkg-deb -x "$package" "$1" || return; done
}

# Takes further packages as install_missing does.
install_build_tools() {
  install_missing g++:g++ cmake:cmake ninja-build:ninja \
    nlohmann-json3-dev:/usr/include/nlohmann/json.hpp "$@"
}

install_test_tools() {
  install_build_tools libgtest-dev:/usr/include/gtest/gtest.h \
    libbenchmark-dev:/usr/include/benchmark/benchmark.h "$@"
}

# configure_preset PRESET [OPTION...]: configures below build/; warnings are errors where CI is set.
configure_preset() { alone "$1" cmake --preset "$1" ${CI:+-DTAVOK_WERROR=ON} "${@:2}"; }

# build_preset PRESET TARGET [OPTION...]: configures a preset, with these options of cmake, and builds a
# target of it.
build_preset() {
  configure_preset "$1" "${@:3}"
  alone "$1" cmake --build --preset "$1" --target "$2"
}

# own_git ARGUMENT...: in this clone, whoever owns it: by sudo, that is another user.
own_git() { git -c safe.directory="$PWD" "$@"; }

# The version of the sources, on which the build and the changelog must agree.
source_version() {
  local version
  version=$(sed -nE 's/^project\(tavok VERSION ([^ ]+) .*/\1/p' CMakeLists.txt)
  [ "$(sed -nE '1s/^tavok \((.+)\) .*/\1/p' packaging/debian/changelog)" = "$version" ] ||
    fail "CMakeLists.txt is of version $version; packaging/debian/changelog begins with another"
  echo "$version"
}

# The time of the last commit; without git, that of the changelog's first entry.
source_date() {
  { [ -e .git ] && own_git log -1 --format=%ct 2>/dev/null; } ||
    dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp
}

# copy_sources DIRECTORY [OPTION OF tar...]: without what is built of them.
copy_sources() {
  mkdir -p "$1"
  tar -c --exclude='./build*' --exclude=./bench-results --exclude=./var --exclude=./.git . | tar -x -C "$@"
}

# start NAME COMMAND...: in the background; its output is added to NAME.out and NAME.err in $directory.
# Sets pid, and adds it to pids.
directory='' pids=()
start() {
  "${@:2}" >>"$directory/$1.out" 2>>"$directory/$1.err" &
  pid=$!
  pids+=("$pid")
}

# Sends a datagram to the socket whose path follows: of the text behind that, or empty.
# shellcheck disable=SC2034 # used by the scripts that source this
send_one=(perl -MSocket -e 'socket my $s, AF_UNIX, SOCK_DGRAM, 0;
  connect $s, sockaddr_un($ARGV[0]) or die; defined send $s, $ARGV[1] // "", 0 or die')

# start_tavok COMMAND...: runs a tavok in the background, with a semaphore set of its own. Sets `tavok`
# to its process id, and `semaphore`; call end_tavok in the script's EXIT trap.
tavok='' semaphore=''
start_tavok() {
  semaphore=$(ipcmk -S 1)
  semaphore=${semaphore##* }
  "$@" -s "$semaphore" &
  tavok=$!
}

# True once tavok has raised its semaphore: an unused set has no time of the last operation.
is_up() {
  local id operated
  while read -r _ id _ _ _ _ _ _ operated _; do
    if [ "$id" = "$semaphore" ]; then [ "$operated" -ne 0 ] && return; fi
  done </proc/sysvipc/sem
  return 1
}

# has_ended PROCESS: true also for a zombie.
has_ended() { [ ! -e "/proc/$1/exe" ]; }

is_up_or_has_ended() { is_up || has_ended "$tavok"; }

end_tavok() {
  [ -z "$tavok" ] || has_ended "$tavok" || { kill -KILL "$tavok" && wait "$tavok"; } 2>/dev/null || true
  [ -z "$semaphore" ] || ipcrm -s "$semaphore" 2>/dev/null || true
}

if [ "${1-}" = --help ]; then
  usage
  exit
fi
