package kora.data.cli;

import java.io.PrintStream;
import java.nio.file.Path;
import java.util.function.Consumer;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.user.SingleKvStore;

/** Where a command finds its store: opened for this one command, or kept open by {@code watch} and {@code shell}. */
interface StoreScope {
  /** Whether a command makes the store that it needs. */
  enum Missing {
    CREATE,
    FAIL
  }

  /** Runs an action on the store, which the scope opens and closes. */
  void use(Missing missing, Consumer<SingleKvStore> action);

  /** A manager of the application's stores; the caller closes it. */
  KvManager manager();

  /** Standard output, in UTF-8. */
  PrintStream out();

  String appName();

  String storeName();

  /** The store's folder, as far as it follows from the options and the environment. */
  Path folder();
}
