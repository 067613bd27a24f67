package kora.data.cli;

import kora.data.distributed.common.Query;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora count}. */
@Command(name = "count", description = "Counts the entries that match a query.")
final class CountCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Parameters(paramLabel = "QUERY", arity = "0..1", defaultValue = "{}", description = "JSON; default: all entries.")
  private String query;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> scope.out().println(store.getCount(Query.ofJson(query))));
  }
}
