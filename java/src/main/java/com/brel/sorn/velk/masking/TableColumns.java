package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * The columns of a table by what its header calls them, which may be nothing, or twice the same.
 */
final class TableColumns {
  static final int NONE = -1;

  private final List<String> names;
  private final Set<String> repeated = new HashSet<>();

  /** The columns that have a name of their own. */
  private final Map<String, Integer> byName = new HashMap<>();

  private final List<String> engineNames = new ArrayList<>();

  TableColumns(List<String> names) {
    this.names = names;
    Set<String> known = new HashSet<>();
    for (String name : names) {
      if (!known.add(name)) {
        repeated.add(name);
      }
    }
    for (int column = 0; column < names.size(); column++) {
      if (hasName(column)) {
        byName.put(names.get(column), column);
      }
    }
    for (int column = 0; column < names.size(); column++) {
      engineNames.add(engineName(column, known));
    }
  }

  int size() {
    return names.size();
  }

  String name(int column) {
    return names.get(column);
  }

  /** Whether its name tells the column; if not, only its position does. */
  boolean hasName(int column) {
    return flaw(column).isEmpty();
  }

  /** Why its name does not tell the column, empty where it does. */
  String flaw(int column) {
    String name = names.get(column);
    if (name.isEmpty()) {
      return "has no name";
    }
    if (Text.flaw(name) != 0) {
      return "has U+0000 or half a surrogate pair in its name";
    }
    if (ColumnPattern.isPosition(name)) {
      return "has the name " + name + ", which stands for a position";
    }
    return repeated.contains(name) ? "shares its name " + Text.escape(name) + " with others" : "";
  }

  /** Whether several columns have this name. */
  boolean isRepeated(String name) {
    return repeated.contains(name);
  }

  /** The column of a name, or none. */
  int named(String name) {
    return byName.getOrDefault(name, NONE);
  }

  /** The column at a position such as {@code $3}, or none. */
  int at(String position) {
    // With more digits it is beyond any table, and no int.
    int number = position.length() > 9 ? size() + 1 : Integer.parseInt(position.substring(1));
    return number <= size() ? number - 1 : NONE;
  }

  static String position(int column) {
    return "$" + (column + 1);
  }

  /** What a person is told of the column: its name or its position. */
  String label(int column) {
    return hasName(column) ? names.get(column) : position(column);
  }

  /** What the engine calls each column: it takes neither patterns nor positions for names. */
  List<String> engineNames() {
    return engineNames;
  }

  private String engineName(int column, Set<String> taken) {
    if (hasName(column) && !ColumnPattern.isPattern(names.get(column))) {
      return names.get(column);
    }
    String name = "(" + position(column) + ")";
    while (taken.contains(name)) {
      name = "(" + name + ")";
    }
    return name;
  }
}
