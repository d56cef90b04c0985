package com.brel.sorn.velk.cli;

import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.jline.utils.WCWidth;

/** Rows of text in columns that line up. */
final class Table {
  private static final String GAP = "  ";

  private Table() {}

  static String of(List<List<String>> rows) {
    int[] widths =
        IntStream.range(0, rows.get(0).size())
            .map(column -> rows.stream().mapToInt(row -> cells(row.get(column))).max().orElse(0))
            .toArray();
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
