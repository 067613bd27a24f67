package kora.data.distributed.common;

import java.util.Map;

/** Is told that a synchronisation has ended. */
@FunctionalInterface
public interface SyncCallback {
  /** The result of a device with which the synchronisation succeeded. */
  int SUCCEEDED = 0;
  /** The result of a device with which it did not; the log of the store client says why. */
  int FAILED = 1;

  /**
   * A synchronisation has ended. What it throws goes to the uncaught exception handler of the thread that calls it.
   *
   * @param results for each device identifier {@link #SUCCEEDED} or {@link #FAILED}
   */
  void syncCompleted(Map<String, Integer> results);
}
