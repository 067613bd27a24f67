package kora.data.distributed.common;

/** Ends what began with a subscription or registration. */
@FunctionalInterface
public interface Subscription extends AutoCloseable {
  /**
   * Ends it: no call begins after this returns; one that is running on another thread may still be running.
   * Closing again, or after the store or manager was closed, does nothing.
   */
  @Override
  void close();
}
