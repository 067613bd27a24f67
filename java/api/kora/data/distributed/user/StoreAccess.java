package kora.data.distributed.user;

import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.PackageAccess;

final class StoreAccess implements PackageAccess.Stores {
  @Override
  public SingleKvStore single(String storeId, NativeHandle handle, KvManagerConfig config, Object manager) {
    return new SingleKvStoreImpl(storeId, handle, config, manager);
  }

  @Override
  public MultiKvStore multi(String storeId, NativeHandle handle, KvManagerConfig config, Object manager) {
    return new MultiKvStoreImpl(storeId, handle, config, manager);
  }
}
