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

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
KORA_LOG_LEVEL=off valgrind --quiet --tool=callgrind --collect-atstart=no --callgrind-out-file="$work/out" \
  "$program" >"$work/counts"

# One file for each request to dump: its label, and the sum of what was collected. Those of the bridge alone.
for dump in "$work"/out.*; do
  awk '/^desc: Trigger: Client Request: / { sub(/^desc: Trigger: Client Request: /, ""); label = $0 }
       /^summary: / && label ~ /,bridge$/ { sub(/,bridge$/, "", label); print label "," $2 }' "$dump"
done | sort >"$work/now"

if (($# == 3)); then
  cp "$work/now" "$baseline"
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
    exit failed > 0 }' "$baseline" "$work/now"
