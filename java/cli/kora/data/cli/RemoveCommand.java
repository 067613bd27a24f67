package kora.data.cli;

import java.util.List;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora rm}. */
@Command(name = "rm", description = "Removes keys, all of them or, if one is absent, none.")
final class RemoveCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Parameters(paramLabel = "KEY", arity = "1..*")
  private List<String> keys;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> {
      String absent = keys.stream().filter(key -> !store.contains(key)).collect(Collectors.joining("', '"));
      if (!absent.isEmpty()) {
        throw new Failure("nothing was removed: no value is stored under '" + absent + "'");
      }
      store.deleteBatch(keys);
    });
  }
}
