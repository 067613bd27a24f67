package kora.data.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.Iterator;
import kora.data.distributed.common.Entry;
import org.apache.commons.csv.CSVFormat;
import org.apache.commons.csv.CSVParser;
import org.apache.commons.csv.CSVRecord;

/** CSV with a header that names the columns key and value, and maybe type (string where it is left out). */
final class CsvReader implements RecordReader {
  private final CSVParser parser;
  private final Iterator<CSVRecord> records;
  private final boolean typed;

  CsvReader(BufferedReader in) throws IOException {
    try {
      parser = CSVFormat.RFC4180.builder().setHeader().setSkipHeaderRecord(true).build().parse(in);
    } catch (IllegalArgumentException malformedHeader) {
      throw new Failure("line 1: " + malformedHeader.getMessage());
    }
    if (!parser.getHeaderNames().contains("key") || !parser.getHeaderNames().contains("value")) {
      throw new Failure("line 1: the header must name the columns key and value");
    }
    typed = parser.getHeaderNames().contains("type");
    records = parser.iterator();
  }

  @Override
  public Entry next() throws IOException {
    try {
      return records.hasNext() ? entry(records.next()) : null;
    } catch (UncheckedIOException | IllegalStateException failure) {
      Throwable cause = failure.getCause();
      throw cause instanceof IOException ? (IOException) cause : new IOException(failure);
    }
  }

  @Override
  public long line() {
    return parser.getCurrentLineNumber();
  }

  private Entry entry(CSVRecord row) {
    if (!row.isConsistent()) {
      throw new Failure("the header has " + parser.getHeaderNames().size() + " columns, this row " + row.size());
    }
    return new Entry(row.get("key"), new TypedText(typed ? row.get("type") : "string", row.get("value")).toValue());
  }
}
