package com.brel.sorn.velk.cli;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.regex.Pattern;

/** What a file calls its columns; one without a name of its own is known by its position. */
final class ColumnNames {
  private static final Pattern POSITION = Pattern.compile("\\$[1-9][0-9]*");

  private final List<String> names;
  private final Map<String, Integer> count = new HashMap<>();

  ColumnNames(List<String> names) {
    this.names = names;
    names.forEach(name -> count.merge(name, 1, Integer::sum));
  }

  int size() {
    return names.size();
  }

  /** As a masking string writes it. */
  static String position(int column) {
    return "$" + (column + 1);
  }

  /** What is wrong with a column's name, and how a rule speaks of it all the same. */
  Optional<String> finding(int column) {
    return flaw(column).map(flaw -> flaw + "; a rule for it says " + position(column));
  }

  private Optional<String> flaw(int column) {
    String name = names.get(column);
    String place = "column " + (column + 1) + " of the header has ";
    if (name.isEmpty()) {
      return Optional.of(place + "no name");
    }
    if (name.indexOf('\0') >= 0) {
      return Optional.of(place + "U+0000 in its name");
    }
    if (POSITION.matcher(name).matches()) {
      return Optional.of(place + "the name " + name + ", which stands for a position");
    }
    return switch (count.get(name)) {
      case 1 -> Optional.empty();
      case 2 -> Optional.of("the header names column " + Show.quoted(name) + " twice");
      default ->
          Optional.of(
              "the header names column " + Show.quoted(name) + " " + count.get(name) + " times");
    };
  }
}
