package kora.data.distributed.common;

import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Optional;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.NativeLibraries;
import kora.data.distributed.internal.Results;

/** The store client of this process: configures it, asks it for reasons, and lends it a thread for callbacks. */
public final class StoreClient {
  private StoreClient() {}

  /**
   * Configures the store client. To be called before the first manager is created.
   *
   * @param settings the settings
   * @throws KvStoreException INVALID_ARGUMENT, with a text that names the setting, for a bad value or when it
   *     is too late; NOT_SUPPORT if the store client can't be configured from here
   */
  public static void configure(StoreClientSettings settings) {
    Arguments.notNull(settings, "settings object");
    NativeLibraries.ensureLoaded();
    String error;
    try {
      error = nativeConfigure(settings.toBytes());
    } catch (UnsatisfiedLinkError notOffered) {
      throw new KvStoreException(
          KvStoreErrorCode.NOT_SUPPORT, "This store client can't be configured by StoreClient.configure.");
    }
    if (error != null) {
      throw Arguments.invalid(error);
    }
  }

  /**
   * Why devices were synchronised or not. The outcome of a synchronisation says only whether it succeeded.
   *
   * @param appId the application's identifier
   * @param storeId the store's identifier
   * @return for each device that a synchronisation of the store in this process has named, how the last one that has
   *     ended went: "done", "offline", "unknown device", "hub unavailable" and so on, as docs/errors.md lists them; a
   *     map that can't be changed, and empty if the store client keeps no reasons
   * @throws KvStoreException INVALID_ARGUMENT; NOT_SUPPORT if the native libraries can't be loaded
   */
  public static Map<String, String> syncReasons(String appId, String storeId) {
    Arguments.identifier(appId, "application identifier");
    Arguments.identifier(storeId, "store identifier");
    NativeLibraries.ensureLoaded();
    try {
      String[] pairs = Results.notNull(nativeSyncReasons(appId, storeId));
      Map<String, String> reasons = new LinkedHashMap<>();
      for (int i = 0; i < pairs.length; i += 2) {
        reasons.put(pairs[i], pairs[i + 1]);
      }
      return Collections.unmodifiableMap(reasons);
    } catch (UnsatisfiedLinkError notOffered) {
      return Map.of();
    }
  }

  /**
   * Why the hub of several devices is out of reach. {@link KvManager#devices} lists the others then as they were seen
   * last, or none.
   *
   * @return the reason, such as "hub unavailable" or "denied", as docs/errors.md lists them; empty when the hub was
   *     reached, and when this process does not look for one: none is configured, stores may only be read, or neither a
   *     store was opened nor a device asked for
   * @throws KvStoreException NOT_SUPPORT if the native libraries can't be loaded
   */
  public static Optional<String> hubTrouble() {
    NativeLibraries.ensureLoaded();
    try {
      return Optional.ofNullable(nativeHubTrouble());
    } catch (UnsatisfiedLinkError notOffered) {
      return Optional.empty();
    }
  }

  /**
   * Loads the native libraries; from then on a Java thread runs the callbacks, if the store client lets it.
   */
  static void start() {
    NativeLibraries.ensureLoaded();
    CallbackThread.start();
  }

  /**
   * Runs the callbacks of the store client. A thread that came from Java needs no attaching for each
   * callback, and it finds classes through the class loader of this library instead of the system's.
   */
  private static final class CallbackThread {
    static {
      if (claimed()) {
        Thread thread = new Thread(null, StoreClient::nativeHostCallbacks, "kora-callbacks", 0, false);
        thread.setDaemon(true);
        thread.setContextClassLoader(StoreClient.class.getClassLoader());
        thread.start();
      }
    }

    /** Does its work by being initialised, once. */
    static void start() {}

    private static boolean claimed() {
      try {
        return nativeClaimCallbacks();
      } catch (UnsatisfiedLinkError notOffered) {
        return false;
      }
    }
  }

  private static native String nativeConfigure(byte[][] settings);

  private static native String[] nativeSyncReasons(String appId, String storeId);

  private static native String nativeHubTrouble();

  private static native boolean nativeClaimCallbacks();

  private static native void nativeHostCallbacks();
}
