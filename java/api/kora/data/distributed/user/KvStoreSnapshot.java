package kora.data.distributed.user;

import java.util.List;
import kora.data.distributed.common.KvReader;
import kora.data.distributed.common.KvStoreException;

/** A multi-version store as it was at one moment. */
public interface KvStoreSnapshot extends KvReader, AutoCloseable {
  /**
   * All keys that begin with a prefix.
   *
   * @param prefix the beginning of the keys; empty for all
   * @return the keys in the order of their bytes, in a list that can't be changed
   * @throws KvStoreException STORE_NOT_OPEN, DB_ERROR
   */
  List<String> getKeys(String prefix);

  /** Closes the snapshot, as closing its store does. Closing again does nothing. */
  @Override
  void close();
}
