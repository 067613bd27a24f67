package kora.data.cli;

import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora restore}. */
@Command(name = "restore", description = "Puts the newest backup in the place of a damaged store; what was written later is lost.")
final class RestoreCommand implements Runnable {
  @ParentCommand private Kora kora;

  @Override
  public void run() {
    try (KvManager manager = kora.manager()) {
      recover(manager);
    }
  }

  private void recover(KvManager manager) {
    try {
      manager.openSingle(kora.storeName(), kora.options().createIfMissing(false).backup(true).build()).close();
    } catch (KvStoreException failure) {
      if (failure.getErrorCode() != KvStoreErrorCode.RECOVER_SUCCESS) {
        throw failure;
      }
      kora.out().println("restored from the newest backup");
      return;
    }
    kora.out().println("the store is not damaged; nothing was changed");
  }
}
