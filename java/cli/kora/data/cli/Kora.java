package kora.data.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.function.BiConsumer;
import java.util.function.Consumer;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.user.SingleKvStore;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.ScopeType;

/** The tool: what all commands share. Exit status: 0 done, 1 failed, 2 wrong usage. */
@Command(
    name = "kora",
    description = "Works with the stores of an application: single stores, which have one value for each key.",
    mixinStandardHelpOptions = true,
    scope = ScopeType.INHERIT,
    version = "kora 0.1.0",
    synopsisSubcommandLabel = "COMMAND",
    usageHelpAutoWidth = true,
    subcommands = {
      StoresCommand.class, PutCommand.class, GetCommand.class, RemoveCommand.class, ListCommand.class,
      QueryCommand.class, CountCommand.class, SchemaCommand.class,
      ImportCommand.class, ExportCommand.class, WatchCommand.class, StatsCommand.class,
      DevicesCommand.class, SyncCommand.class,
      BackupCommand.class, RestoreCommand.class, VerifyCommand.class, ShellCommand.class
    },
    footer = {
      "",
      "A store belongs to one process at a time: while another one has it open, commands fail.",
      "Environment: KORA_APP, KORA_STORE, KORA_DATA_HOME, KORA_DATA_ENDPOINTS and what docs/etcd.md lists;"
          + " KORA_LOG_LEVEL=error shows the store client's log."
    })
public final class Kora implements StoreScope {
  private static final PrintStream ERR =
      new PrintStream(new FileOutputStream(FileDescriptor.err), true, StandardCharsets.UTF_8);

  @Option(
      names = "--home",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "FOLDER",
      description = "The folder of all stores (default: $KORA_DATA_HOME, else kora-data in the user's data folder).")
  private String home;

  @Option(
      names = "--app",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "NAME",
      description = "The application (default: $KORA_APP, else kora).")
  private String app = environment("KORA_APP", "kora");

  @Option(
      names = "--store",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "NAME",
      description = "The store (default: $KORA_STORE, else default).")
  private String store = environment("KORA_STORE", "default");

  @Option(
      names = "--encrypt",
      scope = ScopeType.INHERIT,
      description = "The store is encrypted, or becomes so when it is made.")
  private boolean encrypt;

  @Option(
      names = "--read-only",
      scope = ScopeType.INHERIT,
      description = "Write nothing to the store's folder; several processes may read a store so at once.")
  private boolean readOnly;

  @Option(
      names = "--endpoints",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "HOST:PORT,...",
      description = "The hub at which devices meet (default: $KORA_DATA_ENDPOINTS, else none).")
  private String endpoints;

  @Option(
      names = "--namespace",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "NAME",
      description = "The part of the hub (default: $KORA_DATA_CLUSTER_NAMESPACE, else kora-data).")
  private String nameSpace;

  @Option(
      names = "--device-name",
      scope = ScopeType.INHERIT,
      parameterConsumer = AnyWord.class,
      paramLabel = "NAME",
      description = "The name that other devices see (default: the host's name).")
  private String deviceName;

  private boolean isConfigured;

  // Java's own streams encode as the locale says, which loses characters where it is not UTF-8.
  private final PrintStream out = new PrintStream(new FileOutputStream(FileDescriptor.out), false, StandardCharsets.UTF_8);

  private Kora() {}

  /**
   * Runs one command and ends the process with its exit status.
   *
   * @param args the command line
   */
  public static void main(String[] args) {
    Kora kora = new Kora();
    CommandLine commandLine = new CommandLine(kora);
    int status = configured(commandLine).execute(args);
    kora.out.flush();
    System.exit(kora.out.checkError() && status == 0 ? 1 : status);
  }

  /** Prints a line on standard error. */
  static void warn(String text) {
    ERR.println("kora: " + text);
  }

  /** Gives a command line this tool's manners: one line for a failure, nothing of Java in it. */
  static CommandLine configured(CommandLine commandLine) {
    commandLine.setCaseInsensitiveEnumValuesAllowed(true);
    commandLine.setParameterExceptionHandler((wrong, args) -> {
      String name = wrong.getCommandLine().getCommandSpec().qualifiedName();
      warn(firstLine(wrong.getMessage()) + " ('" + (name + " --help").trim() + "' explains)");
      return CommandLine.ExitCode.USAGE;
    });
    commandLine.setExecutionExceptionHandler((failure, line, result) -> {
      warn(firstLine(messageOf(failure)));
      return CommandLine.ExitCode.SOFTWARE;
    });
    return commandLine;
  }

  @Override
  public PrintStream out() {
    return out;
  }

  @Override
  public void use(Missing missing, Consumer<SingleKvStore> action) {
    try (KvManager manager = manager(); SingleKvStore opened = open(manager, missing)) {
      action.accept(opened);
    }
  }

  @Override
  public KvManager manager() {
    if (!isConfigured) {
      configure();
      isConfigured = true;
    }
    return KvManagerFactory.create(app);
  }

  /** One by one, so that a store client without settings does where none is made. */
  private void configure() {
    configure(home, (settings, folder) -> settings.home(Path.of(folder)));
    configure(endpoints, StoreClientSettings.Builder::clusterEndpoints);
    configure(nameSpace, StoreClientSettings.Builder::clusterNamespace);
    configure(deviceName, StoreClientSettings.Builder::deviceName);
    configure(readOnly ? "" : null, (settings, choice) -> settings.readOnly(true));
  }

  private static void configure(String value, BiConsumer<StoreClientSettings.Builder, String> setting) {
    if (value != null) {
      StoreClientSettings.Builder settings = StoreClientSettings.builder();
      setting.accept(settings, value);
      StoreClient.configure(settings.build());
    }
  }

  @Override
  public Path folder() {
    return DataHome.folder(home == null ? null : Path.of(home)).resolve(app).resolve(store);
  }

  @Override
  public String appName() {
    return app;
  }

  @Override
  public String storeName() {
    return store;
  }

  /** Opens the chosen store; the caller closes it. */
  SingleKvStore open(KvManager manager, Missing missing) {
    return open(manager, options().createIfMissing(missing == Missing.CREATE).build());
  }

  /** Opens the chosen store in a way of its own; the caller closes it. */
  SingleKvStore open(KvManager manager, Options options) {
    try {
      return manager.openSingle(store, options);
    } catch (KvStoreException failure) {
      String where = "store '" + store + "' of application '" + app + "': ";
      boolean unexplained = failure.getMessage().equals(failure.getErrorCode().getDescription());
      if (failure.getErrorCode() == KvStoreErrorCode.INVALID_ARGUMENT && unexplained) {
        throw new Failure(where + "it is " + (encrypt ? "not encrypted" : "encrypted (--encrypt)")
            + ", or a multi-version store");
      }
      if (failure.getErrorCode() == KvStoreErrorCode.DB_ERROR) {
        throw new Failure(where + "it can't be opened; is it in use by another process? "
            + "(KORA_LOG_LEVEL=error shows the reason)");
      }
      throw new Failure(where + failure.getMessage());
    }
  }

  /** Options that say whether the store is encrypted. */
  Options.Builder options() {
    return Options.builder().encrypt(encrypt);
  }

  /** Has the store only read, whatever the command line says; before the first manager. */
  void readOnly() {
    readOnly = true;
  }

  private static String environment(String variable, String otherwise) {
    return System.getenv().getOrDefault(variable, otherwise);
  }

  private static String messageOf(Throwable failure) {
    boolean explained = failure instanceof Failure || failure instanceof KvStoreException;
    return explained ? failure.getMessage() : failure.toString();
  }

  private static String firstLine(String text) {
    return text.lines().findFirst().orElse("");
  }
}
