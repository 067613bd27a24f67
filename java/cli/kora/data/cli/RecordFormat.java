package kora.data.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Locale;

/** The file formats of import and export. All are UTF-8. */
enum RecordFormat {
  /** RFC 4180 with the columns key, value and, if wanted, type. */
  CSV {
    @Override
    RecordReader reader(BufferedReader in) throws IOException {
      return new CsvReader(in);
    }

    @Override
    RecordWriter writer(Appendable out) throws IOException {
      return new CsvWriter(out);
    }
  },
  /** One JSON object a line, with the members key, value and, if wanted, type. */
  JSONL {
    @Override
    RecordReader reader(BufferedReader in) {
      return new JsonLinesReader(in);
    }

    @Override
    RecordWriter writer(Appendable out) {
      return new JsonLinesWriter(out);
    }
  },
  /** The Unicode character database's UnicodeData.txt: code point to the rest of the line. Import only. */
  UNICODE {
    @Override
    RecordReader reader(BufferedReader in) {
      return new UnicodeDataReader(in);
    }

    @Override
    RecordWriter writer(Appendable out) {
      throw new Failure("the format unicode can only be imported; export knows csv and jsonl");
    }
  };

  abstract RecordReader reader(BufferedReader in) throws IOException;

  abstract RecordWriter writer(Appendable out) throws IOException;

  /** The format that the user chose, or else the one that goes with the file's name. */
  static RecordFormat choose(RecordFormat chosen, Path file) {
    if (chosen != null) {
      return chosen;
    }
    String name = file == null ? "" : file.getFileName().toString().toLowerCase(Locale.ROOT);
    if (name.endsWith(".csv")) {
      return CSV;
    }
    if (name.endsWith(".jsonl") || name.endsWith(".ndjson")) {
      return JSONL;
    }
    if (name.equals("unicodedata.txt")) {
      return UNICODE;
    }
    throw new Failure("the name does not tell the format; choose one by --format csv, jsonl or unicode");
  }
}
