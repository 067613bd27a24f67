package kora.data.distributed.common;

/** The types of {@link Value}, with the codes that are stored with every value and never change. */
public enum ValueType {
  /** A text. */
  STRING(1),
  /** A 32-bit integer. */
  INT(2),
  /** A 64-bit integer. */
  LONG(3),
  /** A 32-bit floating point number. */
  FLOAT(4),
  /** A 64-bit floating point number. */
  DOUBLE(5),
  /** A truth value. */
  BOOLEAN(6),
  /** Bytes of any meaning. */
  BYTES(7);

  private static final ValueType[] TYPES = values();

  private final byte code;

  ValueType(int code) {
    this.code = (byte) code;
  }

  /**
   * The first byte of every stored value of this type.
   *
   * @return the code, 1 to 7
   */
  public byte getCode() {
    return code;
  }

  /** The type of a code, or null when there is none. */
  static ValueType ofCode(byte code) {
    return code >= 1 && code <= TYPES.length ? TYPES[code - 1] : null;
  }
}
