package kora.data.cli;

import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.Set;
import java.util.Stack;
import picocli.CommandLine.IParameterConsumer;
import picocli.CommandLine.MissingParameterException;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.OverwrittenOptionException;

/**
 * Takes the next word as the value of an option, whatever it is; the parser itself refuses one that is the name of a
 * command. It must not know a default of the option, or that would win.
 *
 * <p>The parser does not count these options either. As with others, one is given once before the command and once
 * behind it, which wins. A command line is parsed once in a process.
 */
final class AnyWord implements IParameterConsumer {
  private final Set<ArgSpec> given = Collections.newSetFromMap(new IdentityHashMap<>());

  @Override
  public void consumeParameters(Stack<String> words, ArgSpec option, CommandSpec command) {
    String name = ((OptionSpec) option).longestName();
    if (words.isEmpty()) {
      throw new MissingParameterException(command.commandLine(), option, "Missing value of option " + name);
    }
    if (!given.add(option)) {
      throw new OverwrittenOptionException(
          command.commandLine(), option, "option '" + name + "' should be specified only once");
    }
    option.setValue(words.pop());
  }
}
