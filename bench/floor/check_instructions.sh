#!/usr/bin/env bash
# Compares how many instructions the bridge's hot natives take with what they took before.
set -euo pipefail

usage() {
  cat <<'HELP'
Usage: check_instructions.sh FLOOR_COUNT BASELINE [--renew]

Runs FLOOR_COUNT under callgrind and fails when a native takes over 10 % more instructions than the file
BASELINE says, or has no line there. --renew writes the file instead: do so after a change that is meant to
cost something, or has saved something, and commit it. Exit status 77: there is no such file for this
architecture.
HELP
}

(($# == 2)) || [[ $# == 3 && $3 == --renew ]] || { usage >&2; exit 2; }
program=$1 baseline=$2
[[ -e $baseline || $# == 3 ]] || { echo "no $baseline"; exit 77; }

now=$(mktemp)
trap 'rm -f "$now"' EXIT
"$(dirname "$0")/count_instructions.sh" "$program" | sed -n 's/,bridge,/,/p' >"$now"

if (($# == 3)); then
  cp "$now" "$baseline"
  exit
fi

awk -F, -v limit=1.10 '
  NR == FNR { before[$1] = $2; next }
  { found[$1] = 1
    verdict = !($1 in before) ? "NOT IN THE BASELINE" : $2 > before[$1] * limit ? "TOO MANY" : "ok"
    failed += verdict != "ok"
    printf "%-24s %10d before %10d now %7.3f  %s\n", $1, before[$1], $2, $2 / (before[$1] + !before[$1]), verdict }
  END {
    for (row in before) if (!(row in found)) { print row " was not measured"; ++failed }
    exit failed > 0 }' "$baseline" "$now"
