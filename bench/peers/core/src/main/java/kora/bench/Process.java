package kora.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** This process, as the system sees it. */
final class Process {
  private Process() {}

  /** Resident memory in MiB, after a collection of garbage. */
  static double residentMemory() throws IOException {
    System.gc();
    for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("\\D", "")) / 1024.0;
      }
    }
    throw new IOException("/proc/self/status has no VmRSS");
  }
}
