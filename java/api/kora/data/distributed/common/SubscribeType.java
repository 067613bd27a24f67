package kora.data.distributed.common;

/** Which changes an observer is told of. */
public enum SubscribeType {
  /** Changes made on this device. */
  LOCAL(0),
  /** Changes that came from other devices. */
  REMOTE(1),
  /** Both. */
  ALL(2);

  private final int code;

  SubscribeType(int code) {
    this.code = code;
  }

  /**
   * The number that stands for the choice in native code.
   *
   * @return the code
   */
  public int getType() {
    return code;
  }
}
