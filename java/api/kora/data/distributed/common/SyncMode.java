package kora.data.distributed.common;

/** In which direction a synchronisation moves changes. */
public enum SyncMode {
  /** Fetches the changes of the other devices. */
  PULL(0),
  /** Sends this device's changes. */
  PUSH(1),
  /** Both. */
  PUSH_PULL(2);

  private final int code;

  SyncMode(int code) {
    this.code = code;
  }

  /**
   * The number that stands for the direction in native code.
   *
   * @return the code
   */
  public int getCode() {
    return code;
  }
}
