package kora.data.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.function.Consumer;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.user.SingleKvStore;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParentCommand;

/** {@code kora watch}: prints changes, of this process as commands come in and, if wanted, of other devices. */
@Command(
    name = "watch",
    description = {
      "Reads commands from standard input and prints the changes of the store that an observer is told of, as JSON"
          + " Lines, until the input ends.",
      "The commands, one a line: put [-t TYPE] KEY VALUE, rm KEY..., begin, commit, rollback."
          + " Words with blanks stand in 'single' or \"double\" quotes.",
      "A store belongs to one process at a time, so the changes to see are its own and, with --remote, those of other"
          + " devices."
    })
final class WatchCommand implements Callable<Integer> {
  @ParentCommand private Kora kora;

  @Option(
      names = "--remote",
      description = "Keep the store in step with other devices, and print their changes alone, each with the device's identifier.")
  private boolean remote;

  @Override
  public Integer call() {
    int[] status = {CommandLine.ExitCode.OK};
    kora.use(StoreScope.Missing.CREATE, store -> {
      Shell shell = new Shell(store, kora, remote);
      Subscription subscription = store.subscribe(remote ? SubscribeType.REMOTE : SubscribeType.ALL, shell::print);
      try (KvManager manager = kora.manager()) {
        if (remote) {
          // Only now, or the observer would miss what comes first.
          kora.open(manager, kora.options().autoSync(true).build());
        }
        status[0] = shell.run(new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8)));
      } catch (IOException failure) {
        throw new Failure("standard input can't be read: " + failure.getMessage());
      } finally {
        subscription.close();
      }
    });
    return status[0];
  }

  /** The commands on a store that stays open. */
  @Command(name = "watch", subcommands = {PutCommand.class, RemoveCommand.class})
  static final class Shell extends InnerScope {
    private static final long PATIENCE_NANOS = 2_000_000_000L;

    private final SingleKvStore store;
    private final boolean remote;
    private boolean inTransaction;
    private int expected;
    private int seen;

    Shell(SingleKvStore store, StoreScope outer, boolean remote) {
      super(outer);
      this.store = store;
      this.remote = remote;
    }

    /** Runs commands to the end of the input. Returns the exit status: whether one of them failed. */
    int run(BufferedReader in) throws IOException {
      CommandLine commands = Kora.configured(new CommandLine(this));
      int status = CommandLine.ExitCode.OK;
      for (String line = in.readLine(); line != null; line = in.readLine()) {
        String[] words = Words.of(line);
        if (words.length > 0 && commands.execute(words) != CommandLine.ExitCode.OK) {
          status = CommandLine.ExitCode.SOFTWARE;
        }
      }
      if (!remote) {
        awaitNotifications();
      }
      return status;
    }

    @Command(name = "begin", description = "Begins a transaction.")
    void begin() {
      store.startTransaction();
      inTransaction = true;
    }

    @Command(name = "commit", description = "Makes the changes of the transaction permanent.")
    void commit() {
      store.commit();
      inTransaction = false;
      ++expected;
    }

    @Command(name = "rollback", description = "Drops the changes of the transaction.")
    void rollback() {
      store.rollback();
      inTransaction = false;
    }

    @Override
    public void use(Missing missing, Consumer<SingleKvStore> action) {
      action.accept(store);
      expected += inTransaction ? 0 : 1;
    }

    /** Called on a callback thread. */
    synchronized void print(ChangeNotification change) {
      String device = remote ? change.getDeviceId() : null;
      print("insert", change.getInsertEntries(), device);
      print("update", change.getUpdateEntries(), device);
      print("delete", change.getDeleteEntries(), device);
      out().flush();
      ++seen;
      notifyAll();
    }

    private void print(String change, List<Entry> entries, String device) {
      entries.forEach(entry -> out().println(JsonLinesWriter.line(entry, change, device)));
    }

    /** Notifications come later than the commands return; a commit that changed nothing brings none. */
    private synchronized void awaitNotifications() {
      long end = System.nanoTime() + PATIENCE_NANOS;
      try {
        for (long left = PATIENCE_NANOS; seen < expected && left > 0; left = end - System.nanoTime()) {
          wait(Math.max(1, left / 1_000_000));
        }
      } catch (InterruptedException interrupted) {
        Thread.currentThread().interrupt();
      }
    }
  }
}
