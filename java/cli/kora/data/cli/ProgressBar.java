package kora.data.cli;

import java.io.PrintStream;
import java.util.Locale;

/** A bar on standard error, where that is a terminal; elsewhere nothing. */
final class ProgressBar implements AutoCloseable {
  private static final int WIDTH = 30;
  private static final long REDRAW_NANOS = 100_000_000;

  // Java can't tell whether standard error is a terminal, so the launcher says it.
  private final boolean shown = Boolean.getBoolean("kora.terminal");
  private final PrintStream err = System.err;
  private final long total;
  private long drawn = System.nanoTime();

  /** The total is in the unit of {@link #update}'s first argument; 0 if it is not known. */
  ProgressBar(long total) {
    this.total = total;
  }

  void update(long done, long records) {
    if (!shown || System.nanoTime() - drawn < REDRAW_NANOS) {
      return;
    }
    drawn = System.nanoTime();
    String count = String.format(Locale.ROOT, "%,d records", records);
    if (total > 0) {
      int filled = (int) (WIDTH * Math.min(done, total) / total);
      err.printf("\r[%s%s] %s ", "#".repeat(filled), " ".repeat(WIDTH - filled), count);
    } else {
      err.printf("\r%s ", count);
    }
    err.flush();
  }

  /** Wipes the bar. */
  @Override
  public void close() {
    if (shown) {
      err.print("\r\033[K");
      err.flush();
    }
  }
}
