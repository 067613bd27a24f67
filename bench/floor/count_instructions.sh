#!/usr/bin/env bash
# Writes "row,form,instructions" for each hot native, as callgrind counts them for one operation.
set -euo pipefail

(($# == 1)) || { echo 'Usage: count_instructions.sh FLOOR_COUNT' >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
KORA_LOG_LEVEL=off valgrind --quiet --tool=callgrind --collect-atstart=no --callgrind-out-file="$work/out" \
  "$1" >"$work/counts"

# One file for each request to dump: its label, and the sum of what was collected.
for dump in "$work"/out.*; do
  awk '/^desc: Trigger: Client Request: / { sub(/^desc: Trigger: Client Request: /, ""); label = $0 }
       /^summary: / && label != "" { print label "," $2 }' "$dump"
done | sort
