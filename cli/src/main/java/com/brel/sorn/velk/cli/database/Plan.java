package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Column;
import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Table;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.TreeSet;

/**
 * What is going to be copied, and how.
 *
 * @param levels the tables; those of a level refer to tables of earlier levels, or to each other
 *     where the target leaves keys to be checked at the end
 * @param foreignKeys what must hold at the end, whether the target checks it or not
 * @param target the tables as the target has them
 * @param unordered whether the target's session checks no key while rows are written
 * @param warnings what nobody can judge
 */
record Plan(
    List<List<Step>> levels,
    List<ForeignKey> foreignKeys,
    Catalogue target,
    boolean unordered,
    List<String> warnings) {

  List<Step> steps() {
    return levels.stream().flatMap(List::stream).toList();
  }

  /** Where the keys of the rules are. */
  TreeSet<String> keys() {
    TreeSet<String> places = new TreeSet<>();
    steps().stream().map(Step::key).filter(Objects::nonNull).forEach(places::add);
    return places;
  }

  /** A row for each column, below a heading. */
  List<List<String>> table() {
    List<List<String>> rows = new ArrayList<>();
    rows.add(List.of("table", "column", "type", "null", "unique", "rule"));
    for (Step step : steps()) {
      Table table = step.source();
      if (step.keep()) {
        rows.add(List.of(table.name().toString(), "*", "", "", "", "keep"));
      }
      List<Column> stored = table.stored();
      for (int i = 0; !step.keep() && i < stored.size(); i++) {
        Column column = stored.get(i);
        rows.add(
            List.of(
                table.name().toString(),
                column.name(),
                column.type(),
                column.notNull() ? "no" : "yes",
                uniques(table, column),
                step.rules().get(i).rule().toString()));
      }
    }
    return rows;
  }

  private static String uniques(Table table, Column column) {
    return String.join(
        ", ",
        table.uniques().stream()
            .filter(unique -> unique.columns().contains(column.name()))
            .map(Catalogue.Unique::name)
            .toList());
  }

  /** What says the order of the tables and what joins them. */
  List<String> notes() {
    List<String> notes = new ArrayList<>();
    for (int i = 0; i < levels.size(); i++) {
      List<String> names =
          levels.get(i).stream().map(step -> step.source().name().toString()).toList();
      notes.add((i + 1) + ": " + String.join(", ", names));
    }
    for (ForeignKey key : foreignKeys) {
      notes.add(
          "foreign key "
              + TableName.quoted(key.name())
              + ": "
              + key.child()
              + " "
              + key.columns()
              + " -> "
              + key.parent()
              + " "
              + key.parentColumns()
              + ", masked alike");
    }
    return notes;
  }
}
