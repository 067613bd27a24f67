package kora.data.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Schema;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

/** {@code kora schema}. */
@Command(
    name = "schema",
    description = "Gives the store a schema, or an extension of the one that it has; creates the store if there is none.")
final class SchemaCommand implements Runnable {
  @ParentCommand private Kora kora;

  @Parameters(paramLabel = "FILE", description = "JSON, as docs/query.md describes it.")
  private Path file;

  @Override
  public void run() {
    Options options = kora.options().schema(Schema.ofJson(read())).build();
    try (KvManager manager = kora.manager()) {
      kora.open(manager, options).close();
    }
  }

  private String read() {
    try {
      return Files.readString(file, StandardCharsets.UTF_8);
    } catch (IOException unreadable) {
      throw new Failure(file + " can't be read: " + unreadable.getMessage());
    }
  }
}
