package kora.data.distributed.user;

import java.util.List;
import java.util.Optional;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.Value;
import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.Results;

/**
 * A snapshot. Native code makes one for each change that it delivers; it is guarded before anyone sees it.
 */
final class KvStoreSnapshotImpl implements KvStoreSnapshot {
  /** Native code reads the snapshot to release from here and sets it to 0. */
  private long nativeSnapshot;
  private NativeHandle handle;
  private Object store;

  KvStoreSnapshotImpl(long nativeSnapshot) {
    this.nativeSnapshot = nativeSnapshot;
  }

  /**
   * Makes this the program's object for a snapshot.
   *
   * @param opened the guard
   * @param openedFrom kept reachable as long as this
   */
  KvStoreSnapshotImpl guardedBy(NativeHandle opened, Object openedFrom) {
    handle = opened;
    store = openedFrom;
    opened.closeWithOwner(this);
    return this;
  }

  long nativeHandle() {
    return nativeSnapshot;
  }

  @Override
  public Optional<Value> find(String key) {
    byte[] bytes = Keys.encode(key);
    return Results.find(() -> handle.call(this, snapshot -> nativeGet(bytes, snapshot)));
  }

  @Override
  public List<Entry> getEntries(String prefix) {
    byte[] bytes = Keys.encodePrefix(prefix);
    return Results.list(handle.call(this, snapshot -> nativeGetEntries(bytes, snapshot)));
  }

  @Override
  public List<String> getKeys(String prefix) {
    byte[] bytes = Keys.encodePrefix(prefix);
    return Results.list(handle.call(this, snapshot -> nativeGetKeys(bytes, snapshot)));
  }

  @Override
  public void close() {
    handle.close();
  }

  private static native Value nativeGet(byte[] key, long snapshot);

  private static native List<Entry> nativeGetEntries(byte[] prefix, long snapshot);

  private static native List<String> nativeGetKeys(byte[] prefix, long snapshot);
}
