package kora.data.cli;

import java.nio.file.Path;

/** Where the store client keeps its stores, by the rules that it documents. */
final class DataHome {
  private DataHome() {}

  static Path folder(Path chosen) {
    if (chosen != null) {
      return chosen;
    }
    String home = System.getenv("KORA_DATA_HOME");
    if (isSet(home)) {
      return Path.of(home);
    }
    String data = System.getenv("XDG_DATA_HOME");
    Path parent = isSet(data) ? Path.of(data) : Path.of(System.getProperty("user.home"), ".local", "share");
    return parent.resolve("kora-data");
  }

  private static boolean isSet(String variable) {
    return variable != null && !variable.isEmpty();
  }
}
