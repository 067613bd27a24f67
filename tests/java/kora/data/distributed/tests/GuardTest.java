package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Consumer;
import java.util.function.Supplier;
import kora.data.distributed.common.Condition;
import kora.data.distributed.common.Durability;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.FieldType;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerConfig;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.common.KvStoreObserver;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.KvStoreServiceDeathRecipient;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Query;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.SecurityLevel;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.SyncCallback;
import kora.data.distributed.common.SyncMode;
import kora.data.distributed.common.Value;
import kora.data.distributed.device.DeviceChangeCallback;
import kora.data.distributed.device.DeviceFilterStrategy;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Test;

/** Every public method, found by reflection: nulls and closed objects never get past Java. */
class GuardTest extends WithManager {
  /** An argument for each type of parameter that a public method has. */
  static final Map<Class<?>, Object> ARGUMENTS = Map.ofEntries(
      argument(String.class, "text"), argument(Value.class, Value.ofInt(1)), argument(List.class, List.of()),
      argument(Collection.class, List.of("text")), argument(Duration.class, Duration.ZERO),
      argument(SyncMode.class, SyncMode.PULL), argument(SubscribeType.class, SubscribeType.ALL),
      argument(KvStoreObserver.class, (KvStoreObserver) n -> {}), argument(Options.class, Options.defaults()),
      argument(SyncCallback.class, (SyncCallback) results -> {}),
      argument(DeviceFilterStrategy.class, DeviceFilterStrategy.FILTER),
      argument(DeviceChangeCallback.class, (DeviceChangeCallback) (d, s) -> {}),
      argument(KvStoreServiceDeathRecipient.class, (KvStoreServiceDeathRecipient) () -> {}),
      argument(Runnable.class, (Runnable) () -> {}), argument(Supplier.class, (Supplier<Object>) () -> 1),
      argument(int.class, 0), argument(long.class, 0L), argument(float.class, 0f), argument(double.class, 0.0),
      argument(boolean.class, false), argument(byte.class, (byte) 1), argument(byte[].class, new byte[1]),
      argument(Path.class, Path.of("home")), argument(Durability.class, Durability.POWER),
      argument(SecurityLevel.class, SecurityLevel.S1), argument(Schema.class, Schema.ofJson("{}")),
      argument(KvManagerConfig.class, KvManagerConfig.of("test")), argument(Object.class, "operand"),
      argument(Consumer.class, (Consumer<Object>) entry -> {}),
      argument(Query.class, Query.ofJson("{}")), argument(Condition.class, Condition.field("a").isNull()),
      argument(FieldType.class, FieldType.STRING), argument(Object[].class, new Object[] {1}),
      argument(String[].class, new String[] {"name"}),
      argument(Condition.Field.class, Condition.field("a")),
      argument(Condition.Field[].class, new Condition.Field[] {Condition.field("b")}),
      argument(Condition[].class, new Condition[] {Condition.field("a").isNull()}));

  @Test
  void nullsAreRefusedByEveryMethod() {
    int calls = 0;
    for (Map.Entry<Class<?>, Object> object : openObjects().entrySet()) {
      calls += assertNullsRefused(object.getKey(), object.getValue());
    }
    for (Class<?> type : List.of(KvManagerFactory.class, StoreClient.class, KvManagerConfig.class, Value.class,
        Schema.class, Query.class, Condition.class)) {
      calls += assertNullsRefused(type, null);
    }
    calls += assertNullsRefused(Options.Builder.class, Options.builder());
    calls += assertNullsRefused(Query.Builder.class, Query.builder());
    calls += assertNullsRefused(Schema.Builder.class, Schema.builder());
    calls += assertNullsRefused(Condition.Field.class, Condition.field("a"));
    calls += assertNullsRefused(StoreClientSettings.Builder.class, StoreClientSettings.builder());
    for (Duration bad : List.of(Duration.ofNanos(-1), Duration.ofSeconds(Long.MAX_VALUE))) {
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> StoreClientSettings.builder().clusterDeathAfter(bad));
    }
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> new Entry(null, Value.ofInt(1)));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> new Entry("key", null));
    assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> new Entry("", Value.ofInt(1)));
    assertTrue(calls > 80, "only " + calls + " calls");
  }

  @Test
  void closedObjectsRefuseEveryMethod() {
    Map<Class<?>, Object> objects = openObjects();
    manager.close();
    int calls = 0;
    for (Map.Entry<Class<?>, Object> object : objects.entrySet()) {
      for (Method method : object.getKey().getMethods()) {
        if (!Set.of("close", "getStoreId").contains(method.getName())) {
          KvStoreException failure = invoke(method, object.getValue(), arguments(method));
          assertEquals(KvStoreErrorCode.STORE_NOT_OPEN, failure.getErrorCode(), method + ": " + failure);
          calls++;
        }
      }
    }
    assertTrue(calls > 70, "only " + calls + " calls");
    assertEquals("single", ((SingleKvStore) objects.get(SingleKvStore.class)).getStoreId());
  }

  @Test
  void emptyKeysAreRefused() {
    try (SingleKvStore store = manager.openSingle("single"); MultiKvStore multi = manager.openMulti("multi")) {
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.putInt("", 1));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.find(""));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.delete(""));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> multi.putInt("", 1));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> multi.deleteBatch(List.of("")));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.sync(List.of(), SyncMode.PULL));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.sync(List.of(""), SyncMode.PULL));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.sync(List.of(), SyncMode.PULL, results -> {}));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT,
          () -> store.setCapabilityRange(List.of("x".repeat(129)), List.of()));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT,
          () -> store.setCapabilityRange(List.of(), Collections.nCopies(65, "x")));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.setAllowedSyncDelay(Duration.ofMillis(-1)));
      assertFails(KvStoreErrorCode.INVALID_ARGUMENT, () -> store.setAllowedSyncDelay(Duration.ofDays(30)));
    }
  }

  /** An open object of each kind; snapshots and result sets only where the store client has them. */
  private Map<Class<?>, Object> openObjects() {
    Map<Class<?>, Object> objects = new LinkedHashMap<>();
    objects.put(KvManager.class, manager);
    SingleKvStore single = manager.openSingle("single");
    MultiKvStore multi = manager.openMulti("multi");
    objects.put(SingleKvStore.class, single);
    objects.put(MultiKvStore.class, multi);
    try {
      objects.put(KvStoreSnapshot.class, multi.snapshot());
      objects.put(KvStoreResultSet.class, single.getResultSet(""));
    } catch (KvStoreException notOffered) {
      assertEquals(KvStoreErrorCode.NOT_SUPPORT, notOffered.getErrorCode());
    }
    return objects;
  }

  private static int assertNullsRefused(Class<?> type, Object object) {
    int calls = 0;
    for (Method method : type.getMethods()) {
      boolean own = method.getDeclaringClass().getName().startsWith("kora.") && !method.getName().equals("equals")
          && (object != null || Modifier.isStatic(method.getModifiers()));
      for (int i = 0; own && i < method.getParameterCount(); i++) {
        if (!method.getParameterTypes()[i].isPrimitive()) {
          Object[] arguments = arguments(method);
          arguments[i] = null;
          KvStoreException failure = invoke(method, object, arguments);
          assertEquals(KvStoreErrorCode.INVALID_ARGUMENT, failure.getErrorCode(), method + ": " + failure);
          calls++;
        }
      }
    }
    return calls;
  }

  private static Object[] arguments(Method method) {
    return Arrays.stream(method.getParameterTypes()).map(type -> {
      assertTrue(ARGUMENTS.containsKey(type) || type == StoreClientSettings.class, "no argument for " + method);
      return ARGUMENTS.get(type);
    }).toArray();
  }

  private static KvStoreException invoke(Method method, Object object, Object[] arguments) {
    method.setAccessible(true);
    try {
      method.invoke(object, arguments);
      return fail(method + " accepted " + Arrays.toString(arguments));
    } catch (InvocationTargetException thrown) {
      if (thrown.getCause() instanceof KvStoreException) {
        return (KvStoreException) thrown.getCause();
      }
      return fail(method + " threw " + thrown.getCause(), thrown.getCause());
    } catch (IllegalAccessException e) {
      throw new AssertionError(e);
    }
  }

  private static Map.Entry<Class<?>, Object> argument(Class<?> type, Object value) {
    return Map.entry(type, value);
  }
}
