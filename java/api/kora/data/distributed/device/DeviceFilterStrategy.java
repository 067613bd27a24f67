package kora.data.distributed.device;

/** Which devices a list or a listener takes in. */
public enum DeviceFilterStrategy {
  /** A list has the devices that are online. A listener is told when one comes online or goes offline. */
  FILTER,
  /**
   * A list also has the devices that were online since this process started and have gone. A listener is also
   * told, as of one that comes online, of a device that goes by another name or type than before.
   */
  NO_FILTER
}
