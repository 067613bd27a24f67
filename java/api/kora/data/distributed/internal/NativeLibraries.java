package kora.data.distributed.internal;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;

/**
 * Loads the native libraries: from the folder that the system property {@value #PATH_PROPERTY} names, or else
 * from the resources of this library, unpacked to a folder of the user's.
 *
 * <p>Never called by the initialisation of a class that native code looks up: loading looks it up in turn,
 * and two threads could wait for each other.
 */
public final class NativeLibraries {
  private static final String PATH_PROPERTY = "kora.library.path";
  /** Says which class loader has the libraries; the virtual machine allows one in a process. */
  private static final String OWNER_PROPERTY = "kora.library.owner";
  /** The bridge needs the store client, so that comes first. */
  private static final String[] NAMES = {"libkora_data_client.so", "libkora_data_jni.so"};
  /** The store client loads this one itself, from beside its own file, when a hub is configured. */
  private static final String LOADED_LATER = "libkora_data_etcd.so";

  private static boolean loaded;

  private NativeLibraries() {}

  /**
   * Loads the libraries, once.
   *
   * @throws KvStoreException NOT_SUPPORT, with a text that lists what was tried
   */
  public static synchronized void ensureLoaded() {
    if (loaded) {
      return;
    }
    claimProcess();
    try {
      String path = System.getProperty(PATH_PROPERTY);
      if (path != null) {
        load(Path.of(path));
      } else {
        loadResources();
      }
      loaded = true;
    } catch (IOException | UnsatisfiedLinkError error) {
      throw failure(error.getMessage(), error);
    } finally {
      if (!loaded) {
        System.getProperties().remove(OWNER_PROPERTY);
      }
    }
  }

  private static void claimProcess() {
    String classLoader = String.valueOf(NativeLibraries.class.getClassLoader());
    Object owner = System.getProperties().putIfAbsent(OWNER_PROPERTY, classLoader);
    if (owner != null) {
      throw failure("They are loaded already, for the classes of " + owner + "; a process can load them once."
          + " Let both programs take kora-data.jar from a class loader that they share.", null);
    }
  }

  private static void load(Path folder) {
    for (String name : NAMES) {
      Path library = folder.resolve(name).toAbsolutePath();
      try {
        System.load(library.toString());
      } catch (UnsatisfiedLinkError error) {
        throw new UnsatisfiedLinkError("Tried " + library + ": " + error.getMessage() + ".");
      }
    }
  }

  /**
   * The cache saves time; where it can't be written, or can't hold programs, a temporary folder does as well.
   */
  private static void loadResources() throws IOException {
    Map<String, byte[]> libraries = readResources();
    Path cache = cacheFolder().resolve(digest(libraries.values()));
    try {
      load(writeAll(libraries, cache));
    } catch (IOException | UnsatisfiedLinkError cacheError) {
      String first = cacheError instanceof UnsatisfiedLinkError
          ? cacheError.getMessage()
          : "Tried " + cache + ": " + cacheError + ".";
      try {
        loadTemporary(libraries);
      } catch (IOException | UnsatisfiedLinkError error) {
        throw new IOException(first + " " + error.getMessage(), error);
      }
    }
  }

  private static void loadTemporary(Map<String, byte[]> libraries) throws IOException {
    Path folder = TemporaryFolder.create();
    folder.resolve(LOADED_LATER).toFile().deleteOnExit();
    try {
      load(writeAll(libraries, folder));
    } finally {
      // What is loaded stays usable without its name.
      for (String name : NAMES) {
        Files.deleteIfExists(folder.resolve(name));
      }
    }
  }

  private static Map<String, byte[]> readResources() throws IOException {
    Map<String, byte[]> libraries = new LinkedHashMap<>();
    for (String name : List.of(NAMES[0], NAMES[1], LOADED_LATER)) {
      String resource = "/META-INF/native/" + platform() + "/" + name;
      try (InputStream in = NativeLibraries.class.getResourceAsStream(resource)) {
        if (in == null) {
          throw new IOException("Tried the resource " + resource + ": there is none.");
        }
        libraries.put(name, in.readAllBytes());
      }
    }
    return libraries;
  }

  private static Path writeAll(Map<String, byte[]> libraries, Path folder) throws IOException {
    Files.createDirectories(folder, permissions("rwx------"));
    for (Map.Entry<String, byte[]> library : libraries.entrySet()) {
      Path file = folder.resolve(library.getKey());
      if (!Files.isRegularFile(file) || !Arrays.equals(Files.readAllBytes(file), library.getValue())) {
        writeWhole(file, library.getValue());
      }
    }
    return folder;
  }

  /** Another process may load the file at any moment, so it appears with all its bytes or not at all. */
  private static void writeWhole(Path file, byte[] bytes) throws IOException {
    Path part = Files.createTempFile(file.getParent(), file.getFileName().toString(), ".part");
    try {
      Files.write(part, bytes);
      Files.move(part, file, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
    } finally {
      Files.deleteIfExists(part);
    }
  }

  private static Path cacheFolder() {
    String cache = System.getenv("XDG_CACHE_HOME");
    Path parent = cache != null && Path.of(cache).isAbsolute()
        ? Path.of(cache)
        : Path.of(System.getProperty("user.home"), ".cache");
    return parent.resolve("kora-data");
  }

  private static FileAttribute<Set<PosixFilePermission>> permissions(String text) {
    return PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString(text));
  }

  private static String digest(Iterable<byte[]> contents) {
    try {
      MessageDigest digest = MessageDigest.getInstance("SHA-256");
      contents.forEach(digest::update);
      StringBuilder text = new StringBuilder();
      for (byte b : Arrays.copyOf(digest.digest(), 16)) {
        text.append(String.format("%02x", b));
      }
      return text.toString();
    } catch (NoSuchAlgorithmException impossible) {
      throw new AssertionError("every Java platform has SHA-256", impossible);
    }
  }

  /** As in the resource names: "linux-x86_64". */
  private static String platform() {
    String os = System.getProperty("os.name").toLowerCase(Locale.ROOT).split(" ")[0];
    String arch = System.getProperty("os.arch");
    return os + "-" + (arch.equals("amd64") ? "x86_64" : arch);
  }

  private static KvStoreException failure(String reason, Throwable cause) {
    KvStoreException failure = new KvStoreException(KvStoreErrorCode.NOT_SUPPORT,
        "The native libraries can't be loaded. " + reason + " The system property " + PATH_PROPERTY
            + " can name a folder that has " + String.join(" and ", NAMES) + ".");
    failure.initCause(cause);
    return failure;
  }
}
