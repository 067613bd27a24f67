package kora.data.distributed.common;

/** How much harm the loss or disclosure of a store's data would do. */
public enum SecurityLevel {
  /** No level was given. */
  NO_LEVEL(0),
  /** None: the data is public. */
  S0(1),
  /** Low. */
  S1(2),
  /** Moderate. */
  S2(3),
  /** High. */
  S3(4),
  /** Severe. */
  S4(5);

  private final int code;

  SecurityLevel(int code) {
    this.code = code;
  }

  /**
   * The number that stands for the level in stores and in native code.
   *
   * @return the code
   */
  public int getCode() {
    return code;
  }
}
