package kora.data.distributed.tests;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.reflect.Array;
import java.lang.reflect.Constructor;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import kora.data.distributed.user.KvStoreSnapshot;
import org.junit.jupiter.api.Test;

class NativeBindingTest {
  private static final Map<String, Integer> NATIVES = Map.of("common.KvManagerImpl", 11, "user.MultiKvStoreImpl",
      12, "user.KvStoreSnapshotImpl", 3, "common.KvStoreResultSetImpl", 13, "user.SingleKvStoreImpl", 24);

  @Test
  void everyNativeIsBoundAndSurvivesAZeroHandle() throws Exception {
    KvManagerFactory.create("binding").close();
    for (Map.Entry<String, Integer> expected : NATIVES.entrySet()) {
      Class<?> type = Class.forName("kora.data.distributed." + expected.getKey());
      List<Method> natives = natives(type);
      assertEquals(expected.getValue(), natives.size(), type.getName());
      for (Method method : natives) {
        call(method);
      }
    }
  }

  @Test
  void noProgramReachesANative() throws Exception {
    for (String name : NATIVES.keySet()) {
      Class<?> type = Class.forName("kora.data.distributed." + name);
      assertFalse(Modifier.isPublic(type.getModifiers()), name);
      assertTrue(natives(type).stream().allMatch(method -> Modifier.isPrivate(method.getModifiers())), name);
    }
  }

  @Test
  void everyErrorCodeHasItsNameAndText() {
    for (KvStoreErrorCode code : KvStoreErrorCode.values()) {
      assertEquals(code.getDescription(), new KvStoreException(code, "").getMessage());
      assertFalse(code.getDescription().isBlank());
    }
  }

  private static List<Method> natives(Class<?> type) {
    return Arrays.asList(Arrays.stream(type.getDeclaredMethods())
        .filter(method -> Modifier.isNative(method.getModifiers())).toArray(Method[]::new));
  }

  private static void call(Method method) throws ReflectiveOperationException {
    Object[] arguments = new Object[method.getParameterCount()];
    for (int i = 0; i < arguments.length; i++) {
      arguments[i] = argument(method.getParameterTypes()[i]);
    }
    method.setAccessible(true);
    try {
      method.invoke(null, arguments);
    } catch (InvocationTargetException thrown) {
      assertEquals(KvStoreException.class, thrown.getCause().getClass(), method.toString());
    }
  }

  private static Object argument(Class<?> type) throws ReflectiveOperationException {
    if (type == KvStoreSnapshot.class) {
      Class<?> snapshot = Class.forName("kora.data.distributed.user.KvStoreSnapshotImpl");
      Constructor<?> constructor = snapshot.getDeclaredConstructor(long.class);
      constructor.setAccessible(true);
      return constructor.newInstance(0L);
    }
    return type.isArray() ? Array.newInstance(type.getComponentType(), 0) : GuardTest.ARGUMENTS.get(type);
  }
}
