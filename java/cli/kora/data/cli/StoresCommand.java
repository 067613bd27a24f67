package kora.data.cli;

import kora.data.distributed.common.KvManager;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora stores}. */
@Command(name = "stores", description = "Lists the stores of the application.")
final class StoresCommand implements Runnable {
  @ParentCommand private Kora kora;

  @Override
  public void run() {
    try (KvManager manager = kora.manager()) {
      manager.storeIds().forEach(kora.out()::println);
    }
  }
}
