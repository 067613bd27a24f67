package kora.data.distributed.tests;

import static kora.data.distributed.tests.Stores.assertFails;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import kora.data.distributed.common.FieldType;
import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.SecurityLevel;
import kora.data.distributed.user.SingleKvStore;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** The page that lists the error codes, and the situations that bring those about which no other test does. */
@Tag("limits")
class ErrorCodesTest extends WithManager {
  private static final Schema PERSON =
      Schema.builder().mandatory("name", FieldType.STRING).optional("age", FieldType.INT).build();

  /** The page has a row for each code, in their order, and the tests that it names are there. */
  @Test
  void thePageIsComplete() throws Exception {
    List<String> codes = new ArrayList<>();
    for (String line : Files.readAllLines(Path.of(System.getProperty("kora.docs"), "errors.md"))) {
      Matcher row = Pattern.compile("\\| `([A-Z_]+)` \\| .+ \\| `(\\w+)\\.(\\w+)` \\|").matcher(line);
      if (row.matches()) {
        codes.add(row.group(1));
        Class<?> tests = Class.forName(getClass().getPackageName() + "." + row.group(2));
        assertTrue(Arrays.stream(tests.getDeclaredMethods()).anyMatch(method -> method.getName().equals(row.group(3))),
            line);
      }
    }
    assertEquals(Arrays.stream(KvStoreErrorCode.values()).map(Enum::name).collect(Collectors.toList()), codes);
  }

  @Test
  void dbError() throws IOException {
    manager.openSingle("store").close();
    Files.writeString(file("store", "STORE"), "damaged");
    assertFails(KvStoreErrorCode.DB_ERROR, () -> manager.openSingle("store"));
  }

  @Test
  void schemaMismatch() {
    openWith(PERSON).close();
    Schema other = Schema.builder().mandatory("name", FieldType.INT).build();
    assertFails(KvStoreErrorCode.SCHEMA_MISMATCH, () -> openWith(other));
  }

  @Test
  void invalidSchema() {
    assertFails(KvStoreErrorCode.INVALID_SCHEMA, () -> openWith(Schema.ofJson("{")));
    assertEquals(List.of(), manager.storeIds());
  }

  @Test
  void invalidValueFields() {
    assertRefused(KvStoreErrorCode.INVALID_VALUE_FIELDS, "{\"name\":\"Bob\",\"height\":2}");
  }

  @Test
  void invalidFieldType() {
    assertRefused(KvStoreErrorCode.INVALID_FIELD_TYPE, "{\"name\":7}");
  }

  @Test
  void invalidFormat() {
    assertRefused(KvStoreErrorCode.INVALID_FORMAT, "Bob");
    SingleKvStore store = manager.openSingle("store");
    store.putString("key", "text");
    assertFails(KvStoreErrorCode.INVALID_FORMAT, () -> store.getInt("key"));
  }

  @Test
  void recoverSuccess() throws IOException {
    Options backedUp = Options.builder().backup(true).build();
    try (SingleKvStore store = manager.openSingle("store", backedUp)) {
      store.putInt("key", 1);
    }
    Files.delete(file("store", "CURRENT"));
    assertFails(KvStoreErrorCode.RECOVER_SUCCESS, () -> manager.openSingle("store", backedUp));
    assertEquals(1, manager.openSingle("store", backedUp).getInt("key"));
  }

  @Test
  void recoverFailed() throws IOException {
    manager.openSingle("store").close();
    Files.delete(file("store", "CURRENT"));
    assertFails(KvStoreErrorCode.RECOVER_FAILED,
        () -> manager.openSingle("store", Options.builder().backup(true).build()));
  }

  @Test
  void securityLevelError() {
    manager.openSingle("store", Options.builder().securityLevel(SecurityLevel.S1).build()).close();
    Options other = Options.builder().securityLevel(SecurityLevel.S4).build();
    assertFails(KvStoreErrorCode.SECURITY_LEVEL_ERROR, () -> manager.openSingle("store", other));
  }

  private void assertRefused(KvStoreErrorCode code, String value) {
    assertFails(code, () -> openWith(PERSON).putString("key", value));
  }

  private SingleKvStore openWith(Schema schema) {
    return manager.openSingle("documents", Options.builder().schema(schema).build());
  }

  private Path file(String storeId, String name) {
    return Path.of(System.getenv("KORA_DATA_HOME"), application, storeId, name);
  }
}
