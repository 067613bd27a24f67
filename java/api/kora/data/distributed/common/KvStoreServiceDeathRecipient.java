package kora.data.distributed.common;

/** Is told when the service behind the store client has died. */
@FunctionalInterface
public interface KvStoreServiceDeathRecipient {
  /**
   * The service has died, as {@link KvManager#registerDeathRecipient} tells: observers of single stores and device listeners are forgotten and must be
   * registered again. Called on a callback thread; what it throws goes to that thread's uncaught exception
   * handler.
   */
  void onRemoteDied();
}
