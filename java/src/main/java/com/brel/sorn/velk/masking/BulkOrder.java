package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Pattern;

/**
 * Which columns of a service the bulk lane sends to the engine. A column that is kept whatever it
 * holds goes round it, unless the engine may need it for another one.
 *
 * @param sent the columns that are sent, in the order of the service
 * @param places for each column of the service its place among those, or -1
 */
record BulkOrder(List<Integer> sent, int[] places) {
  /** Looks the same inside of a quoted text, which costs no more than speed. */
  private static final Pattern NAMES_A_COLUMN = Pattern.compile("\\bby\\s*=");

  static BulkOrder of(ServiceDefinition definition, List<Column> columns) {
    boolean nullsMasked = Definitions.find(definition, "on_null").isPresent();
    boolean allSent =
        nullsMasked
            || columns.stream()
                .anyMatch(
                    column -> NAMES_A_COLUMN.matcher(column.rule().rule().arguments()).find());
    List<Integer> sent = new ArrayList<>();
    int[] places = new int[columns.size()];
    for (int column = 0; column < places.length; column++) {
      boolean goes = allSent || !isKept(columns.get(column).rule());
      places[column] = goes ? sent.size() : -1;
      if (goes) {
        sent.add(column);
      }
    }
    return new BulkOrder(List.copyOf(sent), places);
  }

  private static boolean isKept(ColumnRule column) {
    return column.rule().equals(Rule.keep())
        && column.type().equals(Type.text())
        && !column.unique();
  }

  /** A table may lack columns that go round the engine, and no others. */
  void requireAllSent(int[] table) {
    List<Integer> lacking = new ArrayList<>(sent);
    lacking.removeAll(Arrays.stream(table).boxed().toList());
    if (!lacking.isEmpty()) {
      throw new IllegalArgumentException("the engine is to be shown columns " + lacking + ", too");
    }
  }

  /** The places of a table's columns, given by those of the service. */
  int[] of(int[] table) {
    return Arrays.stream(table).map(column -> places[column]).toArray();
  }
}
