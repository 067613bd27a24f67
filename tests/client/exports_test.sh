#!/bin/sh
# exports_test.sh LIBRARY: the library is found by its own name and beside its neighbours, and shows what the contract
# declares and the natives of the runtime binding, nothing else.
set -eu
library=$1

head=$(readelf -d "$library")
echo "$head" | grep -q 'soname: \[libkora_data_client.so\]'
echo "$head" | grep -qF "runpath: [\$ORIGIN]"

actual=$(nm -DC --defined-only "$library" | cut -d' ' -f3- | sed 's/(.*//' | sort -u)
manager=KORA::DistributedKv::DistributedKvDataManager
entry=KORA::DistributedKv::Entry
binding=Java_kora_data_distributed_common_StoreClient
syncs=Java_kora_data_distributed_internal_Syncs
expected=$(sort -u <<END
${binding}_nativeClaimCallbacks
${binding}_nativeConfigure
${binding}_nativeHostCallbacks
${binding}_nativeHubTrouble
${binding}_nativeSyncReasons
${syncs}_nativeCompleted
${syncs}_nativeNumberNext
$manager::CloseKvStore
$manager::DeleteKvStore
$manager::DistributedKvDataManager
$manager::GetAllKvStoreId
$manager::GetDeviceList
$manager::GetKvStore
$manager::GetLocalDevice
$manager::GetSingleKvStore
$manager::RegisterKvStoreServiceDeathRecipient
$manager::StartWatchDeviceChange
$manager::StopWatchDeviceChange
$manager::UnRegisterKvStoreServiceDeathRecipient
$manager::~DistributedKvDataManager
$entry::Flatten
VTT for $entry
typeinfo for $entry
typeinfo name for $entry
vtable for $entry
END
)
if [ "$actual" != "$expected" ]; then
  echo "exported:"; echo "$actual"
  echo "expected:"; echo "$expected"
  exit 1
fi
