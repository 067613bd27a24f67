package kora.data.distributed.common;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
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

  /** Collects fields and indexes; for one thread. */
  public static final class Builder {
    private static final String MANDATORY = ",\"mandatory\":true";

    private final List<String> fields = new ArrayList<>();
    private final List<String> indexes = new ArrayList<>();
    private boolean loose;

    private Builder() {}

    /**
     * Adds a field that may be missing or null.
     *
     * @param path the field, as in {@link Condition#field}
     * @param type its type
     * @return this builder
     */
    public Builder optional(String path, FieldType type) {
      return optional(Condition.field(path), type);
    }

    /**
     * Adds a field that may be missing or null.
     *
     * @param field the field, from {@link Condition#field} or {@link Condition#fieldAt}
     * @param type its type
     * @return this builder
     */
    public Builder optional(Condition.Field field, FieldType type) {
      return add(field, type, "");
    }

    /**
     * Adds a field that must have a value.
     *
     * @param path the field, as in {@link Condition#field}
     * @param type its type
     * @return this builder
     */
    public Builder mandatory(String path, FieldType type) {
      return mandatory(Condition.field(path), type);
    }

    /**
     * Adds a field that must have a value.
     *
     * @param field the field, from {@link Condition#field} or {@link Condition#fieldAt}
     * @param type its type
     * @return this builder
     */
    public Builder mandatory(Condition.Field field, FieldType type) {
      return add(field, type, MANDATORY);
    }

    /**
     * Adds a field that may be missing or null. Queries take a default for it where it is missing; the stored value
     * stays as it was written.
     *
     * @param path the field, as in {@link Condition#field}
     * @param type its type
     * @param value the default: a String, int, long, float, double or boolean
     * @return this builder
     */
    public Builder withDefault(String path, FieldType type, Object value) {
      return withDefault(Condition.field(path), type, value);
    }

    /**
     * Adds a field that may be missing or null. Queries take a default for it where it is missing; the stored value
     * stays as it was written.
     *
     * @param field the field, from {@link Condition#field} or {@link Condition#fieldAt}
     * @param type its type
     * @param value the default: a String, int, long, float, double or boolean
     * @return this builder
     */
    public Builder withDefault(Condition.Field field, FieldType type, Object value) {
      return add(field, type, defaultOf(value));
    }

    /**
     * Adds a field that may be missing but not null. Queries take a default for it where it is missing; the stored value
     * stays as it was written.
     *
     * @param path the field, as in {@link Condition#field}
     * @param type its type
     * @param value the default: a String, int, long, float, double or boolean
     * @return this builder
     */
    public Builder mandatoryWithDefault(String path, FieldType type, Object value) {
      return mandatoryWithDefault(Condition.field(path), type, value);
    }

    /**
     * Adds a field that may be missing but not null. Queries take a default for it where it is missing; the stored value
     * stays as it was written.
     *
     * @param field the field, from {@link Condition#field} or {@link Condition#fieldAt}
     * @param type its type
     * @param value the default: a String, int, long, float, double or boolean
     * @return this builder
     */
    public Builder mandatoryWithDefault(Condition.Field field, FieldType type, Object value) {
      return add(field, type, MANDATORY + defaultOf(value));
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
     * @param path the first field, as in {@link Condition#field}
     * @param more the fields after it, if any
     * @return this builder
     */
    public Builder index(String path, String... more) {
      Condition.Field[] fields =
          Arrays.stream(Arguments.notNull(more, "field")).map(Condition::field).toArray(Condition.Field[]::new);
      return index(Condition.field(path), fields);
    }

    /**
     * Adds an index, as {@link #index(String, String...)}.
     *
     * @param field the first field, from {@link Condition#field} or {@link Condition#fieldAt}
     * @param more the fields after it, if any
     * @return this builder
     */
    public Builder index(Condition.Field field, Condition.Field... more) {
      List<String> paths = new ArrayList<>(List.of(Arguments.notNull(field, "field").path()));
      for (Condition.Field next : Arguments.notNull(more, "field")) {
        paths.add(Arguments.notNull(next, "field").path());
      }
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

    private Builder add(Condition.Field field, FieldType type, String rules) {
      fields.add("{\"field\":" + Arguments.notNull(field, "field").path() + ",\"type\":\""
          + Arguments.notNull(type, "type").text() + "\"" + rules + "}");
      return this;
    }

    private static String defaultOf(Object value) {
      return ",\"default\":" + Json.scalar(value, "default");
    }
  }
}
