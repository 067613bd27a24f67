package kora.data.cli;

import java.io.PrintStream;
import kora.data.distributed.common.Entry;

/** Entries on standard output, one on each line. */
final class EntryLines {
  private final PrintStream out;
  private final boolean withValues;

  /** With values: key, type and value, with tabs between them; else the key alone. */
  EntryLines(PrintStream out, boolean withValues) {
    this.out = out;
    this.withValues = withValues;
  }

  void print(Entry entry) {
    String key = oneLine(entry.getKey());
    if (withValues) {
      TypedText value = TypedText.of(entry.getValue());
      out.println(key + "\t" + value.type + "\t" + oneLine(value.text));
    } else {
      out.println(key);
    }
  }

  /** Control characters as {@code \}{@code uXXXX}: the text stays one line and can't steer the terminal. */
  static String oneLine(String text) {
    if (text.chars().noneMatch(Character::isISOControl)) {
      return text;
    }
    StringBuilder line = new StringBuilder();
    text.chars().forEach(c -> {
      if (Character.isISOControl(c)) {
        line.append(String.format("\\u%04x", c));
      } else {
        line.append((char) c);
      }
    });
    return line.toString();
  }
}
