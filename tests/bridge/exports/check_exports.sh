#!/bin/sh
# The bridge shows the dynamic linker two symbols, needs the store client by its name alone, and looks for it beside
# itself.
# Usage: check_exports.sh path/to/libkora_data_jni.so
set -eu

library=$1

expect() {  # what, expected, seen
  [ "$2" = "$3" ] && return
  printf '%s of %s: expected\n%s\nbut saw\n%s\n' "$1" "$library" "$2" "$3" >&2
  exit 1
}

dynamic() {
  readelf --dynamic --wide "$library" | sed -n "s/.*($1).*\[\(.*\)\]/\1/p"
}

expect 'defined symbols' 'JNI_OnLoad
RegisterSingleKvStore' "$(nm --dynamic --defined-only --format=posix "$library" | cut -d ' ' -f 1 | LC_ALL=C sort)"
expect 'needed client' 'libkora_data_client.so' "$(dynamic NEEDED | grep kora || true)"
run_path=$(dynamic RUNPATH)
[ -n "$run_path" ] || run_path=$(dynamic RPATH)
# shellcheck disable=SC2016  # the linker's own word
expect 'run path' '$ORIGIN' "$run_path"
