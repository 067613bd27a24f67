package kora.data.distributed.common;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.List;
import java.util.stream.Collectors;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Json;

/**
 * What a document must meet to match a {@link Query}: a test of one of its fields, or a group of conditions.
 * Immutable.
 *
 * <pre>{@code
 * Condition.and(
 *     Condition.field("age").atLeast(18),
 *     Condition.or(Condition.field("address.city").in("Rome", "Paris"), Condition.field("vip").equalTo(true)))
 * }</pre>
 *
 * <p>A test holds only for a field that has a value; {@link Field#isNull} finds the others. Numbers compare exactly,
 * whichever of their types they are of; texts by code point; false is less than true. Values of different kinds
 * are not equal, and neither is less than the other. Operands are a String, int, long, float, double or boolean.
 */
public final class Condition {
  private final String json;

  private Condition(String json) {
    this.json = json;
  }

  /**
   * Names a field, to begin a test of it.
   *
   * @param path the names from the document's top to the field, with dots between them: {@code "address.city"}
   * @return the field
   */
  public static Field field(String path) {
    return new Field(name(path));
  }

  /**
   * Names a field whose path has names that contain dots themselves.
   *
   * @param name the first name
   * @param more the names after it, if any
   * @return the field
   */
  public static Field fieldAt(String name, String... more) {
    List<String> names = new ArrayList<>(List.of(name(name)));
    for (String next : Arguments.notNull(more, "field")) {
      names.add(name(next));
    }
    return new Field(Json.list(names));
  }

  /**
   * Holds where all of the conditions hold.
   *
   * @param conditions at least one
   * @return the condition
   */
  public static Condition and(Condition... conditions) {
    return group("and", conditions);
  }

  /**
   * Holds where at least one of the conditions holds.
   *
   * @param conditions at least one
   * @return the condition
   */
  public static Condition or(Condition... conditions) {
    return group("or", conditions);
  }

  /** The condition as it stands in the text of a query. */
  @Override
  public String toString() {
    return json;
  }

  private static String name(String name) {
    return Json.string(Arguments.text(name, "field"));
  }

  private static Condition group(String kind, Condition... conditions) {
    Arguments.notNull(conditions, "condition");
    if (conditions.length == 0) {
      throw Arguments.invalid("A group has at least one condition.");
    }
    List<String> members = Arrays.stream(conditions)
        .map(condition -> Arguments.notNull(condition, "condition").json)
        .collect(Collectors.toList());
    return new Condition("{\"" + kind + "\":" + Json.list(members) + "}");
  }

  /** A field of documents: to be tested, ordered by or declared in a {@link Schema}. Immutable. */
  public static final class Field {
    private final String path;

    private Field(String path) {
      this.path = path;
    }

    /** The path as it stands in queries and schemas. */
    String path() {
      return path;
    }

    /**
     * The value equals the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition equalTo(Object operand) {
      return test("eq", scalar(operand));
    }

    /**
     * There is a value, and it does not equal the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition notEqualTo(Object operand) {
      return test("ne", scalar(operand));
    }

    /**
     * The value is less than the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition lessThan(Object operand) {
      return test("lt", scalar(operand));
    }

    /**
     * The value is less than or equal to the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition atMost(Object operand) {
      return test("le", scalar(operand));
    }

    /**
     * The value is greater than the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition greaterThan(Object operand) {
      return test("gt", scalar(operand));
    }

    /**
     * The value is greater than or equal to the operand.
     *
     * @param operand the operand
     * @return the condition
     */
    public Condition atLeast(Object operand) {
      return test("ge", scalar(operand));
    }

    /**
     * The value is one of the operands.
     *
     * @param operands any number of them
     * @return the condition
     */
    public Condition in(Object... operands) {
      return test("in", scalars(operands));
    }

    /**
     * There is a value, and it is none of the operands.
     *
     * @param operands any number of them
     * @return the condition
     */
    public Condition notIn(Object... operands) {
      return test("notIn", scalars(operands));
    }

    /**
     * The value is a text like the pattern.
     *
     * @param pattern {@code %} stands for any text, {@code _} for one character, and a backslash makes the character
     *     after it an ordinary one
     * @return the condition
     */
    public Condition like(String pattern) {
      return test("like", scalar(pattern));
    }

    /**
     * The value is a text that is not like the pattern.
     *
     * @param pattern as in {@link #like}
     * @return the condition
     */
    public Condition notLike(String pattern) {
      return test("notLike", scalar(pattern));
    }

    /**
     * The field is not there, or null.
     *
     * @return the condition
     */
    public Condition isNull() {
      return test("null", "true");
    }

    /**
     * The field has a value; an object or an array is one, too.
     *
     * @return the condition
     */
    public Condition isNotNull() {
      return test("null", "false");
    }

    private Condition test(String operator, String operand) {
      return new Condition("{\"field\":" + path + ",\"" + operator + "\":" + operand + "}");
    }

    private static String scalar(Object operand) {
      return Json.scalar(operand, "operand");
    }

    private static String scalars(Object... operands) {
      Collection<Object> list = Arrays.asList(Arguments.notNull(operands, "operands"));
      return Json.list(list.stream().map(Field::scalar).collect(Collectors.toList()));
    }
  }
}
