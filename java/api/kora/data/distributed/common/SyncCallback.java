package kora.data.distributed.common;

import java.util.Map;

/** Is told that a synchronisation has ended. */
@FunctionalInterface
public interface SyncCallback {
  /**
   * A synchronisation has ended.
   *
   * @param results for each device identifier 0 if it succeeded, else 1
   */
  void syncCompleted(Map<String, Integer> results);
}
