import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Random;
import java.util.TreeSet;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import kora.data.distributed.common.ChangeNotification;
import kora.data.distributed.common.Condition;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.FieldType;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.KvStoreResultSet;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Query;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.SubscribeType;
import kora.data.distributed.common.Subscription;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.KvStoreSnapshot;
import kora.data.distributed.user.MultiKvStore;
import kora.data.distributed.user.SingleKvStore;

/**
 * Keeps the Unicode character database in a store: code points with their records, and names with their code points.
 * Shows what each step did and how fast, and ends with exit status 1 when a single record is not what it should be.
 */
final class UnicodeNames {
  private static final Path DEFAULT_FILE = Path.of("/usr/share/unicode/UnicodeData.txt");
  private static final String STORE = "characters";
  private static final int BATCH = 1000;
  private static final int READS = 300_000;
  private static final int JUMPS = 100_000;
  private static final String VERSIONS = "versions";
  private static final String PREFIX = "name/GREEK SMALL LETTER ";

  /** What the store must hold, by key. */
  private final Map<String, Value> expected = new HashMap<>();

  private final Map<String, String> characters;

  private UnicodeNames(Map<String, String> characters) {
    this.characters = characters;
  }

  public static void main(String[] args) throws Exception {
    Path file = args.length > 0 ? Path.of(args[0]) : DEFAULT_FILE;
    UnicodeNames demo = new UnicodeNames(readFile(file));
    System.out.printf(Locale.ROOT, "%s: %,d records%n", file, demo.characters.size());
    demo.warmUp();
    try (KvManager manager = KvManagerFactory.create("unicode-names")) {
      manager.storeIds().forEach(manager::deleteStore);
      try (SingleKvStore store = manager.openSingle(STORE)) {
        demo.importAll(store);
        demo.readAtRandom(store);
        demo.addNames(store);
        demo.listByPrefix(store);
        demo.jumpInResultSet(store);
        demo.changeUnderObserver(store);
      }
      try (SingleKvStore reopened = manager.openSingle(STORE)) {
        demo.verify(reopened);
      }
      demo.readSnapshot(manager);
      demo.queryDocuments(manager);
    }
  }

  private static Map<String, String> readFile(Path file) throws IOException {
    Map<String, String> records = new LinkedHashMap<>();
    for (String line : Files.readAllLines(file)) {
      int end = line.indexOf(';');
      records.put(line.substring(0, end), line.substring(end + 1));
    }
    check(!records.isEmpty(), file + " has no records");
    return records;
  }

  /** Runs the same work on a store of its own, so that the figures are those of compiled code. */
  private void warmUp() {
    try (KvManager manager = KvManagerFactory.create("unicode-names")) {
      try (SingleKvStore store = manager.openSingle("warm-up")) {
        importBatches(store);
        characters.forEach((codePoint, record) -> check(store.getString(codePoint).equals(record), codePoint));
        characters.forEach(store::putString);
      }
      manager.deleteStore("warm-up");
    }
  }

  private void importAll(SingleKvStore store) {
    Stopwatch watch = new Stopwatch();
    importBatches(store);
    watch.report("imported in batches of " + BATCH, characters.size(), "records");
    characters.forEach((codePoint, record) -> expected.put(codePoint, Value.ofString(record)));
  }

  private void importBatches(SingleKvStore store) {
    List<Entry> batch = new ArrayList<>(BATCH);
    characters.forEach((codePoint, record) -> {
      batch.add(new Entry(codePoint, Value.ofString(record)));
      if (batch.size() == BATCH) {
        store.putBatch(batch);
        batch.clear();
      }
    });
    store.putBatch(batch);
  }

  private void readAtRandom(SingleKvStore store) {
    List<String> codePoints = new ArrayList<>(characters.keySet());
    Random random = new Random(1);
    Stopwatch watch = new Stopwatch();
    for (int read = 0; read < READS; ++read) {
      String codePoint = codePoints.get(random.nextInt(codePoints.size()));
      check(store.getString(codePoint).equals(characters.get(codePoint)), codePoint);
    }
    watch.report("read at random", READS, "records");
  }

  /** One put for each name; the names in angle brackets stand for more than one character. */
  private void addNames(SingleKvStore store) {
    Map<String, Value> names = new LinkedHashMap<>();
    characters.forEach((codePoint, record) -> {
      String name = record.substring(0, record.indexOf(';'));
      if (!name.startsWith("<")) {
        names.put("name/" + name, Value.ofInt(Integer.parseInt(codePoint, 16)));
      }
    });
    Stopwatch watch = new Stopwatch();
    names.forEach(store::put);
    watch.report("put one by one", names.size(), "names");
    expected.putAll(names);
  }

  private void listByPrefix(SingleKvStore store) {
    long wanted = expected.keySet().stream().filter(key -> key.startsWith(PREFIX)).count();
    Stopwatch watch = new Stopwatch();
    List<Entry> found = store.getEntries(PREFIX);
    check(found.size() == wanted, "found " + found.size() + " of " + wanted + " names that begin with " + PREFIX);
    found.forEach(entry -> check(entry.getValue().equals(expected.get(entry.getKey())), entry.getKey()));
    watch.report("listed by prefix '" + PREFIX.trim() + "'", found.size(), "names");

    Stopwatch all = new Stopwatch();
    int count = store.getEntries("").size();
    check(count == expected.size(), "the store lists " + count + " records instead of " + expected.size());
    all.report("listed as a whole", count, "records");
    Entry first = found.get(0);
    System.out.printf("  %s is %s%n", first.getKey().substring(5), Character.toString(first.getValue().asInt()));
  }

  /** All records are in reach by their position, without being held in memory. */
  private void jumpInResultSet(SingleKvStore store) {
    List<String> keys = new ArrayList<>(new TreeSet<>(expected.keySet()));
    Random random = new Random(1);
    try (KvStoreResultSet records = store.getResultSet("")) {
      check(records.getCount() == keys.size(), "the result set has " + records.getCount() + " records");
      Stopwatch watch = new Stopwatch();
      for (int jump = 0; jump < JUMPS; ++jump) {
        int position = random.nextInt(keys.size());
        check(records.moveToPosition(position), "there is no record at " + position);
        Entry entry = records.getEntry();
        check(entry.getKey().equals(keys.get(position)), "at " + position + " is " + entry.getKey());
        check(entry.getValue().equals(expected.get(entry.getKey())), entry.getKey());
      }
      watch.report("jumped to in a result set", JUMPS, "records");
    }
  }

  /** A snapshot of a multi-version store stays as it is, whatever happens to the store. */
  private void readSnapshot(KvManager manager) {
    if (manager.storeIds().contains(VERSIONS)) {
      manager.deleteStore(VERSIONS);
    }
    try (MultiKvStore store = manager.openMulti(VERSIONS)) {
      store.transaction(() -> characters.forEach(store::putString));
      try (KvStoreSnapshot snapshot = store.snapshot()) {
        store.clear();
        Stopwatch watch = new Stopwatch();
        characters.forEach((codePoint, record) -> check(snapshot.getString(codePoint).equals(record), codePoint));
        check(snapshot.getKeys("").size() == characters.size(), "the snapshot has other keys");
        watch.report("read from a snapshot of what was cleared", characters.size(), "records");
      }
      try (KvStoreSnapshot now = store.snapshot()) {
        check(now.getKeys("").isEmpty(), "the store is not empty");
      }
    }
  }

  /** The characters as documents with an index: the query finds what a loop over the file finds. */
  private void queryDocuments(KvManager manager) {
    Schema schema = Schema.builder().mandatory("name", FieldType.STRING).mandatory("category", FieldType.STRING)
        .mandatory("code", FieldType.INT).index("category", "code").build();
    List<Entry> documents = new ArrayList<>();
    List<String> wanted = new ArrayList<>();
    characters.forEach((codePoint, record) -> {
      String[] fields = record.split(";");
      int code = Integer.parseInt(codePoint, 16);
      documents.add(new Entry(codePoint, Value.ofString(
          "{\"name\":\"" + fields[0] + "\",\"category\":\"" + fields[1] + "\",\"code\":" + code + "}")));
      if (fields[1].equals("Sc") && code >= 0x20A0) {
        wanted.add(codePoint);
      }
    });
    try (SingleKvStore store = manager.openSingle("documents", Options.builder().schema(schema).build())) {
      store.putBatch(documents);
      Query currencies = Query.builder()
          .where(Condition.and(Condition.field("category").equalTo("Sc"), Condition.field("code").atLeast(0x20A0)))
          .orderBy("code").build();
      store.getCount(currencies);
      Stopwatch watch = new Stopwatch();
      List<Entry> found = store.getEntries(currencies);
      watch.report("queried: currency signs from U+20A0 on", found.size(), "records");
      check(keys(found).equals(wanted), "the query found " + keys(found) + " instead of " + wanted);
    }
  }

  /** A transaction that is committed is told as one change; one that is rolled back leaves no trace. */
  private void changeUnderObserver(SingleKvStore store) throws InterruptedException {
    BlockingQueue<ChangeNotification> changes = new LinkedBlockingQueue<>();
    Subscription subscription = store.subscribe(SubscribeType.ALL, changes::add);

    store.startTransaction();
    store.deleteBatch(new ArrayList<>(characters.keySet()));
    check(store.find("0041").isEmpty(), "a transaction reads its own deletions");
    store.rollback();

    String capital = characters.get("0041") + " (changed)";
    store.transaction(() -> {
      store.putString("0041", capital);
      store.putString("favourite", "1F600");
      store.delete("name/LATIN SMALL LETTER A");
      check(store.getString("0041").equals(capital), "a transaction reads its own writes");
    });
    ChangeNotification change = changes.poll(10, TimeUnit.SECONDS);
    check(change != null, "the observer was not told of the transaction");
    System.out.printf("the observer was told of one transaction: inserted %s, updated %s, deleted %s%n",
        keys(change.getInsertEntries()), keys(change.getUpdateEntries()), keys(change.getDeleteEntries()));
    check(keys(change.getInsertEntries()).equals(List.of("favourite")), "insert");
    check(keys(change.getUpdateEntries()).equals(List.of("0041")), "update");
    check(keys(change.getDeleteEntries()).equals(List.of("name/LATIN SMALL LETTER A")), "delete");
    subscription.close();
    check(changes.isEmpty(), "the observer was told of something else: " + changes);

    expected.put("0041", Value.ofString(capital));
    expected.put("favourite", Value.ofString("1F600"));
    expected.remove("name/LATIN SMALL LETTER A");
  }

  /** Each record by its key, and no others. */
  private void verify(SingleKvStore store) {
    Stopwatch watch = new Stopwatch();
    expected.forEach((key, value) -> check(store.get(key).equals(value), key));
    List<Entry> all = store.getEntries("");
    check(all.size() == expected.size(), "the store has " + all.size() + " records instead of " + expected.size());
    all.forEach(entry -> check(entry.getValue().equals(expected.get(entry.getKey())), entry.getKey()));
    watch.report("closed, reopened and verified", expected.size(), "records");
  }

  private static List<String> keys(List<Entry> entries) {
    List<String> keys = new ArrayList<>();
    entries.forEach(entry -> keys.add(entry.getKey()));
    return keys;
  }

  private static void check(boolean holds, String what) {
    if (!holds) {
      System.err.println("unicode-names: WRONG: " + what);
      System.exit(1);
    }
  }

  /** Runs from its creation to its report. */
  private static final class Stopwatch {
    private final long start = System.nanoTime();

    void report(String what, long count, String unit) {
      double seconds = (System.nanoTime() - start) / 1e9;
      System.out.printf(
          Locale.ROOT, "%-45s %,9d %-8s %8.3f s %,11.0f a second%n", what, count, unit, seconds, count / seconds);
    }
  }
}
