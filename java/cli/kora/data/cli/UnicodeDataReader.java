package kora.data.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.util.regex.Pattern;
import kora.data.distributed.common.Entry;
import kora.data.distributed.common.Value;

/** UnicodeData.txt (UAX #44): the code point is the key, the other fields with their semicolons are the value. */
final class UnicodeDataReader implements RecordReader {
  private static final Pattern LINE = Pattern.compile("[0-9A-F]{4,6}(;[^;]*){14}");

  private final BufferedReader in;
  private long line;

  UnicodeDataReader(BufferedReader in) {
    this.in = in;
  }

  @Override
  public Entry next() throws IOException {
    String text = in.readLine();
    if (text == null) {
      return null;
    }
    ++line;
    if (!LINE.matcher(text).matches()) {
      throw new Failure("this is no record of UnicodeData.txt: a code point and 14 more fields are expected");
    }
    int end = text.indexOf(';');
    return new Entry(text.substring(0, end), Value.ofString(text.substring(end + 1)));
  }

  @Override
  public long line() {
    return line;
  }
}
