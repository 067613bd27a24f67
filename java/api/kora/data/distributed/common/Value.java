package kora.data.distributed.common;

import java.nio.ByteBuffer;
import java.util.Arrays;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Texts;

/**
 * A typed value. Immutable.
 *
 * <p>A value is stored as one byte for its type, followed by its payload; multi-byte numbers are big-endian:
 *
 * <table>
 *   <caption>Layout of a stored value</caption>
 *   <tr><th>Type</th><th>Code</th><th>Payload</th></tr>
 *   <tr><td>STRING</td><td>1</td><td>UTF-8; a surrogate without its partner takes three bytes (generalised
 *       UTF-8)</td></tr>
 *   <tr><td>INT</td><td>2</td><td>4 bytes, two's complement</td></tr>
 *   <tr><td>LONG</td><td>3</td><td>8 bytes, two's complement</td></tr>
 *   <tr><td>FLOAT</td><td>4</td><td>4 bytes, IEEE 754 binary32</td></tr>
 *   <tr><td>DOUBLE</td><td>5</td><td>8 bytes, IEEE 754 binary64</td></tr>
 *   <tr><td>BOOLEAN</td><td>6</td><td>1 byte, 0 or 1</td></tr>
 *   <tr><td>BYTES</td><td>7</td><td>the bytes as they are</td></tr>
 * </table>
 *
 * <p>The codes never change. A store client may hand out values with other codes; they are read with
 * {@link #getTypeCode} and {@link #getPayload}.
 */
public final class Value {
  // Native code reads both fields by name and makes values through the constructor.
  private final byte type;
  private final byte[] value;

  /** Takes the array as it is: only for callers that keep no other reference to it. */
  private Value(byte type, byte[] value) {
    this.type = type;
    this.value = value;
  }

  private Value(ValueType type, byte[] value) {
    this(type.getCode(), value);
  }

  /**
   * A text.
   *
   * @param text any string, with lone surrogates or without
   * @return the value
   */
  public static Value ofString(String text) {
    return new Value(ValueType.STRING, Texts.encode(Arguments.notNull(text, "text")));
  }

  /**
   * A 32-bit integer.
   *
   * @param number any
   * @return the value
   */
  public static Value ofInt(int number) {
    return new Value(ValueType.INT, ByteBuffer.allocate(Integer.BYTES).putInt(number).array());
  }

  /**
   * A 64-bit integer.
   *
   * @param number any
   * @return the value
   */
  public static Value ofLong(long number) {
    return new Value(ValueType.LONG, ByteBuffer.allocate(Long.BYTES).putLong(number).array());
  }

  /**
   * A 32-bit floating point number; the bits of a NaN are kept.
   *
   * @param number any
   * @return the value
   */
  public static Value ofFloat(float number) {
    int bits = Float.floatToRawIntBits(number);
    return new Value(ValueType.FLOAT, ByteBuffer.allocate(Integer.BYTES).putInt(bits).array());
  }

  /**
   * A 64-bit floating point number; the bits of a NaN are kept.
   *
   * @param number any
   * @return the value
   */
  public static Value ofDouble(double number) {
    long bits = Double.doubleToRawLongBits(number);
    return new Value(ValueType.DOUBLE, ByteBuffer.allocate(Long.BYTES).putLong(bits).array());
  }

  /**
   * A truth value.
   *
   * @param truth any
   * @return the value
   */
  public static Value ofBoolean(boolean truth) {
    return new Value(ValueType.BOOLEAN, new byte[] {(byte) (truth ? 1 : 0)});
  }

  /**
   * Bytes of any meaning.
   *
   * @param bytes copied; may be empty
   * @return the value
   */
  public static Value ofBytes(byte[] bytes) {
    return new Value(ValueType.BYTES, Arguments.notNull(bytes, "bytes").clone());
  }

  /**
   * A value from its stored form.
   *
   * @param typeCode the first stored byte
   * @param payload the bytes after it, copied; not checked against the type
   * @return the value
   */
  public static Value ofPayload(byte typeCode, byte[] payload) {
    return new Value(typeCode, Arguments.notNull(payload, "payload").clone());
  }

  /**
   * The type.
   *
   * @return the type
   * @throws KvStoreException INVALID_FORMAT if the type code is none of {@link ValueType}
   */
  public ValueType getType() {
    ValueType known = ValueType.ofCode(type);
    if (known == null) {
      throw new KvStoreException(
          KvStoreErrorCode.INVALID_FORMAT, "This value is of the unknown type " + type + ".");
    }
    return known;
  }

  /**
   * The first stored byte.
   *
   * @return the code, also when it is none of {@link ValueType}
   */
  public byte getTypeCode() {
    return type;
  }

  /**
   * The stored bytes after the first.
   *
   * @return a copy
   */
  public byte[] getPayload() {
    return value.clone();
  }

  /**
   * The number of stored bytes after the first.
   *
   * @return the size in bytes
   */
  public int getPayloadSize() {
    return value.length;
  }

  /**
   * The text of a STRING.
   *
   * @return the text
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public String asString() {
    return Texts.decode(payload(ValueType.STRING));
  }

  /**
   * The number of an INT.
   *
   * @return the number
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public int asInt() {
    return payload(ValueType.INT, Integer.BYTES).getInt();
  }

  /**
   * The number of a LONG.
   *
   * @return the number
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public long asLong() {
    return payload(ValueType.LONG, Long.BYTES).getLong();
  }

  /**
   * The number of a FLOAT.
   *
   * @return the number
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public float asFloat() {
    return payload(ValueType.FLOAT, Float.BYTES).getFloat();
  }

  /**
   * The number of a DOUBLE.
   *
   * @return the number
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public double asDouble() {
    return payload(ValueType.DOUBLE, Double.BYTES).getDouble();
  }

  /**
   * The truth value of a BOOLEAN.
   *
   * @return the truth value
   * @throws KvStoreException INVALID_FORMAT if the value is of another type or its bytes are malformed
   */
  public boolean asBoolean() {
    byte truth = payload(ValueType.BOOLEAN, 1).get();
    if (truth != 0 && truth != 1) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_FORMAT, "This BOOLEAN is neither 0 nor 1.");
    }
    return truth == 1;
  }

  /**
   * The bytes of a BYTES value.
   *
   * @return a copy
   * @throws KvStoreException INVALID_FORMAT if the value is of another type
   */
  public byte[] asBytes() {
    return payload(ValueType.BYTES).clone();
  }

  @Override
  public boolean equals(Object other) {
    return other instanceof Value
        && type == ((Value) other).type
        && Arrays.equals(value, ((Value) other).value);
  }

  @Override
  public int hashCode() {
    return 31 * type + Arrays.hashCode(value);
  }

  /** The type and the size; not the content, which may be private and may be large. */
  @Override
  public String toString() {
    return typeName() + " of " + value.length + " bytes";
  }

  private String typeName() {
    ValueType known = ValueType.ofCode(type);
    return known == null ? "unknown type " + type : known.name();
  }

  private byte[] payload(ValueType expected) {
    if (type != expected.getCode()) {
      throw new KvStoreException(
          KvStoreErrorCode.INVALID_FORMAT, "The value is of type " + typeName() + ", not " + expected + ".");
    }
    return value;
  }

  private ByteBuffer payload(ValueType expected, int size) {
    byte[] bytes = payload(expected);
    if (bytes.length != size) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_FORMAT,
          "The " + expected + " has " + bytes.length + " bytes instead of " + size + ".");
    }
    return ByteBuffer.wrap(bytes);
  }
}
