#!/usr/bin/env bash
# Compiles and runs the Java of the guide as one program and compares what it prints with the guide.
# Usage: guide_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export KORA_DATA_HOME=$folder/unused KORA_LOG_LEVEL=off

# blocks LANGUAGE: what the guide has in that language, in order.
# shellcheck disable=SC2016  # the backquotes are the guide's
blocks() { sed -n '/^```'"$1"'$/,/^```$/{/^```/d;p}' "$guide"; }

guide=$1/docs/guide.md
blocks java >"$folder/java"
{
  grep '^import ' "$folder/java"
  echo 'class Guide {'
  echo '  public static void main(String[] args) throws Exception {'
  grep -v '^import ' "$folder/java"
  echo '  }'
  echo '}'
} >"$folder/Guide.java"
blocks text >"$folder/expected"
"$JAVA" -ea "-Djava.io.tmpdir=$folder" -cp "$2/java/kora-data.jar" "$folder/Guide.java" >"$folder/out"
diff "$folder/expected" "$folder/out"
[[ ! -e $KORA_DATA_HOME ]] || { echo 'the settings of the guide were not taken' >&2; exit 1; }
