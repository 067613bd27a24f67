package kora.data.cli;

import kora.data.distributed.common.KvStoreResultSet;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora verify}. */
@Command(name = "verify", description = "Reads the whole store and compares its checksums; writes nothing.")
final class VerifyCommand implements Runnable {
  @ParentCommand private Kora kora;

  @Override
  public void run() {
    kora.readOnly();
    kora.use(StoreScope.Missing.FAIL, store -> {
      try (KvStoreResultSet records = store.getResultSet("")) {
        long count = 0;
        while (records.moveToNext()) {
          records.getEntry();
          count++;
        }
        kora.out().println(count + " records, all well");
      }
    });
  }
}
