package kora.data.cli;

import kora.data.distributed.common.KvManager;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora backup}. */
@Command(name = "backup", description = "Backs the store up, if it was written to since its last backup.")
final class BackupCommand implements Runnable {
  @ParentCommand private Kora kora;

  @Override
  public void run() {
    // Closing a store that was opened so makes the backup.
    try (KvManager manager = kora.manager()) {
      kora.open(manager, kora.options().createIfMissing(false).backup(true).build()).close();
    }
  }
}
