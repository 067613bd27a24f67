package kora.data.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.util.concurrent.Callable;
import java.util.function.Supplier;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParentCommand;

/** {@code kora shell}. */
@Command(
    name = "shell",
    description = {
      "Runs commands, one a line, on a store that is opened once.",
      "On a terminal lines can be edited, the history is kept and the tabulator key completes commands, options and"
          + " keys; otherwise lines come from standard input, and the exit status is 1 if one of them failed.",
      "Words with blanks stand in 'single' or \"double\" quotes; a line that begins with # is a comment."
    })
final class ShellCommand implements Callable<Integer> {
  @ParentCommand private Kora kora;

  @Option(
      names = "--auto-sync",
      description = "Keep the store in step with other devices while it is open. What the end of the shell keeps from"
          + " being sent is sent the next time; the command sync waits for it.")
  private boolean autoSync;

  @Override
  public Integer call() throws IOException {
    try (ShellSession session = new ShellSession(kora, autoSync)) {
      if (Boolean.getBoolean("kora.interactive")) {
        try (ShellTerminal terminal = new ShellTerminal(session)) {
          run(session, terminal::readLine);
        }
        return CommandLine.ExitCode.OK;
      }
      BufferedReader in = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
      return run(session, () -> readLine(in)) ? CommandLine.ExitCode.OK : CommandLine.ExitCode.SOFTWARE;
    }
  }

  /** Runs the lines up to the first null. Returns whether all of them succeeded. */
  private static boolean run(ShellSession session, Supplier<String> lines) {
    boolean succeeded = true;
    String line = lines.get();
    while (line != null) {
      succeeded &= session.execute(line);
      line = session.isOver() ? null : lines.get();
    }
    return succeeded;
  }

  private static String readLine(BufferedReader in) {
    try {
      return in.readLine();
    } catch (IOException failure) {
      throw new Failure("standard input can't be read: " + failure.getMessage());
    }
  }
}
