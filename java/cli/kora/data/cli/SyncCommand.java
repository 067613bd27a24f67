package kora.data.cli;

import java.time.Duration;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.TimeoutException;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.SyncMode;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.user.SingleKvStore;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;
import picocli.CommandLine.TypeConversionException;

/** {@code kora sync}. */
@Command(
    name = "sync",
    description = {
      "Synchronises the store with the hub, and prints for each device whether it takes part: its identifier, done or"
          + " failed, and the reason, with tabs between them. Makes the store if there is none.",
      "The exit status is 1 if it failed for one of them. This device stands for the hub alone."
    })
final class SyncCommand implements Callable<Integer> {
  @ParentCommand private StoreScope scope;

  @Option(
      names = {"-m", "--mode"},
      paramLabel = "MODE",
      defaultValue = "push-pull",
      converter = Mode.class,
      description = "What to do: pull, push or push-pull (default: ${DEFAULT-VALUE}).")
  private SyncMode mode;

  @Option(
      names = "--timeout",
      paramLabel = "SECONDS",
      defaultValue = "60",
      description = "How long to wait for the end (default: ${DEFAULT-VALUE}).")
  private int seconds;

  @Parameters(paramLabel = "DEVICE", description = "Identifiers (default: this device and all that are online).")
  private List<String> devices = new ArrayList<>();

  @Override
  public Integer call() {
    int[] status = {CommandLine.ExitCode.OK};
    scope.use(StoreScope.Missing.CREATE, store -> status[0] = synchronise(store));
    return status[0];
  }

  private int synchronise(SingleKvStore store) {
    Set<String> wanted = new LinkedHashSet<>(devices.isEmpty() ? everybody() : devices);
    Map<String, Boolean> outcome = await(store, wanted);
    Map<String, String> reasons = StoreClient.syncReasons(scope.appName(), scope.storeName());
    int status = CommandLine.ExitCode.OK;
    for (String device : wanted) {
      boolean done = outcome.getOrDefault(device, false);
      String end = done ? "done" : "failed\t" + reasons.getOrDefault(device, "");
      scope.out().println(EntryLines.oneLine(device) + "\t" + end);
      status = done ? status : CommandLine.ExitCode.SOFTWARE;
    }
    return status;
  }

  private Map<String, Boolean> await(SingleKvStore store, Set<String> wanted) {
    try {
      return store.sync(wanted, mode, Duration.ZERO, Duration.ofSeconds(seconds)).get();
    } catch (ExecutionException failure) {
      if (failure.getCause() instanceof TimeoutException) {
        throw new Failure("no answer within " + seconds + " seconds");
      }
      throw new Failure(failure.getCause().getMessage());
    } catch (InterruptedException interrupted) {
      Thread.currentThread().interrupt();
      throw new Failure("interrupted");
    }
  }

  private List<String> everybody() {
    try (KvManager manager = scope.manager()) {
      List<String> everybody = new ArrayList<>(List.of(manager.localDevice().getId()));
      manager.devices(DeviceFilterStrategy.FILTER).forEach(device -> everybody.add(device.getId()));
      return everybody;
    }
  }

  /** The modes as they are written on a command line. */
  private static final class Mode implements ITypeConverter<SyncMode> {
    @Override
    public SyncMode convert(String text) {
      for (SyncMode mode : SyncMode.values()) {
        if (mode.name().toLowerCase(Locale.ROOT).replace('_', '-').equals(text)) {
          return mode;
        }
      }
      throw new TypeConversionException("expected pull, push or push-pull but was '" + text + "'");
    }
  }
}
