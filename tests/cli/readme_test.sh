#!/usr/bin/env bash
# Compiles and runs the program in the README, as the README says.
# Usage: readme_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export KORA_DATA_HOME=$folder/home KORA_LOG_LEVEL=off
# shellcheck disable=SC2016  # the backquotes are the README's
sed -n '/^```java$/,/^```$/{/^```/d;p}' "$1/README.md" >"$folder/Hello.java"

for visit in 1 2; do
  "$JAVA" -cp "$2/java/kora-data.jar" "$folder/Hello.java" >"$folder/out"
  diff "$folder/out" - <<OUT
user/name is of type STRING
user/visits is of type INT
Ada was here $visit times
OUT
done
