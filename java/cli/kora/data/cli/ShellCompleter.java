package kora.data.cli;

import java.util.List;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreResultSet;
import org.jline.reader.Candidate;
import org.jline.reader.Completer;
import org.jline.reader.LineReader;
import org.jline.reader.ParsedLine;
import org.jline.reader.impl.completer.FileNameCompleter;
import picocli.CommandLine;
import picocli.CommandLine.Model.CommandSpec;

/** Proposes commands, and for a command its options, files and keys of the store. */
final class ShellCompleter implements Completer {
  private static final int MAX_KEYS = 100;

  private final ShellSession session;
  private final Completer files = new FileNameCompleter();

  ShellCompleter(ShellSession session) {
    this.session = session;
  }

  @Override
  public void complete(LineReader reader, ParsedLine line, List<Candidate> candidates) {
    if (line.wordIndex() == 0) {
      session.commands().getSubcommands().keySet().forEach(name -> candidates.add(new Candidate(name)));
      return;
    }
    CommandLine command = session.commands().getSubcommands().get(line.words().get(0));
    if (command == null) {
      return;
    }
    String begun = line.word().substring(0, line.wordCursor());
    if (begun.startsWith("-")) {
      command.getCommandSpec().options().forEach(option -> candidates.add(new Candidate(option.longestName())));
    } else if (takes(command.getCommandSpec(), "FILE")) {
      files.complete(reader, line, candidates);
    } else if (takes(command.getCommandSpec(), "KEY") || takes(command.getCommandSpec(), "PREFIX")) {
      addKeys(begun, candidates);
    }
  }

  private static boolean takes(CommandSpec command, String label) {
    return command.positionalParameters().stream().anyMatch(parameter -> parameter.paramLabel().equals(label));
  }

  private void addKeys(String prefix, List<Candidate> candidates) {
    try {
      session.use(StoreScope.Missing.FAIL, store -> {
        try (KvStoreResultSet entries = store.getResultSet(prefix)) {
          for (Entry entry : entries) {
            if (isOneWord(entry.getKey())) {
              candidates.add(new Candidate(entry.getKey()));
            }
            if (candidates.size() == MAX_KEYS) {
              break;
            }
          }
        }
      });
    } catch (Failure | KvStoreException nothingToPropose) {
      // The command itself will say what is wrong.
    }
  }

  private static boolean isOneWord(String key) {
    return key.chars().noneMatch(c -> Character.isWhitespace(c) || Character.isISOControl(c) || c == '"' || c == '\'');
  }
}
