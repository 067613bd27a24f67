package kora.data.distributed.common;

/** Shows native code which store to close; it reads the handle from the field and sets it to 0. */
final class OpenStore implements KvStore {
  private final String storeId;
  private long nativeKvStore;

  OpenStore(String storeId, long nativeKvStore) {
    this.storeId = storeId;
    this.nativeKvStore = nativeKvStore;
  }

  @Override
  public String getStoreId() {
    return storeId;
  }

  /** The manager closes the store, not this. */
  @Override
  public void close() {}
}
