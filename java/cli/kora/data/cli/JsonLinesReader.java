package kora.data.cli;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonParser;
import com.fasterxml.jackson.core.JsonProcessingException;
import com.fasterxml.jackson.core.JsonToken;
import com.fasterxml.jackson.core.StreamReadFeature;
import java.io.BufferedReader;
import java.io.IOException;
import kora.data.distributed.common.Entry;

/**
 * JSON Lines: on each line an object with the members key and value, and maybe type. Without a type a JSON string is
 * a string, true and false are booleans, a whole number is a long, any other number a double.
 */
final class JsonLinesReader implements RecordReader {
  private static final JsonFactory FACTORY =
      JsonFactory.builder().enable(StreamReadFeature.STRICT_DUPLICATE_DETECTION).build();

  private final BufferedReader in;
  private long line;

  JsonLinesReader(BufferedReader in) {
    this.in = in;
  }

  @Override
  public Entry next() throws IOException {
    for (String text = in.readLine(); text != null; text = in.readLine()) {
      ++line;
      if (!text.isBlank()) {
        return parse(text);
      }
    }
    return null;
  }

  @Override
  public long line() {
    return line;
  }

  private static Entry parse(String text) throws IOException {
    try (JsonParser json = FACTORY.createParser(text)) {
      if (json.nextToken() != JsonToken.START_OBJECT) {
        throw new Failure("this is no JSON object");
      }
      Entry entry = new Members().read(json).toEntry();
      if (json.nextToken() != null) {
        throw new Failure("there is more than one JSON object in this line");
      }
      return entry;
    } catch (JsonProcessingException malformed) {
      throw new Failure("malformed JSON: " + malformed.getOriginalMessage());
    }
  }

  /** The members of one object. */
  private static final class Members {
    private String key;
    private String type;
    private String value;
    private String valueType;

    Members read(JsonParser json) throws IOException {
      while (json.nextToken() != JsonToken.END_OBJECT) {
        String name = json.getCurrentName();
        JsonToken token = json.nextToken();
        switch (name) {
          case "key":
            key = string(json, token, name);
            break;
          case "type":
            type = string(json, token, name);
            break;
          case "value":
            valueType = typeOf(token);
            value = json.getText();
            break;
          default:
            throw new Failure("unknown member '" + name + "'; the members are key, type and value");
        }
      }
      return this;
    }

    Entry toEntry() {
      if (key == null || value == null) {
        throw new Failure("the object has no " + (key == null ? "key" : "value"));
      }
      return new Entry(key, new TypedText(type == null ? valueType : type, value).toValue());
    }

    private static String string(JsonParser json, JsonToken token, String name) throws IOException {
      if (token != JsonToken.VALUE_STRING) {
        throw new Failure("the " + name + " is no string");
      }
      return json.getText();
    }

    private static String typeOf(JsonToken token) {
      switch (token) {
        case VALUE_STRING:
          return "string";
        case VALUE_NUMBER_INT:
          return "long";
        case VALUE_NUMBER_FLOAT:
          return "double";
        case VALUE_TRUE:
        case VALUE_FALSE:
          return "boolean";
        default:
          throw new Failure("the value is no string, number, true or false");
      }
    }
  }
}
