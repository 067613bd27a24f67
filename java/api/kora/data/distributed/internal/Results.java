package kora.data.distributed.internal;

import java.util.Collections;
import java.util.List;
import java.util.Optional;
import java.util.function.Supplier;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.Value;

/** Checks of what native code answers: it may come back with nothing and without an exception. */
public final class Results {
  /** Whether the thread is in {@link #find}. */
  private static final ThreadLocal<boolean[]> FINDING = ThreadLocal.withInitial(() -> new boolean[1]);

  private Results() {}

  /** The value that a read yields, or empty if the read throws KEY_NOT_FOUND. */
  public static Optional<Value> find(Supplier<Value> read) {
    boolean[] finding = FINDING.get();
    Value value;
    try {
      finding[0] = true;
      value = read.get();
    } catch (KvStoreException failure) {
      if (failure.getErrorCode() == KvStoreErrorCode.KEY_NOT_FOUND) {
        return Optional.empty();
      }
      throw failure;
    } finally {
      finding[0] = false;
    }
    if (value == null) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_FORMAT, "The stored value has no type.");
    }
    return Optional.of(value);
  }

  /** Whether an exception that says KEY_NOT_FOUND is an answer on this thread, which nobody sees. */
  public static boolean isFinding() {
    return FINDING.get()[0];
  }

  public static <T> List<T> list(List<T> list) {
    if (notNull(list).contains(null)) {
      throw new KvStoreException(KvStoreErrorCode.INVALID_FORMAT, "A stored value has no type.");
    }
    return Collections.unmodifiableList(list);
  }

  public static <T> T notNull(T result) {
    if (result == null) {
      throw new KvStoreException(KvStoreErrorCode.DEFAULT_DB_ERROR, null);
    }
    return result;
  }

  public static void done(boolean success) {
    if (!success) {
      throw new KvStoreException(KvStoreErrorCode.DEFAULT_DB_ERROR, null);
    }
  }
}
