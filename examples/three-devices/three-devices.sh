#!/usr/bin/env bash
# Three devices that keep a store in step through a hub, all on this machine: three home folders, three processes
# `kora watch --remote`, and an etcd on loopback. Usage: three-devices.sh, once ./run has built the tool and etcd-server
# is installed. It ends by itself after some 10 seconds and leaves nothing behind. Exit status: 0 if all went as told.
set -euo pipefail

here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
# shellcheck source=examples/three-devices/hub.sh
source "$here/hub.sh"
patience=60 # seconds, for a loaded machine
folder=$(mktemp -d)
declare -A pids=() inputs=([ada]=3 [bob]=4 [cleo]=5) # processes; descriptors of what the devices read
trap finish EXIT

finish() {
  local process
  for process in "${pids[@]}" ${hub_pid-}; do kill -KILL "$process" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$folder"
}

say() { printf '\n== %s\n' "$*"; }

fail() {
  echo "three-devices: $*" >&2
  exit 1
}

# await WHAT COMMAND...: until the command succeeds.
await() {
  local what=$1 end=$((SECONDS + patience))
  shift
  until "$@"; do
    ((SECONDS < end)) || fail "waited in vain for $what"
    sleep 0.1
  done
}

# kora DEVICE COMMAND...: the tool as that device, in place of the shell; it must not hold the input of others open.
kora() {
  local name=$1
  shift
  exec "$here/../../bin/kora" --home "$folder/$name" --device-name "$name" --endpoints "$endpoint" --app example \
    --store notes "$@" 3>&- 4>&- 5>&-
}

# start DEVICE: it prints what the others change, and takes commands.
start() {
  local name=$1
  mkfifo "$folder/$name.in"
  kora "$name" watch --remote <"$folder/$name.in" >>"$folder/$name.out" 2>>"$folder/$name.err" &
  pids[$name]=$!
  eval "exec ${inputs[$name]}>'$folder/$name.in'"
}

# tell DEVICE COMMAND...
tell() {
  local name=$1 line
  shift
  for line in "$@"; do
    echo "   $name> $line"
    echo "$line" >&"${inputs[$name]}"
  done
}

# hears DEVICE CHANGE KEY: waits for the change and shows what the device was told.
hears() {
  local pattern="\"change\":\"$2\",.*\"key\":\"$3\""
  await "$1 to hear of $3" grep -q "$pattern" "$folder/$1.out"
  echo "   $1 hears: $(grep -m 1 "$pattern" "$folder/$1.out" | sed 's/"device":"[^"]*",//')"
}

command -v etcd >/dev/null || fail 'etcd is missing: apt-get install etcd-server'
say 'A hub, and three devices that keep the store "notes" in step'
start_hub "$folder"
for name in ada bob cleo; do start "$name"; done
# Whoever is told of this knows the others, and they know him.
for name in ada bob cleo; do tell "$name" "put hello/$name hello"; done
for name in ada bob cleo; do
  for other in ada bob cleo; do [[ $name == "$other" ]] || hears "$name" insert "hello/$other"; done
done

say 'A put crosses'
tell ada "put greeting 'Good morning'"
hears bob insert greeting
hears cleo insert greeting

say 'A transaction crosses as one change'
tell bob begin 'put -t int account/ada 70' 'put -t int account/cleo 30' commit
for name in ada cleo; do
  hears "$name" insert account/ada
  hears "$name" insert account/cleo
done

say 'A delete crosses'
tell cleo 'rm greeting'
hears ada delete greeting
hears bob delete greeting

say 'bob is killed; meanwhile the others go on'
kill -KILL "${pids[bob]}"
wait "${pids[bob]}" 2>/dev/null || true
exec 4>&-
tell ada 'put while-away news'
hears cleo insert while-away

say 'bob comes back, in a shell, and catches up'
printf '%s\n' devices sync 'get while-away' 'put back-again 1' sync >"$folder/commands"
sed 's/^/   bob> /' "$folder/commands"
(kora bob shell --auto-sync) <"$folder/commands" >"$folder/answers" || fail "bob does not catch up: $(<"$folder/answers")"
sed 's/^/   /' "$folder/answers"
grep -qx news "$folder/answers" || fail 'bob has not caught up'
hears ada insert back-again

say 'The other two end; nothing is left running'
exec 3>&- 5>&-
for name in ada cleo; do
  await "the end of $name" eval "! kill -0 ${pids[$name]} 2>/dev/null"
  wait "${pids[$name]}" || fail "$name failed: $(<"$folder/$name.err")"
  unset "pids[$name]"
done
unset 'pids[bob]'
