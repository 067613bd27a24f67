package kora.data.distributed.device;

/** Is told when a device comes or goes. */
@FunctionalInterface
public interface DeviceChangeCallback {
  /**
   * A device has come or gone. Called on a callback thread, one call at a time; what it throws goes to that
   * thread's uncaught exception handler.
   *
   * @param device the device
   * @param status what has become of it
   */
  void onChanged(DeviceInfo device, DeviceStatus status);
}
