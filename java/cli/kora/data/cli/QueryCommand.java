package kora.data.cli;

import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.Query;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora query}. */
@Command(name = "query", description = "Lists the keys of the entries that match a query, in its order.")
final class QueryCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Option(
      names = {"-l", "--long"},
      description = "Print key, type and value, with tabs between them.")
  private boolean withValues;

  @Parameters(
      paramLabel = "QUERY",
      description = "JSON, as docs/query.md describes it: '{\"where\":{\"field\":\"age\",\"ge\":18}}'.")
  private String query;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> {
      try (KvStoreResultSet entries = store.getResultSet(Query.ofJson(query))) {
        entries.forEach(new EntryLines(scope.out(), withValues)::print);
      }
    });
  }
}
