package kora.data.cli;

import kora.data.distributed.common.Value;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora put}. */
@Command(name = "put", description = "Stores a value under a key; a store that does not exist is created.")
final class PutCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Option(
      names = {"-t", "--type"},
      defaultValue = "string",
      description = "string (default), int, long, float, double, boolean or bytes (in Base64).")
  private String type;

  @Parameters(paramLabel = "KEY")
  private String key;

  @Parameters(paramLabel = "VALUE")
  private String text;

  @Override
  public void run() {
    Value value = new TypedText(type, text).toValue();
    scope.use(StoreScope.Missing.CREATE, store -> store.put(key, value));
  }
}
