package kora.data.distributed.common;

import java.util.Locale;

/** The type of a field in a {@link Schema}. */
public enum FieldType {
  /** A text. */
  STRING,
  /** A whole number of 32 bits, written without fraction and exponent. */
  INT,
  /** A whole number of 64 bits, written without fraction and exponent. */
  LONG,
  /** Any number. */
  DOUBLE,
  /** True or false. */
  BOOLEAN;

  /** As it stands in the text of a schema. */
  String text() {
    return name().toLowerCase(Locale.ROOT);
  }
}
