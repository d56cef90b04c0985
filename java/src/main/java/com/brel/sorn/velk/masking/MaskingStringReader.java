package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * Reads again what the engine has accepted, to tell where a rule stands and what its arguments are.
 * What it does not understand, it leaves out: it refuses nothing.
 */
final class MaskingStringReader {
  private static final String BLANKS = " \t\r\n";
  private static final String ENDS_BARE = BLANKS + ",;()='\"#";

  private final String text;
  private int at;

  /** Up to where lines were counted. */
  private int counted;

  private int line = 1;
  private int lineStart;

  private MaskingStringReader(String text) {
    this.text = text;
    this.at = text.startsWith("\uFEFF") ? 1 : 0;
    this.counted = at;
    this.lineStart = at;
  }

  /** Where something stands, in lines and code points, both counted from 1. */
  record Place(int line, int column) {
    @Override
    public String toString() {
      return "line " + line + ", column " + column;
    }
  }

  /** An argument of a rule: its name, empty for none, and where its value stands. */
  record Argument(String name, int start, int end) {}

  /** Where the rule of each column stands, by the column's name, pattern or position. */
  static Map<String, Place> places(String maskingString) {
    Map<String, Place> places = new HashMap<>();
    MaskingStringReader reader = new MaskingStringReader(maskingString);
    for (reader.skipSeparators(); reader.at < maskingString.length(); reader.skipSeparators()) {
      int start = reader.at;
      reader.readPair(places);
      if (reader.at == start) {
        break;
      }
    }
    return places;
  }

  /**
   * The columns that have a rule by their name and no type, as the string writes them, by their
   * names; what is kept is none, for it is as good as any text.
   */
  static Map<String, String> untyped(String maskingString) {
    Map<String, String> columns = new LinkedHashMap<>();
    Set<String> typed = new HashSet<>();
    MaskingStringReader reader = new MaskingStringReader(maskingString);
    for (reader.skipSeparators(); reader.at < maskingString.length(); reader.skipSeparators()) {
      int start = reader.at;
      reader.skipPart();
      String key = maskingString.substring(start, reader.at);
      boolean isType = maskingString.startsWith(".type", reader.at);
      reader.at = start;
      boolean isRule = reader.readPair(new HashMap<>());
      String pair = maskingString.substring(start, reader.at);
      if (isType) {
        typed.add(Text.unquote(key));
      } else if (isRule && !pair.matches("(?s).*=\\s*keep") && !isOfOthers(key)) {
        columns.putIfAbsent(Text.unquote(key), key);
      }
      if (reader.at == start) {
        break;
      }
    }
    columns.keySet().removeAll(typed);
    return columns;
  }

  private static boolean isOfOthers(String key) {
    return MaskingString.isReserved(key) || ColumnPattern.standsForColumns(key);
  }

  /** Reads a pair, and tells whether it is a column's rule or speaks of the service. */
  private boolean readPair(Map<String, Place> places) {
    Place place = place();
    int start = at;
    skipPart();
    String name = Text.unquote(text.substring(start, at));
    boolean isRule = !next('.');
    while (!skip('=') && at < text.length()) {
      at++;
    }
    if (isRule) {
      places.putIfAbsent(name, place);
    }
    skipBlanks();
    skipValue();
    if (skip('(')) {
      readArguments(new ArrayList<>());
      skip(')');
    }
    return isRule;
  }

  /** The arguments of a rule, as they stand between its parentheses. */
  static List<Argument> arguments(String rule) {
    List<Argument> arguments = new ArrayList<>();
    new MaskingStringReader(rule).readArguments(arguments);
    return arguments;
  }

  private void readArguments(List<Argument> arguments) {
    boolean more = true;
    while (more) {
      skipBlanks();
      int start = at;
      skipValue();
      String name = text.substring(start, at);
      skipBlanks();
      boolean named = skip('=');
      if (named) {
        skipBlanks();
        start = at;
        skipValue();
      }
      int end = named ? at : start + name.length();
      arguments.add(new Argument(named ? name : "", start, end));
      skipBlanks();
      more = skip(',');
    }
  }

  private Place place() {
    for (; counted < at; counted++) {
      boolean insideEnd = text.charAt(counted) == '\r' && text.startsWith("\n", counted + 1);
      if (text.charAt(counted) == '\n' || text.charAt(counted) == '\r' && !insideEnd) {
        line++;
        lineStart = counted + 1;
      }
    }
    return new Place(line, text.codePointCount(lineStart, at) + 1);
  }

  private boolean next(char character) {
    return at < text.length() && text.charAt(at) == character;
  }

  private boolean skip(char character) {
    boolean there = next(character);
    at += there ? 1 : 0;
    return there;
  }

  private void skipWhile(String characters, boolean among) {
    while (at < text.length() && characters.indexOf(text.charAt(at)) >= 0 == among) {
      at++;
    }
  }

  private void skipBlanks() {
    skipWhile(BLANKS, true);
  }

  private void skipSeparators() {
    skipWhile(BLANKS + ",;", true);
    while (next('#')) {
      skipWhile("\r\n", false);
      skipWhile(BLANKS + ",;", true);
    }
  }

  private void skipPart() {
    if (next('"')) {
      skipQuoted();
    } else {
      skipWhile(ENDS_BARE + ".", false);
    }
  }

  private void skipValue() {
    if (next('"') || next('\'')) {
      skipQuoted();
    } else {
      skipWhile(ENDS_BARE, false);
    }
  }

  /** A quote is doubled within single ones, escaped within double ones. */
  private void skipQuoted() {
    char quote = text.charAt(at++);
    while (at < text.length()) {
      char unit = text.charAt(at++);
      if (unit == '\\' && quote == '"') {
        at = Math.min(at + 1, text.length());
      } else if (unit == quote && !(quote == '\'' && skip('\''))) {
        return;
      }
    }
  }
}
