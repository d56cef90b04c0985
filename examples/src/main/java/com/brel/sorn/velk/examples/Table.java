package com.brel.sorn.velk.examples;

import java.io.PrintStream;
import java.lang.Character.UnicodeScript;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Set;

/** Rows of text in columns that line up on a terminal. */
final class Table {
  /** Scripts whose characters take two cells of a terminal. */
  private static final Set<UnicodeScript> WIDE =
      EnumSet.of(
          UnicodeScript.HAN, UnicodeScript.HANGUL, UnicodeScript.HIRAGANA, UnicodeScript.KATAKANA);

  private final List<List<String>> rows = new ArrayList<>();
  private final int widest;

  /**
   * @param widest cells of a terminal; longer texts are clipped
   */
  Table(int widest) {
    this.widest = widest;
  }

  void add(List<String> row) {
    rows.add(row.stream().map(this::clip).toList());
  }

  void print(PrintStream out) {
    for (List<String> row : rows) {
      StringBuilder line = new StringBuilder();
      for (int column = 0; column < row.size(); column++) {
        String cell = row.get(column);
        line.append(cell).append(" ".repeat(columnWidth(column) - width(cell) + 2));
      }
      out.print(line.toString().stripTrailing() + "\n");
    }
  }

  private int columnWidth(int column) {
    return rows.stream().mapToInt(row -> width(row.get(column))).max().orElse(0);
  }

  static int width(String text) {
    return text.codePoints().map(Table::cells).sum();
  }

  private static int cells(int codePoint) {
    return switch (Character.getType(codePoint)) {
      case Character.NON_SPACING_MARK, Character.ENCLOSING_MARK, Character.FORMAT -> 0;
      default -> isWide(codePoint) ? 2 : 1;
    };
  }

  private static boolean isWide(int codePoint) {
    boolean emoji = codePoint >= 0x1F300 && codePoint <= 0x1FAFF;
    boolean fullWidth = codePoint >= 0xFF01 && codePoint <= 0xFF60;
    return emoji || fullWidth || WIDE.contains(UnicodeScript.of(codePoint));
  }

  private String clip(String text) {
    if (width(text) <= widest) {
      return text;
    }
    int end = 0;
    int room = widest - 1;
    while (cells(text.codePointAt(end)) <= room) {
      room -= cells(text.codePointAt(end));
      end = text.offsetByCodePoints(end, 1);
    }
    return text.substring(0, end) + "…";
  }
}
