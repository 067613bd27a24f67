#!/usr/bin/env bash
# Compiles RocksDB for release and leaves it where the preset `dist` looks for it.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../.."

if (($# > 0)); then
  cat <<'HELP'
Usage: cmake/scripts/build_engine.sh

Builds the version of RocksDB that is installed as librocksdb-dev once more, from Debian's source package: a
static library, -O2 -DNDEBUG (Debian compiles it with its assertions), hidden symbols, LZ4 alone for
compression. build/engine leads to it. It takes some 20 minutes of one core once, and is kept in
$KORA_ENGINE_CACHE, by default ${XDG_CACHE_HOME:-~/.cache}/kora-data.
HELP
  [[ $1 == -h || $1 == --help ]] && exit 0
  exit 2
fi

source cmake/scripts/common.sh
need_packages g++ cmake ninja-build dpkg-dev librocksdb-dev liblz4-dev

architecture=$(dpkg --print-architecture)
version=$(dpkg-query -W -f='${source:Version}' librocksdb-dev)
# The client derives from RocksDB's classes, so it needs their type information. Nobody reads the counters that RocksDB
# keeps for each thread, and keeping them costs each read and write.
flags=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE='-O2 -DNDEBUG'
  -DCMAKE_CXX_FLAGS='-ffunction-sections -fdata-sections -DNPERF_CONTEXT -DNIOSTATS_CONTEXT'
  -DCMAKE_CXX_VISIBILITY_PRESET=hidden -DCMAKE_VISIBILITY_INLINES_HIDDEN=ON -DCMAKE_POSITION_INDEPENDENT_CODE=ON
  -DCMAKE_INSTALL_LIBDIR=lib -DROCKSDB_BUILD_SHARED=OFF -DUSE_RTTI=ON -DPORTABLE=ON -DFAIL_ON_WARNINGS=OFF
  -DWITH_LZ4=ON -DWITH_LIBURING=OFF -DWITH_GFLAGS=OFF -DWITH_TESTS=OFF -DWITH_ALL_TESTS=OFF -DWITH_TOOLS=OFF
  -DWITH_CORE_TOOLS=OFF -DWITH_BENCHMARK_TOOLS=OFF -DWITH_TRACE_TOOLS=OFF)
# What every x86-64 processor of the last ten years has; checksums are much slower without.
[[ $architecture != amd64 ]] || flags+=(-DFORCE_SSE42=ON)
cache=${KORA_ENGINE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kora-data}
engine=$cache/rocksdb-$version-$architecture-$(sha256sum <<<"${flags[*]}" | cut -c1-12)

# The source packages of the repositories that this machine installs from, without touching what it lists: the
# machine's own settings may not name any.
fetch_source() {
  local lists=$1/lists sources=$1/sources.list
  mkdir -p "$lists/partial"
  # shellcheck disable=SC2016  # apt expands these
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
    sort -u | awk -v key=/usr/share/keyrings/debian-archive-keyring.gpg \
      '$4 == "Debian" && $3 == "main" { print "deb-src [signed-by=" key "] " $1 " " $2 " " $3 }' >"$sources"
  local options=(-q -o "Dir::Etc::SourceList=$sources" -o Dir::Etc::SourceParts=- -o "Dir::State::Lists=$lists"
    -o APT::Sandbox::User=root)
  apt-get "${options[@]}" update
  (cd "$1" && apt-get "${options[@]}" source --download-only "rocksdb=$version")
  dpkg-source --no-check -x "$1"/rocksdb_*.dsc "$1/source"
}

build() {
  fetch_source "$1"
  cmake -S "$1/source" -B "$1/build" -G Ninja -DCMAKE_INSTALL_PREFIX="$engine.new" "${flags[@]}"
  nice cmake --build "$1/build"
  cmake --install "$1/build"
}

if [[ ! -d $engine ]]; then
  mkdir -p "$cache"
  work=$(mktemp -d "${TMPDIR:-/tmp}/kora-engine.XXXXXX")
  trap 'rm -rf "$work" "$engine.new"' EXIT
  step engine "Compile RocksDB $version for release" build "$work"
  mv "$engine.new" "$engine"
fi
mkdir -p build
ln -sfn "$engine" build/engine
