package kora.data.cli;

import java.util.Stack;
import picocli.CommandLine.IParameterConsumer;
import picocli.CommandLine.MissingParameterException;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;

/**
 * Takes the next word as the value of an option, whatever it is; the parser itself refuses one that is the name of a
 * command. It must not know a default of the option, or that would win.
 */
final class AnyWord implements IParameterConsumer {
  @Override
  public void consumeParameters(Stack<String> words, ArgSpec option, CommandSpec command) {
    if (words.isEmpty()) {
      throw new MissingParameterException(
          command.commandLine(), option, "Missing value of option " + ((OptionSpec) option).longestName());
    }
    option.setValue(words.pop());
  }
}
