import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;

/** One thing that was measured, with what each fork had to say. */
final class Figure {
  final String part;
  final String row;
  /** Which store, or which form of a native. */
  final String subject;
  final int entries;
  final int valueSize;
  final int threads;
  final String unit;
  private final List<Double> samples = new ArrayList<>();

  private Figure(String part, List<String> key) {
    this.part = part;
    row = key.get(0);
    subject = key.get(1);
    entries = Integer.parseInt(key.get(2));
    valueSize = Integer.parseInt(key.get(3));
    threads = Integer.parseInt(key.get(4));
    unit = key.get(5);
  }

  /**
   * Reads a file of the form "row,subject,entries,value size,threads,value,unit", one line a fork. Without a file
   * there is nothing.
   */
  static List<Figure> read(Path folder, String part) throws IOException {
    Map<List<String>, Figure> figures = new LinkedHashMap<>();
    for (String[] cells : lines(folder.resolve(part + ".csv"))) {
      // A row's name may have a comma.
      int last = cells.length - 1;
      String name = String.join(",", Arrays.copyOf(cells, cells.length - 6));
      List<String> key =
          List.of(name, cells[last - 5], cells[last - 4], cells[last - 3], cells[last - 2], cells[last]);
      figures.computeIfAbsent(key, k -> new Figure(part, k)).samples.add(Double.valueOf(cells[last - 1]));
    }
    return new ArrayList<>(figures.values());
  }

  /** The cells of a file's lines; none when it is not there. */
  static List<String[]> lines(Path file) throws IOException {
    List<String[]> lines = new ArrayList<>();
    if (Files.exists(file)) {
      for (String line : Files.readAllLines(file)) {
        lines.add(line.split(",", -1));
      }
    }
    return lines;
  }

  double median() {
    double[] sorted = sorted();
    int middle = sorted.length / 2;
    return sorted.length % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
  }

  double least() {
    return sorted()[0];
  }

  double greatest() {
    return sorted()[samples.size() - 1];
  }

  /** Half of the way from the least to the greatest, in hundredths of the median. */
  double spread() {
    return median() == 0 ? 0 : 50 * (greatest() - least()) / Math.abs(median());
  }

  private double[] sorted() {
    return samples.stream().mapToDouble(Double::doubleValue).sorted().toArray();
  }

  String toCsv() {
    return String.format(Locale.ROOT, "%s,\"%s\",%s,%d,%d,%d,%.2f,%.2f,%.2f,%d,%s", part, row, subject, entries,
        valueSize, threads, median(), least(), greatest(), samples.size(), unit);
  }

  /** The median with a unit that fits it, and the spread. */
  String toText() {
    return scaled(median(), unit) + String.format(Locale.ROOT, " ±%.0f %%", spread());
  }

  static String scaled(double value, String unit) {
    if (unit.equals("ns") && Math.abs(value) >= 1e6) {
      return digits(value / 1e6) + " ms";
    }
    if (unit.equals("ns") && Math.abs(value) >= 1e3) {
      return digits(value / 1e3) + " µs";
    }
    return (digits(value) + " " + unit.replace("us", "µs")).trim();
  }

  private static String digits(double value) {
    double size = Math.abs(value);
    return String.format(Locale.ROOT, size >= 100 || size == Math.rint(size) ? "%,.0f" : size >= 10 ? "%.1f" : "%.2f",
        value);
  }
}
