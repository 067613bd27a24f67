package kora.data.cli;

import java.io.IOException;
import kora.data.distributed.common.Entry;
import org.apache.commons.csv.CSVFormat;
import org.apache.commons.csv.CSVPrinter;

/** CSV with the columns key, type and value. */
final class CsvWriter implements RecordWriter {
  private final CSVPrinter printer;

  CsvWriter(Appendable out) throws IOException {
    printer = new CSVPrinter(out, CSVFormat.RFC4180);
    printer.printRecord("key", "type", "value");
  }

  @Override
  public void write(Entry entry) throws IOException {
    TypedText value = TypedText.of(entry.getValue());
    if (!isPlain(entry.getKey()) || !isPlain(value.text)) {
      throw new Failure("the record '" + JsonLinesWriter.escaped(entry.getKey())
          + "' has characters that CSV can't carry; --format jsonl can");
    }
    printer.printRecord(entry.getKey(), value.type, value.text);
  }

  /** UTF-8 has no lone surrogates, and the CSV library takes U+FFFE for a character that is switched off. */
  private static boolean isPlain(String text) {
    return text.indexOf('\uFFFE') < 0 && JsonLinesWriter.isUnicode(text);
  }
}
