package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.Value;
import kora.data.distributed.common.ValueType;
import kora.data.distributed.internal.Keys;
import kora.data.distributed.internal.Texts;
import org.junit.jupiter.api.Test;

class CodecTest {
  static final List<String> HARD_TEXTS = List.of("plain", "\0", "a\0b", "\u007F\u0080\u07FF\u0800\uFFFF", "gr\u00FC\u00DF",
      "\uD83D\uDE00", "\uD83D", "\uDE00", "\uDE00\uD83D", "x\uD83Dy", "\uD83D\uD83D\uDE00", "\uFFFD", "\uD7FF\uE000");

  @Test
  void keysAreModifiedUtf8() throws IOException {
    for (String key : textsAndRandomOnes()) {
      ByteArrayOutputStream reference = new ByteArrayOutputStream();
      new DataOutputStream(reference).writeUTF(key);
      byte[] withLength = reference.toByteArray();
      assertArrayEquals(Arrays.copyOfRange(withLength, 2, withLength.length), Keys.encode(key));
      assertEquals(key, new DataInputStream(new ByteArrayInputStream(withLength)).readUTF());
    }
  }

  @Test
  void textsComeBackAndAreUtf8WhereTheyCanBe() {
    for (String text : textsAndRandomOnes()) {
      assertEquals(text, Texts.decode(Texts.encode(text)));
      boolean paired = !text.codePoints().anyMatch(c -> c >= 0xD800 && c <= 0xDFFF);
      if (paired) {
        assertArrayEquals(text.getBytes(StandardCharsets.UTF_8), Texts.encode(text));
      }
    }
    assertArrayEquals(bytes(0xED, 0xA0, 0xBD), Texts.encode("\uD83D"));
  }

  @Test
  void malformedTextsAreRefused() {
    for (byte[] malformed : List.of(bytes(0xFF), bytes('a', 0xC3), bytes(0xED, 0xA0), bytes(0xC0, 0x80),
        bytes(0xED, 0xA0, 0xBD, 0x80), bytes(0xF0, 0x9F, 0x98))) {
      Value text = Value.ofPayload(ValueType.STRING.getCode(), malformed);
      assertFails(KvStoreErrorCode.INVALID_FORMAT, text::asString);
    }
  }

  @Test
  void valuesHaveTheirDocumentedBytes() {
    assertStored(Value.ofString("\u00E9"), 1, 0xC3, 0xA9);
    assertStored(Value.ofString(""), 1);
    assertStored(Value.ofInt(-2), 2, 0xFF, 0xFF, 0xFF, 0xFE);
    assertStored(Value.ofLong(0x0102030405060708L), 3, 1, 2, 3, 4, 5, 6, 7, 8);
    assertStored(Value.ofFloat(1.5f), 4, 0x3F, 0xC0, 0, 0);
    assertStored(Value.ofDouble(-2), 5, 0xC0, 0, 0, 0, 0, 0, 0, 0);
    assertStored(Value.ofBoolean(true), 6, 1);
    assertStored(Value.ofBytes(bytes(9, 0, 0xFF)), 7, 9, 0, 0xFF);
    float signalingNan = Float.intBitsToFloat(0x7F800001);
    assertEquals(
        Float.floatToRawIntBits(signalingNan), Float.floatToRawIntBits(Value.ofFloat(signalingNan).asFloat()));
  }

  @Test
  void aWrongTypeOrSizeIsNamed() {
    String message = assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> Value.ofLong(1).asInt()).getMessage();
    assertTrue(message.contains("LONG") && message.contains("INT"), message);
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> Value.ofPayload((byte) 2, new byte[3]).asInt());
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> Value.ofPayload((byte) 6, bytes(2)).asBoolean());
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> Value.ofPayload((byte) 8, new byte[0]).getType());
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> Value.ofPayload((byte) 0, new byte[0]).asBytes());
    assertNotEquals(Value.ofInt(0), Value.ofFloat(0));
  }

  @Test
  void valuesDoNotChange() {
    byte[] given = bytes(1, 2);
    Value value = Value.ofBytes(given);
    given[0] = 9;
    value.asBytes()[1] = 9;
    value.getPayload()[1] = 9;
    assertArrayEquals(bytes(1, 2), value.asBytes());
  }

  @Test
  void jsonCrossesAsAscii() {
    assertEquals("{\"\\u00fc\\ud83d\\ude00\":1}", Schema.ofJson("{\"\u00FC\uD83D\uDE00\":1}").toJsonString());
  }

  private static void assertStored(Value value, int code, int... payload) {
    assertEquals(code, value.getTypeCode());
    assertArrayEquals(bytes(payload), value.getPayload());
    assertEquals(value, Value.ofPayload((byte) code, bytes(payload)));
  }

  private static List<String> textsAndRandomOnes() {
    List<String> texts = new ArrayList<>(HARD_TEXTS);
    Random random = new Random(42);
    for (int i = 0; i < 2000; i++) {
      StringBuilder text = new StringBuilder("k");
      for (int length = random.nextInt(8); length > 0; length--) {
        // Mostly around the surrogates, where the rules change.
        text.append((char) (random.nextBoolean() ? 0xD780 + random.nextInt(0x900) : random.nextInt(0x900)));
      }
      texts.add(text.toString());
    }
    return texts;
  }

  private static byte[] bytes(int... values) {
    byte[] bytes = new byte[values.length];
    for (int i = 0; i < values.length; i++) {
      bytes[i] = (byte) values[i];
    }
    return bytes;
  }
}
