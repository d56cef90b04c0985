package com.brel.sorn.velk.masking;

import java.util.List;
import java.util.regex.Pattern;

/**
 * A name in which each {@code *} stands for any number of characters.
 *
 * @param entry the entry of the masking string that it is the name of, counted from 0
 * @param parts what stands between the stars, at least two texts
 */
record ColumnPattern(int entry, List<String> parts) {
  private static final Pattern PATTERN = Pattern.compile("[A-Za-z0-9_*-]*\\*[A-Za-z0-9_*-]*");
  private static final Pattern POSITION = Pattern.compile("\\$[1-9][0-9]*");

  static ColumnPattern of(int entry, String text) {
    return new ColumnPattern(entry, List.of(text.split("\\*", -1)));
  }

  /** Whether a masking string takes this name, without quotes, for a pattern. */
  static boolean isPattern(String name) {
    return PATTERN.matcher(name).matches();
  }

  /** Whether a masking string takes this name, without quotes, for the place of a column. */
  static boolean isPosition(String name) {
    return POSITION.matcher(name).matches();
  }

  /** Whether it is one of both: only who has a table knows which columns it is about. */
  static boolean standsForColumns(String name) {
    return isPattern(name) || isPosition(name);
  }

  /** How exact it is: the more characters it says, the more. */
  int literals() {
    return parts.stream().mapToInt(String::length).sum();
  }

  /** What stands before the first star. */
  String start() {
    return parts.get(0);
  }

  /** What stands behind the last one. */
  String end() {
    return parts.get(parts.size() - 1);
  }

  boolean matches(String name) {
    String first = start();
    String last = end();
    int at = first.length();
    int end = name.length() - last.length();
    boolean fits = at <= end && name.startsWith(first) && name.endsWith(last);
    for (int i = 1; fits && i < parts.size() - 1; i++) {
      int found = name.indexOf(parts.get(i), at);
      at = found + parts.get(i).length();
      fits = found >= 0 && at <= end;
    }
    return fits;
  }
}
