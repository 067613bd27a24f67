package kora.data.distributed.common;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Json;
import kora.data.distributed.internal.Texts;

/**
 * The form that the values of a store must have: JSON objects with these fields. Immutable.
 *
 * <pre>{@code
 * Schema.builder()
 *     .mandatory("name", FieldType.STRING)
 *     .optional("age", FieldType.INT)
 *     .withDefault("address.city", FieldType.STRING, "Rome")
 *     .index("age")
 *     .index("address.city", "age")
 *     .build()
 * }</pre>
 *
 * <p>A store keeps the schema that it was opened with. What each write is checked for, and which other schema a store
 * takes later, is described in {@code docs/query.md}.
 */
public final class Schema {
  private final String json;

  private Schema(String json) {
    this.json = json;
  }

  /**
   * A schema from its JSON text, which the store client checks when a store is opened with it.
   *
   * @param json the text
   * @return the schema
   */
  public static Schema ofJson(String json) {
    return new Schema(Texts.asciiJson(Arguments.notNull(json, "schema")));
  }

  /**
   * Starts with no field, and with values that may have no other fields.
   *
   * @return a builder, for one thread
   */
  public static Builder builder() {
    return new Builder();
  }

  /**
   * The schema as JSON.
   *
   * @return the text in ASCII; other characters are escaped
   */
  public String toJsonString() {
    return json;
  }

  /** The same as {@link #toJsonString}. */
  @Override
  public String toString() {
    return json;
  }

  /** Collects fields and indexes; for one thread. Paths are as in {@link Condition#field}. */
  public static final class Builder {
    private final List<String> fields = new ArrayList<>();
    private final List<String> indexes = new ArrayList<>();
    private boolean loose;

    private Builder() {}

    /**
     * Adds a field that may be missing or null.
     *
     * @param path the field
     * @param type its type
     * @return this builder
     */
    public Builder optional(String path, FieldType type) {
      return field(path, type, "");
    }

    /**
     * Adds a field that must have a value.
     *
     * @param path the field
     * @param type its type
     * @return this builder
     */
    public Builder mandatory(String path, FieldType type) {
      return field(path, type, ",\"mandatory\":true");
    }

    /**
     * Adds a field that may be missing or null. Queries take a default for it where it is missing; the stored value
     * stays as it was written.
     *
     * @param path the field
     * @param type its type
     * @param value the default: a String, int, long, float, double or boolean
     * @return this builder
     */
    public Builder withDefault(String path, FieldType type, Object value) {
      return field(path, type, ",\"default\":" + Json.scalar(value, "default"));
    }

    /**
     * Lets values have other fields, too, of any type.
     *
     * @return this builder
     */
    public Builder loose() {
      loose = true;
      return this;
    }

    /**
     * Adds an index, which makes queries fast that compare its first fields with values.
     *
     * @param path the first field
     * @param more the fields after it, if any
     * @return this builder
     */
    public Builder index(String path, String... more) {
      List<String> paths = Arrays.stream(Condition.names(path, more)).map(Json::path).collect(Collectors.toList());
      indexes.add(Json.list(paths));
      return this;
    }

    /**
     * The schema collected so far.
     *
     * @return the schema
     */
    public Schema build() {
      return new Schema("{\"mode\":\"" + (loose ? "loose" : "strict") + "\",\"fields\":" + Json.list(fields)
          + ",\"indexes\":" + Json.list(indexes) + "}");
    }

    private Builder field(String path, FieldType type, String rules) {
      fields.add("{\"field\":" + Json.path(path) + ",\"type\":\"" + Arguments.notNull(type, "type").text() + "\""
          + rules + "}");
      return this;
    }
  }
}
