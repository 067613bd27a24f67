package kora.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import org.openjdk.jmh.results.BenchmarkResult;
import org.openjdk.jmh.results.RunResult;
import org.openjdk.jmh.runner.Runner;
import org.openjdk.jmh.runner.RunnerException;
import org.openjdk.jmh.runner.options.ChainedOptionsBuilder;
import org.openjdk.jmh.runner.options.CommandLineOptionException;
import org.openjdk.jmh.runner.options.CommandLineOptions;
import org.openjdk.jmh.runner.options.OptionsBuilder;

/** Runs {@link Operations} as JMH's command line says, and appends a line for each fork to a file. */
public final class SideBySide {
  private SideBySide() {}

  /** The arguments: the file, then JMH's own. */
  public static void main(String[] arguments) throws CommandLineOptionException, RunnerException, IOException {
    String[] own = new String[arguments.length - 1];
    System.arraycopy(arguments, 1, own, 0, own.length);
    ChainedOptionsBuilder options = new OptionsBuilder()
        .parent(new CommandLineOptions(own))
        .jvmArgsAppend("-Dbench.data=" + System.getProperty("bench.data"), "-Xmx2g");
    List<String> lines = new ArrayList<>();
    for (RunResult result : new Runner(options.build()).run()) {
      append(lines, result);
    }
    Files.write(Path.of(arguments[0]), lines, StandardOpenOption.CREATE, StandardOpenOption.APPEND);
  }

  private static void append(List<String> lines, RunResult result) {
    var parameters = result.getParams();
    String row = parameters.getBenchmark().replaceFirst(".*\\.", "");
    int entries = Integer.parseInt(parameters.getParam("entries"));
    double units = row.equals("walk") ? entries : 1;
    for (BenchmarkResult fork : result.getBenchmarkResults()) {
      lines.add(String.format(Locale.ROOT, "%s,%s,%d,%s,%d,%.2f,ns", row, parameters.getParam("store"), entries,
          parameters.getParam("valueSize"), parameters.getThreads(), fork.getPrimaryResult().getScore() / units));
    }
  }
}
