package kora.data.distributed.internal;

import java.lang.reflect.Constructor;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;

/**
 * How one package makes the objects of another. Native code fixes in which package each class with natives
 * lives; a program must not be able to make such objects, so their constructors are private to these
 * packages.
 */
public final class PackageAccess {
  /** Makes the objects of package user. */
  public interface Stores {
    /**
     * Makes the object for an opened store.
     *
     * @param manager kept reachable as long as the store
     */
    SingleKvStore single(String storeId, NativeHandle handle, KvManagerConfig config, Object manager);

    /** As {@link #single}. */
    MultiKvStore multi(String storeId, NativeHandle handle, KvManagerConfig config, Object manager);
  }

  /** Makes the result sets of package common. */
  public interface ResultSets {
    /**
     * Makes the object for an opened result set.
     *
     * @param store kept reachable as long as the result set
     */
    KvStoreResultSet open(NativeHandle handle, Object store);

    /** An object from which native code reads the handle of the result set that it is to close. */
    KvStoreResultSet toClose(long handle);
  }

  public static final Stores STORES = load(Stores.class, "user.StoreAccess");
  public static final ResultSets RESULT_SETS = load(ResultSets.class, "common.ResultSetAccess");

  private PackageAccess() {}

  private static <T> T load(Class<T> type, String name) {
    try {
      Constructor<?> constructor = Class.forName("kora.data.distributed." + name).getDeclaredConstructor();
      constructor.setAccessible(true);
      return type.cast(constructor.newInstance());
    } catch (ReflectiveOperationException incomplete) {
      throw new LinkageError("kora-data.jar is incomplete", incomplete);
    }
  }
}
