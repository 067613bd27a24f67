package kora.data.cli;

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
        entries.forEach(new EntryLines(scope.out(), withValues)::print);
      }
    });
  }
}
