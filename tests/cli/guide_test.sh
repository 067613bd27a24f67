#!/usr/bin/env bash
# Compiles and runs the Java of the guide and compares what it prints with the guide. What has no name is one program;
# what is named for a device is a program of its own, and these run at the same time, over a hub.
# Usage: guide_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail

folder=$(mktemp -d)
trap 'kill -KILL ${hub_pid-} ${phone:+-- -$phone} 2>/dev/null || true; wait 2>/dev/null; rm -rf "$folder"' EXIT
unset KORA_DATA_ENDPOINTS
export KORA_DATA_HOME=$folder/unused KORA_LOG_LEVEL=off
guide=$1/docs/guide.md jar=$2/java/kora-data.jar
# shellcheck source=examples/three-devices/hub.sh
source "$1/examples/three-devices/hub.sh"
cd "$folder"

# blocks LANGUAGE: what the guide has in that language, in order.
# shellcheck disable=SC2016  # the backquotes are the guide's
blocks() { sed -n '/^```'"$1"'$/,/^```$/{/^```/d;p}' "$guide"; }

# run NAME [DEVICE]: runs the blocks as the class NAME.
run() {
  local name=$1 device=${2+ $2}
  mkdir "$name"
  {
    blocks java | grep '^import '
    echo "class $name {"
    echo '  public static void main(String[] args) throws Exception {'
    blocks "java$device" | grep -v '^import '
    echo '  }'
    echo '}'
  } >"$name/$name.java"
  blocks "text$device" >"$name/expected"
  timeout --foreground 120 "$JAVA" -ea "-Djava.io.tmpdir=$folder" -cp "$jar" "$name/$name.java" >"$name/out"
  diff "$name/expected" "$name/out"
}

run Guide
[[ ! -e $KORA_DATA_HOME ]] || { echo 'the settings of the guide were not taken' >&2; exit 1; }

command -v etcd >/dev/null || { echo 'the part on several devices was left out: there is no etcd' >&2; exit 0; }
start_hub "$folder"
export KORA_DATA_ENDPOINTS=$endpoint
set -m # a process group of its own, to be ended as a whole
run Phone phone &
phone=$!
set +m
run Laptop laptop
wait "$phone"
