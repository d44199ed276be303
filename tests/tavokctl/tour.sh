#!/usr/bin/env bash
# tour.sh README DIRECTORY: runs the commands of the README's tour with the programs in the directory.
set -euo pipefail

directory=$(mktemp -d)
clean_up() {
  [ ! -e "$directory/tavok.pid" ] || "$2/tavokctl" stop -c "$directory/tour.conf"
  rm -rf "$directory"
}
trap 'clean_up "$@"' EXIT
sed -n '/run by a test/,/End of the tour/{/^```sh$/,/^```$/{/^```/!p}}' "$1" >"$directory/commands"
cd "$directory"

# Not faster than a hand: an edit within two hundredths of a second after the start is not told.
echo "trap 'sleep 0.03' DEBUG" >pace
# The shell stops at the first command that fails, and at one that waits for ever.
timeout 60 env PATH="$2:$PATH" BASH_ENV=pace bash -euo pipefail commands >said 2>&1 || { cat said && exit 1; }

# What the text around the commands promises, in this order.
promised=("did you mean MaxSize?" "did you mean MaxSize?" "DirName  *$directory/logs" "is up: pid"
  "is running: pid" "current file .*tmp.tavok" "configuration-changed: " "has stopped" "is up: pid"
  "\"health\": \"ok\"" "tour: hello$" "has rotated: tavok_2" "tour: after the rotation$" "tour: hello$"
  "tour: after the rotation$" "^2$" "\"running\": true" "\"rotated_files\": 1," "has stopped")
line=0
for text in "${promised[@]}"; do
  next=$(tail -n +$((line + 1)) said | grep -n -m 1 -e "$text" | cut -d : -f 1) ||
    { cat said && echo "Missing below line $line: $text" && exit 1; }
  line=$((line + next))
done
