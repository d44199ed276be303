# shellcheck shell=bash disable=SC2034,SC2154 # variables of lib.sh and of those scripts
# Sourced after lib.sh by what runs packaging/forward: rsyslog, which is not installed, since it would take
# the place of the system logger that is there, but unpacked below build/.

shipped=$PWD/packaging/forward
unpacked=$PWD/build/forward

# Takes further packages as install_missing does.
install_rsyslog() {
  local libraries
  libraries=/usr/lib/$(uname -m)-linux-gnu
  install_missing "librelp0:$libraries/librelp.so.0" "libestr0:$libraries/libestr.so.0" \
    "libfastjson4:$libraries/libfastjson.so.4" "liblognorm5:$libraries/liblognorm.so.5" "$@"
  mkdir -p build
  (
    flock 9
    [ -x "$unpacked/usr/sbin/rsyslogd" ] || unpack_packages "$unpacked" rsyslog-kafka rsyslog-relp rsyslog
  ) 9>build/forward.lock || fail "Could not unpack rsyslog"
}

# configure NAME WORK_DIRECTORY FILE EDIT...: writes NAME.conf in $directory: what ships, edited by sed.
configure() {
  {
    echo "global(workDirectory=\"$2\")"
    sed -e '' "${@:4}" "$shipped/$3"
  } >"$directory/$1.conf"
}

# edit_of_brokers ADDRESS,...: the edit that has rsyslog send to these.
edit_of_brokers() { echo "s|\"kafka1:9092.*:9092\"|\"${1//,/\", \"}\"|"; }

# Sets `rsyslogd` to the command that runs NAME.conf.
use_rsyslog() {
  rsyslogd=("$unpacked/usr/sbin/rsyslogd" -n -iNONE -M "$(echo "$unpacked"/usr/lib/*/rsyslog)"
    -f "$directory/$1.conf")
}
