package kora.data.cli;

import java.util.ArrayList;
import java.util.List;

/** The words of a line: split at blanks, but for those in quotes. */
final class Words {
  private Words() {}

  static String[] of(String line) {
    List<String> words = new ArrayList<>();
    StringBuilder word = null;
    char quote = 0;
    for (char c : line.toCharArray()) {
      boolean ends = quote == 0 && Character.isWhitespace(c);
      if (ends && word != null) {
        words.add(word.toString());
        word = null;
      }
      if (ends) {
        continue;
      }
      word = word == null ? new StringBuilder() : word;
      if (c == quote) {
        quote = 0;
      } else if (quote == 0 && (c == '"' || c == '\'')) {
        quote = c;
      } else {
        word.append(c);
      }
    }
    if (word != null) {
      words.add(word.toString());
    }
    return words.toArray(new String[0]);
  }
}
