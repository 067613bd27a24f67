package kora.data.distributed.internal;

import java.util.Collection;

/** Writes JSON (RFC 8259) in ASCII: what crosses to native code as text. */
public final class Json {
  private Json() {}

  public static String string(String text) {
    StringBuilder json = new StringBuilder(text.length() + 2).append('"');
    for (int i = 0; i < text.length(); i++) {
      char c = text.charAt(i);
      if (c == '"' || c == '\\') {
        json.append('\\').append(c);
      } else if (c >= ' ' && c < 0x7F) {
        json.append(c);
      } else {
        json.append(String.format("\\u%04x", (int) c));
      }
    }
    return json.append('"').toString();
  }

  public static String list(Collection<String> elements) {
    return "[" + String.join(",", elements) + "]";
  }

  /** A text, number or truth value; JSON has no others that a field could be compared with. */
  public static String scalar(Object value, String name) {
    Arguments.notNull(value, name);
    if (value instanceof String) {
      return string((String) value);
    }
    if (value instanceof Integer || value instanceof Long || value instanceof Boolean) {
      return value.toString();
    }
    if (value instanceof Double || value instanceof Float) {
      return number(((Number) value).doubleValue(), name);
    }
    throw Arguments.invalid("The " + name + " is no String, int, long, float, double or boolean but a "
        + value.getClass().getName() + ".");
  }

  private static String number(double value, String name) {
    if (Double.isNaN(value) || Double.isInfinite(value)) {
      throw Arguments.invalid("The " + name + " is " + value + ", which JSON does not have.");
    }
    return Double.toString(value);
  }
}
