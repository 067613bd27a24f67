package kora.bench;

import java.util.List;
import java.util.Locale;

/** A store of JSON documents with an index over the member "group". */
public interface Documents extends AutoCloseable {
  /** Documents of one group, among however many. */
  int OF_A_GROUP = 100;

  /** Writes so many documents, the same for every store. */
  void fill(int count) throws Exception;

  /** The documents of a group with their keys, complete and free of the store. */
  List<?> find(int group) throws Exception;

  @Override
  void close() throws Exception;

  static String key(int index) {
    return String.format(Locale.ROOT, "doc/%012d", index);
  }

  /** About 100 bytes. */
  static String text(int index, int count) {
    return String.format(Locale.ROOT, "{\"group\":%d,\"name\":\"number %d\",\"text\":\"%060d\"}",
        index % (count / OF_A_GROUP), index, index);
  }
}
