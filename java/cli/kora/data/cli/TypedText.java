package kora.data.cli;

import java.util.Base64;
import java.util.Locale;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.Value;
import kora.data.distributed.common.ValueType;

/**
 * A value as text: the name of its type and a text from which the same value can be made again. Bytes are Base64
 * (RFC 4648). A value of no known type or form has the number of its type for a name and its payload in Base64.
 */
final class TypedText {
  final String type;
  final String text;

  TypedText(String type, String text) {
    this.type = type;
    this.text = text;
  }

  static TypedText of(Value value) {
    try {
      ValueType type = value.getType();
      return new TypedText(type.name().toLowerCase(Locale.ROOT), text(type, value));
    } catch (KvStoreException unknownOrMalformed) {
      return new TypedText(Integer.toString(value.getTypeCode()), base64(value.getPayload()));
    }
  }

  /** The value again; a text that does not fit its type is a {@link Failure}. */
  Value toValue() {
    try {
      if (!type.isEmpty() && (Character.isDigit(type.charAt(0)) || type.charAt(0) == '-')) {
        return Value.ofPayload(Byte.parseByte(type), Base64.getDecoder().decode(text));
      }
      return value(knownType());
    } catch (IllegalArgumentException malformed) {
      throw new Failure("'" + abbreviated(text) + "' is no " + type);
    }
  }

  private ValueType knownType() {
    for (ValueType known : ValueType.values()) {
      if (known.name().equalsIgnoreCase(type)) {
        return known;
      }
    }
    throw new Failure("unknown type '" + type + "'; the types are string, int, long, float, double, boolean, bytes");
  }

  private static String text(ValueType type, Value value) {
    switch (type) {
      case STRING:
        return value.asString();
      case INT:
        return Integer.toString(value.asInt());
      case LONG:
        return Long.toString(value.asLong());
      case FLOAT:
        return Float.toString(value.asFloat());
      case DOUBLE:
        return Double.toString(value.asDouble());
      case BOOLEAN:
        return Boolean.toString(value.asBoolean());
      default:
        return base64(value.asBytes());
    }
  }

  private Value value(ValueType known) {
    switch (known) {
      case STRING:
        return Value.ofString(text);
      case INT:
        return Value.ofInt(Integer.parseInt(text));
      case LONG:
        return Value.ofLong(Long.parseLong(text));
      case FLOAT:
        return Value.ofFloat(Float.parseFloat(text));
      case DOUBLE:
        return Value.ofDouble(Double.parseDouble(text));
      case BOOLEAN:
        return Value.ofBoolean(truth());
      default:
        return Value.ofBytes(Base64.getDecoder().decode(text));
    }
  }

  private boolean truth() {
    if (!text.equals("true") && !text.equals("false")) {
      throw new IllegalArgumentException();
    }
    return text.equals("true");
  }

  private static String base64(byte[] bytes) {
    return Base64.getEncoder().encodeToString(bytes);
  }

  private static String abbreviated(String text) {
    return text.length() <= 40 ? text : text.substring(0, 40) + "...";
  }
}
