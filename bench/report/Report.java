import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.function.Predicate;
import java.util.stream.Collectors;

/** Makes tables and plots of what was measured: {@code Report RAW DOCS}. */
public final class Report {
  private static final Map<String, String> ROWS = new LinkedHashMap<>();
  private static final List<String> STORES = List.of("kora", "rocksdb", "lmdb", "sqlite", "mvstore", "mapdb");

  static {
    ROWS.put("get", "random get");
    ROWS.put("absentGet", "get of an absent key");
    ROWS.put("snapshot", "snapshot, get, release");
    ROWS.put("list", "prefix list of 1,000, an entry");
    ROWS.put("walk", "cursor over all, an entry");
    ROWS.put("query", "query by an index, 100 documents");
    ROWS.put("put", "put");
    ROWS.put("safePut", "put that waits for the disk");
    ROWS.put("batch", "batch of 1,000, an entry");
    ROWS.put("transaction", "transaction of 10 reads and writes");
    ROWS.put("key", "making a key, part of each above");
    ROWS.put("load", "load of the library");
    ROWS.put("open", "open and first get");
    ROWS.put("memory", "resident memory after 20,000 gets");
    ROWS.put("disk", "size on disk");
  }

  private final Path raw;
  private final Path docs;
  private final StringBuilder page = new StringBuilder();
  private final List<Figure> all = new ArrayList<>();

  private Report(Path raw, Path docs) {
    this.raw = raw;
    this.docs = docs;
  }

  public static void main(String[] arguments) throws IOException {
    new Report(Path.of(arguments[0]), Path.of(arguments[1])).write();
  }

  private void write() throws IOException {
    Files.createDirectories(docs);
    line("# Measured figures");
    line("");
    line("Written by `bench/run`; [README.md](README.md) says how to read them. Each figure is the median of the forks,"
        + " each fork a process of its own; ± is half of the way from the least to the greatest.");
    machine();
    floor();
    peers();
    growth();
    callbacks();
    Files.writeString(docs.resolve("results.md"), page);
    List<String> csv = new ArrayList<>();
    csv.add("part,row,subject,entries,value bytes,threads,median,least,greatest,forks,unit");
    all.forEach(figure -> csv.add(figure.toCsv()));
    Files.write(docs.resolve("results.csv"), csv);
  }

  private void line(String text) {
    page.append(text).append('\n');
  }

  private void heading(String text) {
    line("");
    line("## " + text);
    line("");
  }

  private void row(Iterable<String> cells) {
    line("| " + String.join(" | ", cells) + " |");
  }

  private void header(List<String> cells) {
    row(cells);
    row(cells.stream().map(cell -> "---").collect(Collectors.toList()));
  }

  private void machine() throws IOException {
    heading("The run");
    header(List.of("", ""));
    for (String[] cells : Figure.lines(raw.resolve("machine.csv"))) {
      String value = String.join(",", Arrays.copyOfRange(cells, 1, cells.length));
      if (cells[0].equals("run")) {
        value = value.isEmpty() ? "full" : "quick: short runs, for a first impression";
      }
      row(List.of(cells[0], value));
    }
  }

  private void floor() throws IOException {
    List<Figure> figures = new ArrayList<>();
    Map<String, Map<String, Figure>> rows = new LinkedHashMap<>();
    for (Figure figure : Figure.read(raw, "floor")) {
      rows.computeIfAbsent(figure.row, name -> new LinkedHashMap<>()).put(figure.subject, figure);
      figures.add(figure);
    }
    if (figures.isEmpty()) {
      return;
    }
    all.addAll(figures);
    Map<String, String[]> counts = byNative("floor-counts.csv");
    Map<String, String[]> instructions = byNative("floor-instructions.csv");
    heading("The floor: what the bridge adds");
    header(List.of("native, 100 bytes", "least possible", "required calls only", "the bridge", "bridge / required",
        "JNI calls", "allocations", "instructions"));
    Plot plot = new Plot("A native over a client that does nothing, ns", List.of("least", "required", "bridge"), false);
    for (Map.Entry<String, Map<String, Figure>> entry : rows.entrySet()) {
      Map<String, Figure> forms = entry.getValue();
      if (forms.size() < 3) {
        forms.values().forEach(figure -> row(List.of(entry.getKey(), "", "", figure.toText(), "", "", "", "")));
        continue;
      }
      Figure required = forms.get("required");
      Figure bridge = forms.get("bridge");
      row(List.of(entry.getKey(), forms.get("least").toText(), required.toText(), bridge.toText(),
          ratio(bridge.median() / required.median()), counted(counts, entry.getKey(), 2),
          counted(counts, entry.getKey(), 3), counted(instructions, entry.getKey(), 2)));
      plot.add(entry.getKey(), forms.get("least").median(), required.median(), bridge.median());
    }
    line("");
    line("JNI calls, allocations and instructions: least, required, bridge. They are counted in a plain process and do"
        + " not vary: calls and allocations for one unit, instructions for the whole operation, a thousand entries where"
        + " it has many.");
    show(plot, "floor.svg");
  }

  private Map<String, String[]> byNative(String file) throws IOException {
    Map<String, String[]> lines = new LinkedHashMap<>();
    for (String[] cells : Figure.lines(raw.resolve(file))) {
      lines.put(cells[0] + "," + cells[1], cells);
    }
    return lines;
  }

  private static String counted(Map<String, String[]> counts, String row, int column) {
    return List.of("least", "required", "bridge").stream()
        .map(form -> counts.get(row + "," + form))
        .map(cells -> cells == null ? "?" : cells[column].replaceFirst("\\.00$", ""))
        .collect(Collectors.joining(", "));
  }

  private static String ratio(double value) {
    return String.format(Locale.ROOT, value >= 100 ? "%,.0f ×" : value >= 10 ? "%.1f ×" : "%.2f ×", value);
  }

  private void show(Plot plot, String file) throws IOException {
    if (plot.isEmpty()) {
      return;
    }
    plot.write(docs.resolve(file));
    line("");
    line("![](" + file + ")");
  }

  private static Figure find(List<Figure> figures, String row, String subject, Predicate<Figure> fits) {
    return figures.stream()
        .filter(figure -> figure.row.equals(row) && figure.subject.equals(subject) && fits.test(figure))
        .findFirst().orElse(null);
  }

  private void peers() throws IOException {
    List<Figure> figures = Figure.read(raw, "peers");
    all.addAll(figures);
    Set<List<Integer>> settings = new LinkedHashSet<>();
    figures.forEach(figure -> settings.add(List.of(figure.entries, figure.valueSize, figure.threads)));
    for (List<Integer> setting : settings) {
      peers(figures, setting.get(0), setting.get(1), setting.get(2));
    }
    twoThreads(figures);
  }

  private void peers(List<Figure> figures, int entries, int valueSize, int threads) throws IOException {
    Predicate<Figure> fits =
        figure -> figure.entries == entries && figure.valueSize == valueSize && figure.threads == threads;
    List<String> stores = STORES.stream()
        .filter(store -> figures.stream().anyMatch(figure -> fits.test(figure) && figure.subject.equals(store)))
        .collect(Collectors.toList());
    heading(String.format(Locale.ROOT, "Side by side: %,d entries of %,d bytes, %d thread%s", entries, valueSize, threads,
        threads == 1 ? "" : "s"));
    List<String> titles = new ArrayList<>(stores);
    titles.add(0, "");
    header(titles);
    Plot plot = new Plot("Times what Kora takes (logarithmic; above 1: Kora is faster)",
        stores.subList(Math.min(1, stores.size()), stores.size()), true);
    for (String row : ROWS.keySet()) {
      Figure kora = find(figures, row, "kora", fits);
      if (kora != null) {
        compare(figures, kora, stores, fits, plot);
      }
    }
    line("");
    line("Behind each other store's figure: how many times Kora's it is.");
    show(plot, "peers-" + entries + "-" + valueSize + "-" + threads + ".svg");
  }

  private void compare(List<Figure> figures, Figure kora, List<String> stores, Predicate<Figure> fits, Plot plot) {
    List<String> cells = new ArrayList<>(List.of(ROWS.get(kora.row), kora.toText()));
    double[] ratios = new double[stores.size() - 1];
    for (int i = 1; i < stores.size(); ++i) {
      Figure other = find(figures, kora.row, stores.get(i), fits);
      ratios[i - 1] = other == null || kora.median() <= 0 || other.median() <= 0 ? Double.NaN
          : other.median() / kora.median();
      cells.add(other == null ? "none" : other.toText()
          + (Double.isNaN(ratios[i - 1]) ? "" : ", **" + ratio(ratios[i - 1]) + "**"));
    }
    row(cells);
    if (!kora.row.equals("key") && ratios.length > 0) {
      plot.add(ROWS.get(kora.row), ratios);
    }
  }

  private void twoThreads(List<Figure> figures) {
    List<Figure> doubled = figures.stream().filter(figure -> figure.threads == 2).collect(Collectors.toList());
    if (doubled.isEmpty()) {
      return;
    }
    heading("What a second thread brings");
    header(List.of("", "operations a second, times those of one thread"));
    for (Figure two : doubled) {
      Figure one = find(figures, two.row, two.subject, figure -> figure.threads == 1 && figure.entries == two.entries
          && figure.valueSize == two.valueSize);
      if (one != null) {
        row(List.of(two.subject + ", " + ROWS.get(two.row), ratio(2 * one.median() / two.median())));
      }
    }
  }

  private void growth() throws IOException {
    List<Figure> figures = Figure.read(raw, "growth");
    if (figures.isEmpty()) {
      return;
    }
    all.addAll(figures);
    List<Integer> entries =
        figures.stream().map(figure -> figure.entries).distinct().sorted().collect(Collectors.toList());
    heading("Growth: Kora with more and more entries of 100 bytes");
    List<String> titles = entries.stream().map(count -> String.format(Locale.ROOT, "%,d", count))
        .collect(Collectors.toList());
    Plot plot = new Plot("An operation with more and more entries, ns (logarithmic)", List.copyOf(titles), true);
    titles.add(0, "entries");
    titles.add("last / first");
    header(titles);
    for (String name : ROWS.keySet()) {
      List<Figure> row = entries.stream().map(count -> find(figures, name, "kora", figure -> figure.entries == count))
          .collect(Collectors.toList());
      if (row.contains(null)) {
        continue;
      }
      List<String> cells = row.stream().map(Figure::toText).collect(Collectors.toList());
      cells.add(0, ROWS.get(name));
      cells.add("**" + ratio(row.get(row.size() - 1).median() / row.get(0).median()) + "**");
      row(cells);
      plot.add(ROWS.get(name), row.stream().mapToDouble(Figure::median).toArray());
    }
    show(plot, "growth.svg");
  }

  private void callbacks() throws IOException {
    List<Figure> figures = Figure.read(raw, "callbacks");
    if (figures.isEmpty()) {
      return;
    }
    all.addAll(figures);
    heading("Callbacks, and memory of what is at rest");
    header(List.of("", "observers", ""));
    for (Figure figure : figures) {
      boolean memory = figure.row.startsWith("memory");
      row(List.of(figure.row, memory ? "" : Integer.toString(figure.entries), figure.toText()));
    }
    line("");
    line("Memory is the system's count of resident pages outside Java's heap, a hundred cursors, a thousand watches and"
        + " fifty stores at a time.");
  }
}
