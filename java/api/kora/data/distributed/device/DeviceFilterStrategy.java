package kora.data.distributed.device;

/** Which devices a list or a listener takes in. */
public enum DeviceFilterStrategy {
  /** Only devices that can synchronise with this one. */
  FILTER,
  /** Every device that is known. */
  NO_FILTER
}
