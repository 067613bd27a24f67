package kora.data.distributed.common;

import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.Texts;

/** The form that the values of a store must have. Immutable. */
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
   * The schema as JSON.
   *
   * @return the text in ASCII; other characters are escaped
   */
  public String toJsonString() {
    return json;
  }
}
