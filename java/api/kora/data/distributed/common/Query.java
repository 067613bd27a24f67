package kora.data.distributed.common;

import java.util.ArrayList;
import java.util.List;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Json;
import kora.data.distributed.internal.Texts;

/**
 * Which entries of a single store to read, and in which order. Immutable.
 *
 * <p>Conditions and orders look into documents: values of type STRING whose text is a JSON object, such as
 * {@code store.putString("user/ada", "{\"name\":\"Ada\",\"age\":36}")} writes. Other values meet no condition.
 *
 * <pre>{@code
 * Query.builder()
 *     .prefix("user/")
 *     .where(Condition.field("age").atLeast(18))
 *     .orderByDescending("age")
 *     .limit(10)
 *     .build()
 * }</pre>
 */
public final class Query {
  private final String json;

  private Query(String json) {
    this.json = json;
  }

  /**
   * Starts with all entries, in the order of their keys' bytes.
   *
   * @return a builder, for one thread
   */
  public static Builder builder() {
    return new Builder();
  }

  /**
   * All entries that meet a condition, in the order of their keys' bytes.
   *
   * @param condition the condition
   * @return the query
   */
  public static Query where(Condition condition) {
    return builder().where(condition).build();
  }

  /**
   * A query from its text, which the store client checks when it is used.
   *
   * @param json the text
   * @return the query
   */
  public static Query ofJson(String json) {
    return new Query(Texts.asciiJson(Arguments.notNull(json, "query")));
  }

  /**
   * The text of the query.
   *
   * @return JSON in ASCII
   */
  public String toJson() {
    return json;
  }

  /** The same as {@link #toJson}. */
  @Override
  public String toString() {
    return json;
  }

  @Override
  public boolean equals(Object other) {
    return other instanceof Query && json.equals(((Query) other).json);
  }

  @Override
  public int hashCode() {
    return json.hashCode();
  }

  /** Collects what a query says; for one thread. */
  public static final class Builder {
    private final List<String> orders = new ArrayList<>();
    private String prefix;
    private String device;
    private Condition condition;
    private Long limit;
    private Long offset;

    private Builder() {}

    /**
     * Only entries whose keys begin with a prefix.
     *
     * @param keyPrefix the beginning of the keys
     * @return this builder
     */
    public Builder prefix(String keyPrefix) {
      prefix = Arguments.notNull(keyPrefix, "prefix");
      return this;
    }

    /**
     * Only entries that this device wrote.
     *
     * @param deviceId the identifier of the device
     * @return this builder
     */
    public Builder device(String deviceId) {
      device = Arguments.notNull(deviceId, "device identifier");
      return this;
    }

    /**
     * Only entries that meet a condition, and those of earlier calls.
     *
     * @param more the condition
     * @return this builder
     */
    public Builder where(Condition more) {
      Arguments.notNull(more, "condition");
      condition = condition == null ? more : Condition.and(condition, more);
      return this;
    }

    /**
     * Orders by a field, from the least value; after the orders of earlier calls, before the keys. Where a field has
     * no value comes first, then truth values, numbers, texts, and objects and arrays.
     *
     * <p>Where no index yields the order, the store sorts: it holds the keys of all matches in memory as long as the
     * results are open, and the fields ordered by until it has sorted. {@link #limit} bounds both.
     *
     * @param path as in {@link Condition#field}
     * @return this builder
     */
    public Builder orderBy(String path) {
      return orderBy(Condition.field(path));
    }

    /**
     * Orders by a field, as {@link #orderBy(String)}.
     *
     * @param field from {@link Condition#field} or {@link Condition#fieldAt}
     * @return this builder
     */
    public Builder orderBy(Condition.Field field) {
      orders.add(Arguments.notNull(field, "field").path());
      return this;
    }

    /**
     * Orders by a field the other way round.
     *
     * @param path as in {@link Condition#field}
     * @return this builder
     */
    public Builder orderByDescending(String path) {
      return orderByDescending(Condition.field(path));
    }

    /**
     * Orders by a field the other way round.
     *
     * @param field from {@link Condition#field} or {@link Condition#fieldAt}
     * @return this builder
     */
    public Builder orderByDescending(Condition.Field field) {
      orders.add("{\"field\":" + Arguments.notNull(field, "field").path() + ",\"desc\":true}");
      return this;
    }

    /**
     * At most so many entries.
     *
     * @param most 0 or more
     * @return this builder
     */
    public Builder limit(long most) {
      limit = notNegative(most, "limit");
      return this;
    }

    /**
     * Not the first so many entries.
     *
     * @param skipped 0 or more
     * @return this builder
     */
    public Builder offset(long skipped) {
      offset = notNegative(skipped, "offset");
      return this;
    }

    /**
     * The query collected so far.
     *
     * @return the query
     */
    public Query build() {
      List<String> members = new ArrayList<>();
      add(members, "prefix", prefix == null ? null : Json.string(prefix));
      add(members, "device", device == null ? null : Json.string(device));
      add(members, "where", condition);
      add(members, "order", orders.isEmpty() ? null : Json.list(orders));
      add(members, "limit", limit);
      add(members, "offset", offset);
      return new Query("{" + String.join(",", members) + "}");
    }

    private static void add(List<String> members, String name, Object value) {
      if (value != null) {
        members.add("\"" + name + "\":" + value);
      }
    }

    private static long notNegative(long number, String name) {
      if (number < 0) {
        throw Arguments.invalid("The " + name + " is negative.");
      }
      return number;
    }
  }
}
