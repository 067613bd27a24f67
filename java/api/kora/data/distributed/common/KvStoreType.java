package kora.data.distributed.common;

/** The kinds of store. */
public enum KvStoreType {
  /** A single store whose records belong to the device that wrote them. */
  DEVICE_COLLABORATION(0),
  /** A single store with one value for each key. */
  SINGLE_VERSION(1),
  /** A store that is read through snapshots. */
  MULTI_VERSION(2);

  private final int code;

  KvStoreType(int code) {
    this.code = code;
  }

  /**
   * The number that stands for the kind in stores and in native code.
   *
   * @return the code
   */
  public int getCode() {
    return code;
  }
}
