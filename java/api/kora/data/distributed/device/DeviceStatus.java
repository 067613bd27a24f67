package kora.data.distributed.device;

/** Whether another device can be reached. */
public enum DeviceStatus {
  /** The device has become reachable. */
  ONLINE,
  /** The device can no longer be reached. */
  OFFLINE
}
