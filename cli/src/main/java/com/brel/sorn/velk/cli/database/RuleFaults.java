package com.brel.sorn.velk.cli.database;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.function.UnaryOperator;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * Finds what else is wrong with rules of which the engine has told the first faults, all of one
 * kind: lines at fault have their column kept instead, and the rest is tried again.
 */
final class RuleFaults {
  private static final int MOST = 10;
  private static final String KEPT = "keep";
  private static final Pattern PLACE = Pattern.compile("\\bline (\\d+), column \\d+\\b");

  /** A line that says one column's rule and no more, with nothing that goes on in the next line. */
  private static final Pattern RULE =
      Pattern.compile(
          "(\\s*(?!(?:service|key|on_error|on_null)\\s*=)(?:\"(?:[^\"\\\\]|\\\\.)*\"|[^\\s=#\".]+)\\s*=)"
              + "([^=()]*(?:\\([^()]*\\)?[^=()]*)?)");

  private RuleFaults() {}

  /**
   * Lists what is wrong.
   *
   * @param text the rules
   * @param first the engine's message, which has the places of some faults
   * @param trial gives the engine's message of a text, null where there is none
   */
  static List<String> of(String text, String first, UnaryOperator<String> trial) {
    List<String> faults = new ArrayList<>();
    String left = text;
    String fault = first;
    while (fault != null && faults.size() < MOST) {
      faults.add(fault.strip());
      left = keptAt(left, fault);
      fault = left == null ? null : trial.apply(left);
    }
    return faults;
  }

  /** The text without the lines at fault, null where nobody knows what one was to be. */
  private static String keptAt(String text, String fault) {
    String[] lines = text.split("\n", -1);
    Matcher place = PLACE.matcher(fault);
    boolean any = false;
    while (place.find()) {
      int line = Integer.parseInt(place.group(1)) - 1;
      Matcher rule = RULE.matcher(line < lines.length ? lines[line] : "");
      if (!rule.matches() || rule.group(2).equals(KEPT)) {
        return null;
      }
      lines[line] = padded(rule.group(1) + KEPT, lines[line]);
      any = true;
    }
    return any ? String.join("\n", lines) : null;
  }

  /** As many bytes as before, for messages count them. */
  private static String padded(String line, String former) {
    int gone =
        former.getBytes(StandardCharsets.UTF_8).length
            - line.getBytes(StandardCharsets.UTF_8).length;
    return line + " ".repeat(Math.max(0, gone));
  }
}
