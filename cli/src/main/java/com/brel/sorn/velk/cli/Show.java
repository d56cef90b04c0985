package com.brel.sorn.velk.cli;

import java.util.Arrays;
import java.util.Locale;
import java.util.stream.Collectors;

/** Text made fit for a terminal. */
final class Show {
  private static final int LONGEST_NAME = 40;

  private Show() {}

  /** A number and what it counts. */
  static String counted(long number, String noun) {
    return number + " " + noun + (number == 1 ? "" : "s");
  }

  /** A name in quotes, clipped. */
  static String quoted(String name) {
    return '"' + clipped(name, LONGEST_NAME) + '"';
  }

  /** All of a text, controls escaped. */
  static String text(String text) {
    return clipped(text, Integer.MAX_VALUE - 1);
  }

  /** Lines whose other controls are escaped: a text may have come from anywhere. */
  static String lines(String text) {
    return Arrays.stream(text.split("\n", -1)).map(Show::text).collect(Collectors.joining("\n"));
  }

  /** At most so many code points, controls escaped. */
  static String clipped(String text, int longest) {
    StringBuilder shown = new StringBuilder();
    int[] codePoints = text.codePoints().limit(longest + 1L).toArray();
    for (int i = 0; i < Math.min(codePoints.length, longest); i++) {
      shown.append(escaped(codePoints[i]));
    }
    return shown.append(codePoints.length > longest ? "…" : "").toString();
  }

  private static String escaped(int codePoint) {
    return switch (codePoint) {
      case '\n' -> "\\n";
      case '\r' -> "\\r";
      case '\t' -> "\\t";
      default ->
          isPlain(codePoint)
              ? Character.toString(codePoint)
              : "\\u{" + Integer.toHexString(codePoint).toUpperCase(Locale.ROOT) + "}";
    };
  }

  /** Neither a control nor a character that turns the direction of writing. */
  static boolean isPlain(int codePoint) {
    int type = Character.getType(codePoint);
    return type != Character.CONTROL
        && type != Character.FORMAT
        && type != Character.LINE_SEPARATOR
        && type != Character.PARAGRAPH_SEPARATOR
        && type != Character.UNASSIGNED
        && type != Character.SURROGATE;
  }

  /** The text of an error in one line, without the code that the engine begins it with. */
  static String message(int code, String text) {
    String begin = code + " ";
    String whole = text == null ? "" : text.strip();
    String rest = whole.startsWith(begin) ? whole.substring(begin.length()) : whole;
    return rest.replaceAll("\\s*\\R\\s*", " ");
  }
}
