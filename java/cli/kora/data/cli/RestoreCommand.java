package kora.data.cli;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.time.Instant;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.Properties;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora restore}. */
@Command(name = "restore", description = "Puts the newest backup that is whole in the place of a damaged store; what was written later is lost.")
final class RestoreCommand implements Runnable {
  private static final DateTimeFormatter TIME =
      DateTimeFormatter.ofPattern("uuuu-MM-dd HH:mm:ss 'UTC'").withZone(ZoneOffset.UTC);

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
      kora.out().println("restored from the backup of " + backupTime());
      return;
    }
    kora.out().println("no damage was found; nothing was restored");
  }

  /** As the recovery has left it in the store's folder. */
  private String backupTime() {
    Properties restored = new Properties();
    try (InputStream file = Files.newInputStream(kora.folder().resolve("RESTORED"))) {
      restored.load(file);
      return TIME.format(Instant.ofEpochSecond(Long.parseLong(restored.getProperty("backup"))));
    } catch (IOException | NumberFormatException unreadable) {
      return "an unknown time";
    }
  }
}
