package com.brel.sorn.velk.cli;

import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.jline.utils.WCWidth;

/** Rows of text in columns that line up. */
final class Table {
  private static final String GAP = "  ";
  private static final int NARROWEST = 8;

  private Table() {}

  static String of(List<List<String>> rows) {
    return of(rows, 0);
  }

  /**
   * Lines rows up in a terminal: where it is too narrow for them, the first two columns are
   * clipped, and where that does not help either, each cell has a line of its own.
   *
   * @param width cells of the terminal, 0 where there is no limit
   */
  static String of(List<List<String>> rows, int width) {
    int excess = width == 0 ? 0 : Math.max(0, total(widths(rows)) - width);
    if (excess == 0) {
      return aligned(rows);
    }
    List<List<String>> narrower = clipped(rows, excess);
    return total(widths(narrower)) <= width ? aligned(narrower) : listed(rows, width);
  }

  /** Takes so many cells off the first two columns, off the wider one first. */
  private static List<List<String>> clipped(List<List<String>> rows, int excess) {
    int[] widths = widths(rows);
    for (int i = 0; i < excess; i++) {
      widths[widths[0] > widths[1] ? 0 : 1]--;
    }
    int first = Math.max(widths[0], NARROWEST);
    int second = Math.max(widths[1], NARROWEST);
    return rows.stream()
        .map(
            row -> {
              List<String> narrower = new ArrayList<>(row);
              narrower.set(0, clip(row.get(0), first));
              narrower.set(1, clip(row.get(1), second));
              return narrower;
            })
        .toList();
  }

  /** At most so many cells, the last of them a mark where there were more. */
  private static String clip(String text, int most) {
    if (cells(text) <= most) {
      return text;
    }
    int[] codePoints = text.codePoints().toArray();
    int length = codePoints.length;
    while (cells(new String(codePoints, 0, length)) > most - 1) {
      length--;
    }
    return new String(codePoints, 0, length) + "…";
  }

  private static String listed(List<List<String>> rows, int width) {
    List<String> names = rows.get(0);
    return rows.stream()
        .skip(1)
        .map(
            row ->
                IntStream.range(0, row.size())
                    .mapToObj(i -> (i == 0 ? "" : GAP) + names.get(i) + ": " + row.get(i))
                    .map(line -> clip(line, Math.max(width, NARROWEST)) + "\n")
                    .collect(Collectors.joining()))
        .collect(Collectors.joining());
  }

  private static int[] widths(List<List<String>> rows) {
    return IntStream.range(0, rows.get(0).size())
        .map(column -> rows.stream().mapToInt(row -> cells(row.get(column))).max().orElse(0))
        .toArray();
  }

  private static int total(int[] widths) {
    return IntStream.of(widths).sum() + GAP.length() * (widths.length - 1);
  }

  private static String aligned(List<List<String>> rows) {
    int[] widths = widths(rows);
    return rows.stream().map(row -> line(row, widths)).collect(Collectors.joining());
  }

  private static String line(List<String> row, int[] widths) {
    return IntStream.range(0, row.size())
            .mapToObj(i -> row.get(i) + " ".repeat(widths[i] - cells(row.get(i))))
            .collect(Collectors.joining(GAP))
            .stripTrailing()
        + "\n";
  }

  /** Cells of a terminal. */
  private static int cells(String text) {
    return text.codePoints().map(WCWidth::wcwidth).filter(cells -> cells > 0).sum();
  }
}
