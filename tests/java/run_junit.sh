#!/usr/bin/env bash
# Runs the Java tests under -Xcheck:jni: run_junit.sh JAVA LIBRARY_FOLDER TEST_JAR CLASS_PATH [JUNIT_OPTION...]
# Fails when a test fails, when the virtual machine dies without a result, and when -Xcheck:jni warns of anything
# that xcheck_allowed.txt does not list.
set -uo pipefail

java=$1 libraries=$2 tests=$3 class_path=$3:$4
shift 4
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

unset KORA_DATA_ENDPOINTS
export KORA_DATA_HOME=$work/home XDG_CACHE_HOME=$work/cache KORA_LOG_LEVEL=${KORA_LOG_LEVEL:-fatal}
"$java" -ea -Xcheck:jni -Xmx1g "-Dkora.library.path=$libraries" "-Djava.io.tmpdir=$work" "-Dkora.docs=$here/../../docs" -cp "$class_path" \
  org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors --details=tree \
  --scan-class-path="$tests" --fail-if-no-tests "$@" >"$work/log" 2>&1
status=$?

# The warnings, numbers left out, and the native methods that they are about. Threads print into each other's stack
# traces, so which belong together can't be told.
awk '
  /^WARNING in native method: / || /^WARNING: JNI / { gsub(/[0-9]+/, "N"); print }
  /^\tat kora\..*\(Native Method\)/ { sub(/^\tat /, ""); sub(/\(.*/, ""); print }
' "$work/log" | sort -u >"$work/warnings"
unexpected=$(grep -v '^#' "$here/xcheck_allowed.txt" | sort -u | comm -23 "$work/warnings" -)

# Without the warnings, which come by the thousand, and their stack traces.
grep -vE $'^(WARNING in native method|WARNING: JNI|\t|\\(a )' "$work/log"
if ! grep -q 'tests successful' "$work/log"; then
  echo "The virtual machine ended without a result (status $status)."
  exit 1
fi
if [[ -n $unexpected ]]; then
  printf 'Unexpected warnings of -Xcheck:jni, or native methods that they are about:\n%s\n' "$unexpected"
  exit 1
fi
exit "$status"
