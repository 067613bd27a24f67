package kora.data.cli;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.json.JsonWriteFeature;
import java.io.IOException;
import java.io.StringWriter;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import kora.data.distributed.common.Entry;

/** JSON Lines with the members key, type and value. */
final class JsonLinesWriter implements RecordWriter {
  private static final JsonFactory FACTORY = new JsonFactory();
  private static final Set<String> BARE = Set.of("int", "long", "boolean");

  private final Appendable out;

  JsonLinesWriter(Appendable out) {
    this.out = out;
  }

  @Override
  public void write(Entry entry) throws IOException {
    out.append(line(entry, null, null)).append('\n');
  }

  /** One record as a JSON object; change and device come first, as far as there are any. */
  static String line(Entry entry, String change, String device) {
    TypedText value = TypedText.of(entry.getValue());
    StringWriter text = new StringWriter();
    try (JsonGenerator json = FACTORY.createGenerator(text)) {
      // Surrogates without their partners exist in JSON as escapes only.
      if (!isUnicode(entry.getKey()) || !isUnicode(value.text)) {
        json.enable(JsonWriteFeature.ESCAPE_NON_ASCII.mappedFeature());
      }
      json.writeStartObject();
      if (change != null) {
        json.writeStringField("change", change);
      }
      if (device != null) {
        json.writeStringField("device", device);
      }
      json.writeStringField("key", entry.getKey());
      json.writeStringField("type", value.type);
      json.writeFieldName("value");
      writeValue(json, value);
      json.writeEndObject();
    } catch (IOException impossible) {
      throw new UncheckedIOException(impossible);
    }
    return text.toString();
  }

  /** A key for a message: ASCII, without control characters. */
  static String escaped(String key) {
    StringBuilder text = new StringBuilder();
    key.chars().forEach(c -> text.append(c < ' ' || c > '~' ? String.format("\\u%04x", c) : "" + (char) c));
    return text.toString();
  }

  private static void writeValue(JsonGenerator json, TypedText value) throws IOException {
    if (BARE.contains(value.type) || isFinite(value)) {
      json.writeRawValue(value.text);
    } else {
      json.writeString(value.text);
    }
  }

  /** JSON has numbers for all but infinities and NaN. */
  private static boolean isFinite(TypedText value) {
    boolean floating = value.type.equals("float") || value.type.equals("double");
    return floating && Double.isFinite(Double.parseDouble(value.text));
  }

  /** Whether the text can be written in UTF-8: it has no lone surrogates. */
  static boolean isUnicode(String text) {
    return StandardCharsets.UTF_8.newEncoder().canEncode(text);
  }
}
