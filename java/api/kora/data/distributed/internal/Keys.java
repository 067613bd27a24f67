package kora.data.distributed.internal;

import java.nio.charset.StandardCharsets;

/**
 * Keys as bytes: modified UTF-8 (JNI specification, "Modified UTF-8 Strings"), because that
 * is what native code makes of a key that reaches it as a string. Only so do both ways find the same record.
 */
public final class Keys {
  private Keys() {}

  /** The bytes of a key that must not be empty. */
  public static byte[] encode(String key) {
    return encodePrefix(check(key));
  }

  /** The bytes of a key's beginning; an empty one begins every key. */
  public static byte[] encodePrefix(String prefix) {
    Arguments.notNull(prefix, "prefix");
    int size = encodedSize(prefix);
    return size == prefix.length() ? prefix.getBytes(StandardCharsets.ISO_8859_1) : encode(prefix, size);
  }

  public static String check(String key) {
    return Arguments.text(key, "key");
  }

  private static int encodedSize(String text) {
    int size = 0;
    for (int i = 0; i < text.length(); i++) {
      char c = text.charAt(i);
      size += c >= 0x1 && c <= 0x7F ? 1 : c <= 0x7FF ? 2 : 3;
    }
    return size;
  }

  private static byte[] encode(String text, int size) {
    byte[] bytes = new byte[size];
    int at = 0;
    for (int i = 0; i < text.length(); i++) {
      char c = text.charAt(i);
      if (c >= 0x1 && c <= 0x7F) {
        bytes[at++] = (byte) c;
      } else if (c <= 0x7FF) {
        bytes[at++] = (byte) (0xC0 | c >> 6);
        bytes[at++] = (byte) (0x80 | c & 0x3F);
      } else {
        bytes[at++] = (byte) (0xE0 | c >> 12);
        bytes[at++] = (byte) (0x80 | c >> 6 & 0x3F);
        bytes[at++] = (byte) (0x80 | c & 0x3F);
      }
    }
    return bytes;
  }
}
