package kora.data.distributed.common;

import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.PackageAccess;

final class ResultSetAccess implements PackageAccess.ResultSets {
  @Override
  public KvStoreResultSet open(NativeHandle handle, Object store) {
    return new KvStoreResultSetImpl(handle, store);
  }

  @Override
  public KvStoreResultSet toClose(long handle) {
    return new KvStoreResultSetImpl(handle);
  }
}
