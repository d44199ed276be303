# shellcheck shell=bash
# Sourced after lib.sh by what needs a root in layers, so that what is written to it is thrown away, or a
# machine that systemd has booted from one.
. scripts/platforms.sh

machine=tavok-machine-$$
work='' root='' starter='' leader=''
bare_environment=(env -i PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C)

# sources_of_packages CODENAME: for apt, with the updates that a machine in service has.
sources_of_packages() {
  local signed='[signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]'
  echo "deb $signed http://deb.debian.org/debian $1 main"
  echo "deb $signed http://deb.debian.org/debian $1-updates main"
  echo "deb $signed http://deb.debian.org/debian-security $1-security main"
}

# make_base_root DIRECTORY CODENAME: a minimal Debian with systemd.
make_base_root() {
  [ ! -d "$1" ] || return 0
  rm -rf --one-file-system "$1.unfinished"
  debootstrap --variant=minbase --include=systemd-sysv "$2" "$1.unfinished" >"$1.log" ||
    skip "debootstrap failed, see $1.log"
  sources_of_packages "$2" >"$1.unfinished/etc/apt/sources.list"
  echo force-unsafe-io >"$1.unfinished/etc/dpkg/dpkg.cfg.d/thrown-away"
  mv "$1.unfinished" "$1"
}

# make_root BASE: a copy that costs nothing: what is written goes to the directory $work.
make_root() {
  mkdir "$work"/{changes,work,root}
  mount -t overlay -o "lowerdir=$1,upperdir=$work/changes,workdir=$work/work" "$machine" "$work/root" ||
    skip "no overlay file system"
  root=$work/root
  touch "$root/booted-by-script"
}

# inside COMMAND...: in the machine, as its root.
inside() {
  nsenter --all --target "$leader" "${bare_environment[@]}" "$@"
}

# as USER:GROUP COMMAND...: in the machine, as that user and as a member of that group only.
as() { inside setpriv --reuid="${1%:*}" --regid="${1#*:}" --clear-groups "${@:2}"; }

# The first process is the one child of its starter, once that has got that far.
has_leader() {
  leader=$(xargs <"/proc/$starter/task/$starter/children")
  [ -n "$leader" ]
}

# Not before the machine has left the host's root behind may anything be run "inside".
is_in_its_root() { has_leader && inside test -e /booted-by-script 2>/dev/null; }

is_up() { [ "$(inside systemctl is-active multi-user.target 2>/dev/null)" = active ]; }

# run_root OPTION...: with a network that leads nowhere, control groups as Debian has them, and leave
# to load the filters of addresses that units ask for. Where no systemd runs, which would give a
# container control groups of its own, it has them below those of the process that starts it.
run_root() {
  local group
  [ ! -d /sys/fs/cgroup/unified ] || export SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1
  if [ ! -d /run/systemd/system ]; then
    for group in /sys/fs/cgroup/{.,systemd,unified}/"$machine"; do
      [ -e "${group%/*}/cgroup.procs" ] || continue
      mkdir -p "$group"
      echo "$BASHPID" >"$group/cgroup.procs"
    done
    set -- --keep-unit "$@"
  fi
  exec systemd-nspawn --quiet --register=no --settings=no --machine="$machine" --directory="$root" \
    --private-network --link-journal=no --resolv-conf=off --timezone=off --system-call-filter=bpf "$@"
}

# boot [OPTION...]: of systemd-nspawn.
boot() {
  (run_root "$@" --console=read-only --boot) </dev/null >>"$work/console" 2>&1 &
  starter=$!
  await 60 is_in_its_root
  await 60 is_up
}

is_off() { ! kill -0 "$starter" 2>/dev/null; }

power_off() {
  inside systemctl poweroff
  await 30 is_off
  starter=''
}

# The end of its first process is that of all others. systemd-nspawn leaves a few things behind.
clean_up() {
  if [ -n "$starter" ]; then
    has_leader || leader=$starter
    kill -KILL "$leader" 2>/dev/null || true
    wait "$starter" 2>/dev/null || true
  fi
  if [ -n "$root" ]; then
    rm -f "/run/systemd/nspawn/locks/$(stat -c 'inode-%d:%i' "$root")"
    umount "$root"
  fi
  rm -rf "$work" "/run/systemd/nspawn/propagate/$machine"
  find /sys/fs/cgroup/{.,systemd,unified}/"$machine" -depth -type d -exec rmdir {} + 2>/dev/null || true
}

require_machine() {
  [ "$(id -u)" -eq 0 ] || skip "root may boot a machine, $(id -un) may not"
  install_missing systemd-container:systemd-nspawn util-linux:nsenter
}

# prepare_root RELEASE: a minimal Debian, whose base is kept in build for the next time.
prepare_root() {
  require_release "$1"
  [ "$(id -u)" -eq 0 ] || skip "root may make a root of Debian, $(id -un) may not"
  [ "$(. /etc/os-release && echo "$ID")" = debian ] || skip "debootstrap and the keys of the packages are Debian's"
  install_missing debootstrap:debootstrap util-linux:nsenter
  mkdir -p build
  (flock 9 && make_base_root "$PWD/build/debian-$1" "${codenames[$1]}") 9>"build/debian-$1.lock"
  work=$(mktemp -d -p "$PWD/build")
  trap clean_up EXIT
  make_root "$PWD/build/debian-$1"
}

# prepare_machine RELEASE
prepare_machine() {
  require_machine
  install_missing iproute2:ip
  prepare_root "$1"
  (run_root true) >"$work/console" 2>&1 || skip "systemd-nspawn: $(cat "$work/console")"
}
