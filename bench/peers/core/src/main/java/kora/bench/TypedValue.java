package kora.bench;

import java.util.Arrays;

/** What stores of bytes are given to make values with a type of: the type is the first byte. */
public final class TypedValue {
  private static final byte BYTES = 6;

  private final byte type;
  private final byte[] payload;

  private TypedValue(byte type, byte[] payload) {
    this.type = type;
    this.payload = payload;
  }

  public byte type() {
    return type;
  }

  public byte[] payload() {
    return payload;
  }

  public static byte[] encode(byte[] payload) {
    byte[] encoded = new byte[payload.length + 1];
    encoded[0] = BYTES;
    System.arraycopy(payload, 0, encoded, 1, payload.length);
    return encoded;
  }

  /** Null for null. */
  public static TypedValue decode(byte[] encoded) {
    return encoded == null ? null : new TypedValue(encoded[0], Arrays.copyOfRange(encoded, 1, encoded.length));
  }
}
