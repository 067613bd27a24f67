package kora.data.distributed.internal;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.channels.OverlappingFileLockException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;

/**
 * A folder of the user's for as long as the process lives. A process that is killed leaves its own behind; the next one
 * removes it, and knows it by a file that was locked while that process lived.
 */
final class TemporaryFolder {
  private static final String PREFIX = "kora-data-";
  private static final String LOCK = "in-use";
  private static final String UNLOCKED = "in-use.new";

  /** Open, and locked, to the end of the process. */
  private static FileChannel lock;

  private TemporaryFolder() {}

  /** Makes the folder. What else is put into it must be deleted before the process ends. */
  static Path create() throws IOException {
    Path folder = Files.createTempDirectory(PREFIX);
    // Files before their folder: what was registered last is deleted first.
    folder.toFile().deleteOnExit();
    folder.resolve(LOCK).toFile().deleteOnExit();
    removeLeftovers(folder);
    keepLocked(folder);
    return folder;
  }

  /** The file gets its name when it is locked: another process could take it for a leftover otherwise. */
  private static void keepLocked(Path folder) throws IOException {
    Path unlocked = folder.resolve(UNLOCKED);
    lock = FileChannel.open(unlocked, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE);
    try {
      lock.lock();
      Files.move(unlocked, folder.resolve(LOCK), StandardCopyOption.ATOMIC_MOVE);
    } catch (IOException noLocks) {
      // Such a file system keeps the folder of a process that is killed.
      Files.deleteIfExists(unlocked);
    }
  }

  private static void removeLeftovers(Path own) {
    try (DirectoryStream<Path> folders = Files.newDirectoryStream(own.getParent(), PREFIX + "*")) {
      for (Path folder : folders) {
        removeIfLeft(folder, own);
      }
    } catch (IOException | DirectoryIteratorException unreadable) {
      // Then they stay.
    }
  }

  private static void removeIfLeft(Path folder, Path own) {
    try {
      // Others may put links into a common folder.
      boolean ours = Files.isDirectory(folder, LinkOption.NOFOLLOW_LINKS)
          && Files.getOwner(folder, LinkOption.NOFOLLOW_LINKS).equals(Files.getOwner(own));
      if (ours && !folder.equals(own)) {
        removeUnlessLocked(folder);
      }
    } catch (IOException | OverlappingFileLockException kept) {
      // It was not made here, or another process removes it at this moment.
    }
  }

  private static void removeUnlessLocked(Path folder) throws IOException {
    try (FileChannel channel = FileChannel.open(folder.resolve(LOCK), StandardOpenOption.WRITE)) {
      if (channel.tryLock() == null) {
        return;
      }
      try (DirectoryStream<Path> files = Files.newDirectoryStream(folder)) {
        for (Path file : files) {
          if (!file.endsWith(LOCK)) {
            Files.deleteIfExists(file);
          }
        }
      }
      // Last, so that a process which is killed here leaves the rest to the next one.
      Files.deleteIfExists(folder.resolve(LOCK));
      Files.deleteIfExists(folder);
    }
  }
}
