package kora.data.cli;

import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreResultSet;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora ls}. */
@Command(name = "ls", description = "Lists the keys that begin with a prefix, in the order of their bytes.")
final class ListCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Option(
      names = {"-l", "--long"},
      description = "Print key, type and value, with tabs between them.")
  private boolean withValues;

  @Parameters(paramLabel = "PREFIX", arity = "0..1", defaultValue = "", description = "Default: all keys.")
  private String prefix;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> {
      try (KvStoreResultSet entries = store.getResultSet(prefix)) {
        entries.forEach(this::print);
      }
    });
  }

  private void print(Entry entry) {
    String key = oneLine(entry.getKey());
    if (withValues) {
      TypedText value = TypedText.of(entry.getValue());
      scope.out().println(key + "\t" + value.type + "\t" + oneLine(value.text));
    } else {
      scope.out().println(key);
    }
  }

  /** Control characters as {@code \}{@code uXXXX}: a record stays one line and can't steer the terminal. */
  private static String oneLine(String text) {
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
