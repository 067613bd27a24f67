package kora.data.cli;

import java.io.IOException;
import kora.data.distributed.common.Entry;

/** Writes records one after the other, in a form from which a {@link RecordReader} makes equal ones. */
interface RecordWriter {
  void write(Entry entry) throws IOException;
}
