package kora.data.distributed.common;

import kora.data.distributed.internal.Arguments;

/** Where a program begins: creates managers. */
public final class KvManagerFactory {
  private KvManagerFactory() {}

  /**
   * Creates a manager for the stores of an application. The first one loads the native libraries.
   *
   * @param appId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @return the manager; the caller closes it
   * @throws KvStoreException INVALID_ARGUMENT; NOT_SUPPORT if the native libraries can't be loaded
   */
  public static KvManager create(String appId) {
    return create(KvManagerConfig.of(appId));
  }

  /**
   * Creates a manager. The first one loads the native libraries.
   *
   * @param config whose stores to manage
   * @return the manager; the caller closes it
   * @throws KvStoreException INVALID_ARGUMENT; NOT_SUPPORT if the native libraries can't be loaded
   */
  public static KvManager create(KvManagerConfig config) {
    Arguments.notNull(config, "configuration");
    StoreClient.start();
    return new KvManagerImpl(config);
  }
}
