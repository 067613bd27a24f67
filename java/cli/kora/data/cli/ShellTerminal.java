package kora.data.cli;

import java.io.Closeable;
import java.io.IOException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import org.jline.reader.EndOfFileException;
import org.jline.reader.LineReader;
import org.jline.reader.LineReaderBuilder;
import org.jline.reader.UserInterruptException;
import org.jline.reader.impl.DefaultParser;
import org.jline.terminal.Terminal;
import org.jline.terminal.TerminalBuilder;

/** Where lines can be edited, with a history that is kept from one shell to the next. */
final class ShellTerminal implements Closeable {
  private final ShellSession session;
  private final Terminal terminal;
  private final LineReader reader;

  ShellTerminal(ShellSession session) throws IOException {
    this.session = session;
    // By the commands stty and tty: the other ways load native code of their own.
    terminal = TerminalBuilder.builder().system(true).jna(false).jansi(false).build();
    DefaultParser parser = new DefaultParser();
    parser.setEscapeChars(new char[0]);
    reader = LineReaderBuilder.builder().terminal(terminal).parser(parser).completer(new ShellCompleter(session)).build();
    reader.setOpt(LineReader.Option.DISABLE_EVENT_EXPANSION);
    Path history = historyFile();
    if (history != null) {
      reader.setVariable(LineReader.HISTORY_FILE, history);
    }
  }

  /** The next line, or null at the end of the input. The interrupt key gives a line up. */
  String readLine() {
    while (true) {
      try {
        return reader.readLine(session.prompt());
      } catch (UserInterruptException givenUp) {
        // The next prompt says all.
      } catch (EndOfFileException end) {
        return null;
      }
    }
  }

  @Override
  public void close() throws IOException {
    reader.getHistory().save();
    terminal.close();
  }

  /** Where the XDG Base Directory standard says, for this user alone; null if it can't be made. */
  private static Path historyFile() {
    String state = System.getenv("XDG_STATE_HOME");
    Path parent = state != null && state.startsWith("/")
        ? Path.of(state) : Path.of(System.getProperty("user.home"), ".local", "state");
    Path file = parent.resolve("kora").resolve("history");
    try {
      Files.createDirectories(file.getParent(),
          PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
      Files.createFile(file, PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
      return file;
    } catch (FileAlreadyExistsException kept) {
      return file;
    } catch (IOException unwritable) {
      return null;
    }
  }
}
