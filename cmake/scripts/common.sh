# shellcheck shell=bash
# What `run` and `test` share; they source it.

# A JDK of another vendor or release may be on the path; this is the one that the packages below bring.
JAVA_HOME=/usr/lib/jvm/java-17-openjdk-$(dpkg --print-architecture)
export JAVA_HOME

# shellcheck disable=SC2034  # used by those who source this
build_packages=(g++ cmake ninja-build openjdk-17-jdk-headless librocksdb-dev libsimdjson-dev libssl-dev
  libgrpc++-dev libprotobuf-dev protobuf-compiler protobuf-compiler-grpc pkg-config
  libpicocli-java libjackson2-core-java libcommons-csv-java libjline3-java unicode-data)

# What CTest and clang-tidy write about tests and files that are in order.
passed_lines='^ *Start +[0-9]+: |^ *[0-9]+/[0-9]+ Test +#.* Passed |^clang-tidy-14 |warnings? generated\.$'

# step LOG LABEL COMMAND...: runs the command with its output in build/LOG.log, which is shown when it fails.
step() {
  local log=build/$1.log label=$2 started=$SECONDS
  shift 2
  mkdir -p build
  printf '%-58s ' "$label"
  if "$@" >"$log" 2>&1 </dev/null; then
    printf 'ok (%d s)\n' $((SECONDS - started))
    return 0
  fi
  printf 'FAILED (%d s)\n' $((SECONDS - started))
  printf -- '--- the end of %s, without what passed ---\n' "$log"
  grep -vE "$passed_lines" "$log" | tail -n 80 || true
  printf -- '---\n'
  return 1
}

# In a shell of its own, for the trap. A server that comes with a package is for the tests: it does not run as a
# service, neither now nor after the next start of the machine.
install_packages() (
  as_root=(env)
  ((EUID == 0)) || as_root=(sudo env)
  policy=/usr/sbin/policy-rc.d
  if [[ ! -e $policy ]]; then
    trap '"${as_root[@]}" rm -f "$policy"' EXIT
    # shellcheck disable=SC2016  # expanded by the other shell
    "${as_root[@]}" sh -c 'printf "#!/bin/sh\nexit 101\n" >"$0" && chmod 755 "$0"' "$policy"
  fi
  "${as_root[@]}" apt-get update
  "${as_root[@]}" DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends -o DPkg::Lock::Timeout=120 "$@" || exit
  [[ " $* " != *' etcd-server '* ]] || "${as_root[@]}" update-rc.d etcd disable
)

# need_packages PACKAGE...: installs those that are missing.
need_packages() {
  local package missing=()
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done
  ((${#missing[@]} == 0)) || step packages "Install ${missing[*]}" install_packages "${missing[@]}"
}

# configure_and_build PRESET [CMAKE ARGUMENT...]
configure_and_build() {
  local preset=$1
  shift
  cmake --preset "$preset" "$@" && cmake --build --preset "$preset"
}
