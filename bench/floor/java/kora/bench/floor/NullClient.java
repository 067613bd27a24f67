package kora.bench.floor;

import kora.data.distributed.common.KvStoreObserver;

/** The store client that stores nothing. */
final class NullClient {
  private NullClient() {}

  /** The handle of its store. */
  static native long store();

  /** The handle of its cursor. */
  static native long cursor();

  /** Tells whoever has subscribed to the store, on this thread; the argument makes no difference. */
  private static native void nativeNotify(KvStoreObserver observer);

  /** Writes lines to the log at its lowest level. */
  static native void log(int lines);
}
