import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/** Draws groups of horizontal bars as SVG, on a linear or a logarithmic scale. */
final class Plot {
  private static final int LABELS = 190;
  private static final int WIDTH = 560;
  private static final int BAR = 13;
  private static final int GAP = 12;
  private static final int TOP = 64;
  private static final List<String> COLOURS =
      List.of("#1f5fa8", "#d9822b", "#5b9a4a", "#8a5aa8", "#b03a48", "#777777");

  private final String title;
  private final List<String> series;
  private final boolean logarithmic;
  private final List<String> labels = new ArrayList<>();
  /** A row of values for each label; NaN where there is none. */
  private final List<double[]> values = new ArrayList<>();
  private final StringBuilder svg = new StringBuilder();

  Plot(String title, List<String> series, boolean logarithmic) {
    this.title = title;
    this.series = series;
    this.logarithmic = logarithmic;
  }

  void add(String label, double... row) {
    labels.add(label);
    values.add(row);
  }

  boolean isEmpty() {
    return labels.isEmpty();
  }

  void write(Path file) throws IOException {
    int group = series.size() * BAR + GAP;
    int height = TOP + labels.size() * group + 8;
    svg.append(String.format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\""
        + " font-family=\"sans-serif\" font-size=\"11\">%n", LABELS + WIDTH + 70, height));
    svg.append("<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n");
    text(10, 20, "start", "14", title);
    for (int i = 0; i < series.size(); ++i) {
      rectangle(LABELS + i * 90, 34, 10, 10, COLOURS.get(i));
      text(LABELS + 14 + i * 90, 43, "start", "11", series.get(i));
    }
    for (int i = 0; i < labels.size(); ++i) {
      drawGroup(i, TOP + i * group);
    }
    svg.append("</svg>\n");
    Files.writeString(file, svg);
  }

  private void drawGroup(int index, int top) {
    text(LABELS - 8, top + series.size() * BAR / 2 + 4, "end", "11", labels.get(index));
    for (int i = 0; i < series.size(); ++i) {
      double value = values.get(index)[i];
      int y = top + i * BAR;
      if (Double.isNaN(value)) {
        text(LABELS + 4, y + BAR - 3, "start", "10", "none");
        continue;
      }
      int length = (int) Math.max(1, length(value) * WIDTH);
      rectangle(LABELS, y, length, BAR - 2, COLOURS.get(i));
      text(LABELS + length + 4, y + BAR - 3, "start", "10", number(value));
    }
  }

  private double length(double value) {
    double least = Double.MAX_VALUE;
    double greatest = 0;
    for (double[] row : values) {
      for (double each : row) {
        if (!Double.isNaN(each)) {
          least = Math.min(least, each);
          greatest = Math.max(greatest, each);
        }
      }
    }
    if (!logarithmic) {
      return value / greatest;
    }
    double bottom = Math.log(least) - 0.3;
    return (Math.log(value) - bottom) / (Math.log(greatest) - bottom);
  }

  private static String number(double value) {
    return String.format(Locale.ROOT, value >= 100 ? "%,.0f" : value >= 10 ? "%.1f" : "%.2f", value);
  }

  private void rectangle(int x, int y, int width, int height, String colour) {
    svg.append(String.format("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"/>%n", x, y, width, height,
        colour));
  }

  private void text(int x, int y, String anchor, String size, String text) {
    svg.append(String.format("<text x=\"%d\" y=\"%d\" text-anchor=\"%s\" font-size=\"%s\">%s</text>%n", x, y, anchor,
        size, text.replace("&", "&amp;").replace("<", "&lt;")));
  }
}
