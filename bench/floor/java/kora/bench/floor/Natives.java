package kora.bench.floor;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.util.List;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Value;

/**
 * The natives of the form that the system property {@code form} names: {@code bridge}, {@code required} or
 * {@code least}. Constants, so that a call compiles to the same code for each form.
 */
final class Natives {
  static final MethodHandle GET = store("nativeGet", Value.class, byte[].class);
  static final MethodHandle PUT = store("nativePut", void.class, byte[].class, Value.class);
  static final MethodHandle DELETE = store("nativeDelete", void.class, byte[].class);
  static final MethodHandle GET_ENTRIES = store("nativeGetEntries", List.class, byte[].class);
  static final MethodHandle PUT_BATCH = store("nativePutBatch", void.class, Entry[].class);
  static final MethodHandle MOVE_TO_NEXT = cursor("nativeMoveToNext", boolean.class);
  static final MethodHandle GET_ENTRY = cursor("nativeGetEntry", Entry.class);
  static final MethodHandle NOTIFY = find(form("kora.bench.floor.NullClient"), "nativeNotify",
      MethodType.methodType(void.class, KvStoreObserver.class));

  private Natives() {}

  /** Subscribes through the bridge, whatever the form: the null client tells one observer. */
  static void subscribe(KvStoreObserver observer, KvManagerConfig config, long store) throws Throwable {
    find("kora.data.distributed.user.SingleKvStoreImpl", "nativeRegisterObserver",
        MethodType.methodType(void.class, SubscribeType.class, KvStoreObserver.class, KvManagerConfig.class,
            long.class)).invoke(SubscribeType.ALL, observer, config, store);
  }

  private static MethodHandle store(String name, Class<?> result, Class<?>... parameters) {
    return find(form("kora.data.distributed.user.SingleKvStoreImpl"), name,
        MethodType.methodType(result, parameters).appendParameterTypes(long.class));
  }

  private static MethodHandle cursor(String name, Class<?> result) {
    return find(form("kora.data.distributed.common.KvStoreResultSetImpl"), name,
        MethodType.methodType(result, long.class));
  }

  private static String form(String bridge) {
    switch (System.getProperty("form")) {
      case "bridge":
        return bridge;
      case "required":
        return "kora.bench.floor.RequiredNatives";
      case "least":
        return "kora.bench.floor.LeastNatives";
      default:
        throw new IllegalArgumentException("form is bridge, required or least");
    }
  }

  private static MethodHandle find(String className, String name, MethodType type) {
    try {
      Class<?> owner = Class.forName(className);
      return MethodHandles.privateLookupIn(owner, MethodHandles.lookup()).findStatic(owner, name, type);
    } catch (ReflectiveOperationException error) {
      throw new IllegalStateException(error);
    }
  }
}
