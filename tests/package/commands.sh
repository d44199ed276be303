# shellcheck shell=bash disable=SC2034,SC2154 # variables of that script
# Sourced by tests/package/test: its steps about tavokctl, whose helpers and variables they use.

# tells USER:GROUP STATUS LINE...: what status says as JSON to that user, and ends with.
tells() {
  local said line status=0
  said=$(as "$1" tavokctl status --json) || status=$?
  [ "$status" -eq "$2" ]
  for line in "${@:3}"; do grep -xF "  $line," <<<"$said"; done
}

# The descriptors of tavok are hidden from nobody.
step_status() {
  inside tavokctl status | grep "pid $(main_pid),"
  tells root:root 0 '"running": true' '"health": "ok"' '"held_by": "tavok.service"'
  tells nobody:nogroup 4 '"running": true' '"health": "unknown"'
  inside tavokctl stop | grep -x "systemctl stop tavok.socket"
  has_stopped
  for user in root:root nobody:nogroup; do tells $user 1 '"running": false' '"health": "stopped"'; done
  inside test ! -e /run/tavok/tavok.pid -a ! -e "$socket" -a -d /run/tavok
  refused inside tavokctl start --foreground
  inside tavokctl start | grep -x "systemctl restart tavok.service"
  is_running
}

# In every order that matters, by a script of its own: entering the machine for each command takes longer.
step_orders() {
  cp --parents scripts/lib.sh tests/package/orders "$root/root"
  note=$(inside /root/tests/package/orders)
}

# Of the service, its socket and its files.
traces() {
  inside systemctl show --property=MainPID,ActiveState,StateChangeTimestampMonotonic tavok.service \
    tavok.socket
  inside find /run/tavok "$logs" -mindepth 1 -printf '%p %i %u %m %T@ %C@\n' | sort
}

# refuses REASON COMMAND...: and leaves no trace.
refuses() {
  local before said
  before=$(traces)
  if said=$("${@:2}" 2>&1); then fail "Not refused: ${*:2}"; fi
  grep -F -- "$1" <<<"$said"
  diff <(echo "$before") <(traces)
}

# By whoever may not, and by way of another file that names the same pid file.
step_refusals() {
  local verb copy=/srv/copy.conf
  inside cp "$conf" $copy
  for verb in start stop restart rotate; do
    refuses "tavokctl $verb: " as nobody:nogroup tavokctl $verb
    refuses "tavokctl $verb: " as nobody:nogroup tavokctl $verb -c $copy
  done
  for verb in start stop restart; do
    refuses "it is that of tavok.service" inside tavokctl $verb -c $copy
    refuses "tavokctl $verb: " as tavok:tavok tavokctl $verb
    refuses "it is that of tavok.service" as tavok:tavok tavokctl $verb -c $copy
  done
}

# keeps_running WARNING: check tells it, so that what the manual recommends leaves the tavok that runs alone.
keeps_running() {
  local pid said
  pid=$(main_pid)
  if said=$(inside sh -c 'tavokctl check --strict 2>&1 && tavokctl restart'); then fail "No warning: $1"; fi
  grep "warning: .*$1" <<<"$said"
  [ "$(main_pid)" = "$pid" ]
  arrives_from nobody:nogroup "in spite of: $1"
}

# With directories that root, and their owner tavok, may write to; but not the service.
step_check() {
  local row key value warning
  inside install -d -o tavok /srv/logs /home/logs
  inside cp "$conf" /root/kept.conf
  for row in "DirName|/srv/logs|read-only in the sandbox of its unit" \
    "DirName|/home/logs|hidden by the sandbox of its unit" \
    "Port|/run/tavok/other|differ from what tavok.socket opens"; do
    IFS='|' read -r key value warning <<<"$row"
    set_key "$key" "$value"
    keeps_running "$warning"
    inside cp /root/kept.conf "$conf"
  done
  inside sh -c "cd $logs && chown root tmp.tavok && chmod 600 tmp.tavok"
  keeps_running "tmp.tavok cannot be written: Permission denied"
  inside sh -c "cd $logs && chown tavok tmp.tavok && chmod 640 tmp.tavok"

  inside tavokctl check --strict
  inside mount --bind -o ro "$logs" "$logs"
  keeps_running "cannot be written: Read-only file system"
  inside umount --lazy "$logs"

  inside tavokctl check --strict
  inside tavokctl stop
  inside rm -r /run/tavok
  inside tavokctl check --strict
  inside sh -c 'tavokctl check --strict && tavokctl restart'
  arrives_from nobody:nogroup "after all is right"
}

# When its path is gone, systemd passes on a socket that tavok has closed to senders when it stopped.
step_lost_socket() {
  inside rm "$socket"
  inside systemctl restart tavok
  refused send_as nobody:nogroup "by nobody"
  tells root:root 3 '"health": "failing"' '"running": true'
  inside sh -c 'tavokctl status; true' | grep -F "socket-unheld: "
  inside tavokctl restart | grep -x "systemctl stop tavok.socket"
  tells root:root 0 '"health": "ok"'
  arrives_from nobody:nogroup "by a new socket"

  inside systemctl isolate rescue.target
  inside systemctl isolate multi-user.target
  tells root:root 0 '"health": "ok"'
  arrives_from nobody:nogroup "after isolation"
}
