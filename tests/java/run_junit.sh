#!/usr/bin/env bash
# Runs the Java tests under -Xcheck:jni: run_junit.sh JAVA LIBRARY_FOLDER TEST_JAR CLASS_PATH
# [OPTION_OF_JUNIT...]. Fails when a test fails,
# when the virtual machine dies without a result, and for each kind of warning that xcheck_allowed.txt does not list.
set -uo pipefail

java=$1 libraries=$2 tests=$3 class_path=$3:$4
shift 4
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

export KORA_DATA_HOME=$work/home XDG_CACHE_HOME=$work/cache KORA_LOG_LEVEL=${KORA_LOG_LEVEL:-fatal}
"$java" -ea -Xcheck:jni -Xmx1g "-Dkora.library.path=$libraries" "-Djava.io.tmpdir=$work" -cp "$class_path" \
  org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors --details=tree \
  --scan-class-path="$tests" --fail-if-no-tests "$@" >"$work/log" 2>&1
status=$?

# One line for each warning: its text, with numbers left out, and the native method that it is about.
awk '
  /^WARNING/ { text = $0; gsub(/[0-9]+/, "N", text); next }
  text != "" && /^\tat / { sub(/^\tat /, ""); sub(/\(.*/, ""); print text " at " $0; text = "" }
' "$work/log" | sort -u >"$work/warnings"
grep -v '^#' "$here/xcheck_allowed.txt" | sort -u >"$work/allowed"
unexpected=$(comm -23 "$work/warnings" "$work/allowed")

# The warnings come by the thousand and are summed up above.
awk '/^WARNING/ { skip = 1; next } skip && /^\t/ { next } { skip = 0; print }' "$work/log"
if ! grep -q 'tests successful' "$work/log"; then
  echo "The virtual machine ended without a result (status $status)."
  exit 1
fi
if [[ -n $unexpected ]]; then
  printf 'Unexpected warnings of -Xcheck:jni:\n%s\n' "$unexpected"
  exit 1
fi
exit "$status"
