package kora.data.distributed.internal;

import kora.data.distributed.device.DeviceChangeCallback;
import kora.data.distributed.device.DeviceInfo;
import kora.data.distributed.device.DeviceStatus;

/** Relays the coming and going of devices. */
public final class DeviceRelay extends Relay<DeviceChangeCallback> implements DeviceChangeCallback {
  public DeviceRelay(DeviceChangeCallback target) {
    super(target, true);
  }

  @Override
  public void onChanged(DeviceInfo device, DeviceStatus status) {
    deliver(listener -> listener.onChanged(device, status));
  }
}
