package kora.data.cli;

import java.util.HashSet;
import java.util.Set;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.device.DeviceInfo;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** {@code kora devices}. */
@Command(
    name = "devices",
    description = {
      "Lists this device and the others at the hub: identifier, state, name and type, with tabs between them.",
      "Another device is online; offline is shown in the shell, of one that has gone since the shell knew it.",
      "The exit status is 1 if the hub can't be reached: the others are then unknown, or as they were seen last."
    })
final class DevicesCommand implements Runnable {
  @ParentCommand private StoreScope scope;

  @Override
  public void run() {
    try (KvManager manager = scope.manager()) {
      print(manager.localDevice(), "this");
      Set<DeviceInfo> online = new HashSet<>(manager.devices(DeviceFilterStrategy.FILTER));
      for (DeviceInfo device : manager.devices(DeviceFilterStrategy.NO_FILTER)) {
        print(device, online.contains(device) ? "online" : "offline");
      }
      StoreClient.hubTrouble().ifPresent(reason -> {
        throw new Failure("the other devices can't be seen: " + reason);
      });
    }
  }

  private void print(DeviceInfo device, String state) {
    scope.out().println(device.getId() + "\t" + state + "\t" + EntryLines.oneLine(device.getName()) + "\t"
        + EntryLines.oneLine(device.getType()));
  }
}
