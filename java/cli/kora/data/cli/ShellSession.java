package kora.data.cli;

import java.util.function.Consumer;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.Options;
import kora.data.distributed.user.SingleKvStore;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.HelpCommand;
import picocli.CommandLine.ScopeType;

/** The commands of {@code kora shell}. Their store is opened by the first that needs it, and stays open. */
@Command(
    name = "",
    mixinStandardHelpOptions = true,
    scope = ScopeType.INHERIT,
    synopsisSubcommandLabel = "COMMAND",
    usageHelpAutoWidth = true,
    subcommands = {
      PutCommand.class, GetCommand.class, RemoveCommand.class, ListCommand.class, QueryCommand.class,
      CountCommand.class, ImportCommand.class, ExportCommand.class, StatsCommand.class,
      DevicesCommand.class, SyncCommand.class, HelpCommand.class
    })
final class ShellSession extends InnerScope implements AutoCloseable {
  private final Kora kora;
  private final boolean autoSync;
  private final CommandLine commands = Kora.configured(new CommandLine(this));
  private KvManager manager;
  private SingleKvStore store;
  private boolean inTransaction;
  private boolean over;

  ShellSession(Kora kora, boolean autoSync) {
    super(kora);
    this.kora = kora;
    this.autoSync = autoSync;
  }

  /** Runs the command of a line. Returns whether it succeeded, as an empty line does. */
  boolean execute(String line) {
    String[] words = Words.of(line);
    if (words.length == 0 || words[0].startsWith("#")) {
      return true;
    }
    int status = commands.execute(words);
    out().flush();
    return status == CommandLine.ExitCode.OK;
  }

  /** Whether the user has left. */
  boolean isOver() {
    return over;
  }

  String prompt() {
    return storeName() + (inTransaction ? "*> " : "> ");
  }

  CommandLine commands() {
    return commands;
  }

  @Command(name = "begin", description = "Begins a transaction.")
  void begin() {
    use(Missing.CREATE, SingleKvStore::startTransaction);
    inTransaction = true;
  }

  @Command(name = "commit", description = "Makes the changes of the transaction permanent.")
  void commit() {
    use(Missing.FAIL, SingleKvStore::commit);
    inTransaction = false;
  }

  @Command(name = "rollback", description = "Drops the changes of the transaction.")
  void rollback() {
    use(Missing.FAIL, SingleKvStore::rollback);
    inTransaction = false;
  }

  @Command(name = "exit", aliases = "quit", description = "Leaves, as the end of the input does.")
  void exit() {
    over = true;
  }

  @Override
  public void use(Missing missing, Consumer<SingleKvStore> action) {
    if (store == null) {
      manager = manager == null ? kora.manager() : manager;
      store = kora.open(manager, options(missing));
    }
    action.accept(store);
  }

  private Options options(Missing missing) {
    return kora.options().createIfMissing(missing == Missing.CREATE).autoSync(autoSync).build();
  }

  /** An open transaction is rolled back. */
  @Override
  public void close() {
    if (inTransaction) {
      Kora.warn("the transaction was not committed; its changes are dropped");
    }
    if (manager != null) {
      manager.close();
    }
  }
}
