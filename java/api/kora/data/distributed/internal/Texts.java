package kora.data.distributed.internal;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;

/**
 * Text values as bytes: UTF-8, extended to lone surrogates, which take three bytes each (generalised UTF-8),
 * so that every string comes back as it was.
 */
public final class Texts {
  private static final char NOWHERE_IN_JSON = 0x1;

  private Texts() {}

  public static byte[] encode(String text) {
    return hasSurrogate(text) ? encodeWithSurrogates(text) : text.getBytes(StandardCharsets.UTF_8);
  }

  public static String decode(byte[] bytes) {
    try {
      return hasEncodedSurrogate(bytes) ? decodeWithSurrogates(bytes) : decodePlain(bytes, 0, bytes.length);
    } catch (CharacterCodingException malformed) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_FORMAT, "The bytes of this text are not UTF-8.");
    }
  }

  /**
   * JSON that is pure ASCII: other characters become Unicode escapes, which mean the same in JSON. A text that is no
   * JSON remains none, for the store client to refuse.
   */
  public static String asciiJson(String json) {
    StringBuilder ascii = new StringBuilder(json.length());
    boolean escaped = false;
    for (int i = 0; i < json.length(); i++) {
      char c = json.charAt(i);
      if (c == 0 || escaped && c > 0x7F) {
        // An escape would be allowed here, where the character is not.
        ascii.append(NOWHERE_IN_JSON);
      } else if (c <= 0x7F) {
        ascii.append(c);
      } else {
        ascii.append(String.format("\\u%04x", (int) c));
      }
      escaped = c == '\\' && !escaped;
    }
    return ascii.toString();
  }

  private static boolean hasSurrogate(String text) {
    for (int i = 0; i < text.length(); i++) {
      if (Character.isSurrogate(text.charAt(i))) {
        return true;
      }
    }
    return false;
  }

  private static byte[] encodeWithSurrogates(String text) {
    ByteBuffer bytes = ByteBuffer.allocate(Math.multiplyExact(text.length(), 3));
    for (int i = 0; i < text.length(); ) {
      int c = text.codePointAt(i);
      i += Character.charCount(c);
      if (c >= 0xD800 && c <= 0xDFFF) {
        bytes.put((byte) 0xED).put((byte) (0x80 | c >> 6 & 0x3F)).put((byte) (0x80 | c & 0x3F));
      } else {
        bytes.put(StandardCharsets.UTF_8.encode(CharBuffer.wrap(Character.toChars(c))));
      }
    }
    return Arrays.copyOf(bytes.array(), bytes.position());
  }

  private static boolean isEncodedSurrogate(byte[] bytes, int at) {
    return bytes[at] == (byte) 0xED && at + 2 < bytes.length && (bytes[at + 1] & 0xE0) == 0xA0
        && (bytes[at + 2] & 0xC0) == 0x80;
  }

  private static boolean hasEncodedSurrogate(byte[] bytes) {
    for (int i = 0; i < bytes.length; i++) {
      if (isEncodedSurrogate(bytes, i)) {
        return true;
      }
    }
    return false;
  }

  private static String decodeWithSurrogates(byte[] bytes) throws CharacterCodingException {
    StringBuilder text = new StringBuilder(bytes.length);
    int plainFrom = 0;
    for (int i = 0; i < bytes.length; i++) {
      if (isEncodedSurrogate(bytes, i)) {
        text.append(decodePlain(bytes, plainFrom, i));
        text.append((char) (0xD000 | (bytes[i + 1] & 0x3F) << 6 | bytes[i + 2] & 0x3F));
        i += 2;
        plainFrom = i + 1;
      }
    }
    return text.append(decodePlain(bytes, plainFrom, bytes.length)).toString();
  }

  private static String decodePlain(byte[] bytes, int from, int to) throws CharacterCodingException {
    String text = new String(bytes, from, to - from, StandardCharsets.UTF_8);
    if (text.indexOf('\uFFFD') >= 0) {
      // Either the text has this character, or it stands for malformed bytes: the strict decoder tells.
      StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(bytes, from, to - from));
    }
    return text;
  }
}
