package kora.data.distributed.tests;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.function.Supplier;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.function.Executable;

/** What the tests have in common. */
final class Stores {
  private Stores() {}

  static KvStoreException assertFails(KvStoreErrorCode code, Executable call) {
    KvStoreException failure = assertThrows(KvStoreException.class, call);
    assertEquals(code, failure.getErrorCode(), failure.toString());
    assertFalse(failure.getMessage().isBlank());
    assertNotEquals(0, failure.getStackTrace().length, failure.toString());
    return failure;
  }

  /** The result of the call, or an end of the test when the store client does not offer it. */
  static <T> T ifSupported(Supplier<T> call) {
    try {
      return call.get();
    } catch (KvStoreException failure) {
      Assumptions.assumeFalse(failure.getErrorCode() == KvStoreErrorCode.NOT_SUPPORT, "not offered by this client");
      throw failure;
    }
  }
}
