package kora.data.distributed.common;

import java.util.Map;
import java.util.TreeMap;
import kora.data.distributed.internal.Arguments;
import kora.data.distributed.internal.NativeLibraries;

/** The store client of this process: configures it and lends it a thread for callbacks. */
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
   * @param application the application's identifier
   * @param store the store's identifier
   * @return for each device that a synchronisation of the store in this process has named, how the last one
   *     that has ended went: "done", "offline", "unknown device", "hub unavailable" and so on
   */
  public static Map<String, String> syncReasons(String application, String store) {
    Arguments.notNull(application, "application");
    Arguments.notNull(store, "store");
    NativeLibraries.ensureLoaded();
    Map<String, String> reasons = new TreeMap<>();
    try {
      String[] pairs = nativeSyncReasons(application, store);
      for (int i = 0; pairs != null && i < pairs.length; i += 2) {
        reasons.put(pairs[i], pairs[i + 1]);
      }
    } catch (UnsatisfiedLinkError notOffered) {
      // A store client that keeps no reasons.
    }
    return reasons;
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

  private static native boolean nativeClaimCallbacks();

  private static native void nativeHostCallbacks();

  private static native String[] nativeSyncReasons(String application, String store);
}
