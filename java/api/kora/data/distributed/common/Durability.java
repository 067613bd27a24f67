package kora.data.distributed.common;

/** What a write survives once its call has returned. */
public enum Durability {
  /** The end of the process in any way. A loss of power may cost the last writes. */
  PROCESS,
  /** A loss of power too, at the price of a wait for the disk with every write. */
  POWER
}
