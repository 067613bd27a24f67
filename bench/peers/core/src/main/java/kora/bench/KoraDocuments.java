package kora.bench;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import kora.data.distributed.common.Condition;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.FieldType;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import kora.data.distributed.common.Options;
import kora.data.distributed.common.Query;
import kora.data.distributed.common.Schema;
import kora.data.distributed.common.StoreClient;
import kora.data.distributed.common.StoreClientSettings;
import kora.data.distributed.common.Value;
import kora.data.distributed.user.SingleKvStore;

/** A store with a schema. */
public final class KoraDocuments implements Documents {
  private final KvManager manager;
  private final SingleKvStore store;

  public KoraDocuments(Path folder) {
    StoreClient.configure(StoreClientSettings.builder().home(folder).memoryBudget(Driver.MEMORY_BUDGET).build());
    Schema schema = Schema.builder().mandatory("group", FieldType.INT).loose().index("group").build();
    manager = KvManagerFactory.create("bench");
    store = manager.openSingle("documents", Options.builder().schema(schema).build());
  }

  @Override
  public void fill(int count) {
    for (int done = 0; done < count; done += Data.GROUP) {
      List<Entry> entries = new ArrayList<>();
      for (int i = done; i < done + Data.GROUP; ++i) {
        entries.add(new Entry(Documents.key(i), Value.ofString(Documents.text(i, count))));
      }
      store.putBatch(entries);
    }
  }

  @Override
  public List<?> find(int group) {
    return store.getEntries(Query.where(Condition.field("group").equalTo(group)));
  }

  @Override
  public void close() {
    store.close();
    manager.close();
  }
}
