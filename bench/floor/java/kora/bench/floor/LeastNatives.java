package kora.bench.floor;

import java.util.List;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.Value;

/** The same results by the fewest and cheapest JNI calls. */
final class LeastNatives {
  private LeastNatives() {}

  private static native Value nativeGet(byte[] key, long store);

  private static native void nativePut(byte[] key, Value value, long store);

  private static native void nativeDelete(byte[] key, long store);

  private static native List<Entry> nativeGetEntries(byte[] prefix, long store);

  private static native void nativePutBatch(Entry[] entries, long store);

  private static native boolean nativeMoveToNext(long cursor);

  private static native Entry nativeGetEntry(long cursor);

  private static native void nativeNotify(KvStoreObserver observer);
}
