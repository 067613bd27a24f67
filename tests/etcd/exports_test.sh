#!/bin/sh
# exports_test.sh CLIENT LIBRARY: the store client does without gRPC, and the library for etcd shows its one function.
set -eu
client=$1
library=$2

if ldd "$client" | grep -E 'grpc|protobuf|kora_data_etcd'; then
  echo 'the store client needs these'
  exit 1
fi
readelf -d "$library" | grep -q 'soname: \[libkora_data_etcd.so\]'
actual=$(nm -DC --defined-only "$library" | cut -d' ' -f3-)
if [ "$actual" != KoraDataOpenEtcdHub ]; then
  echo "exported: $actual"
  exit 1
fi
