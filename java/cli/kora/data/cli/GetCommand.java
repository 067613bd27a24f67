package kora.data.cli;

import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora get}. */
@Command(name = "get", description = "Prints the value of a key; bytes in Base64.")
final class GetCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Option(
      names = {"-t", "--type"},
      description = "Print the type before the value, with a tab between them.")
  private boolean withType;

  @Parameters(paramLabel = "KEY")
  private String key;

  @Override
  public void run() {
    scope.use(StoreScope.Missing.FAIL, store -> {
      TypedText value = TypedText.of(store.get(key));
      scope.out().println(withType ? value.type + "\t" + value.text : value.text);
    });
  }
}
