package kora.data.cli;

import java.io.IOException;
import kora.data.distributed.common.Entry;

/** Reads records one after the other. */
interface RecordReader {
  /**
   * The next record, or null at the end. What is malformed is a {@link Failure} or a {@link
   * kora.data.distributed.common.KvStoreException}, which does not name the line.
   */
  Entry next() throws IOException;

  /** The line, counted from 1, at which the latest record ended. */
  long line();
}
