package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.DatabaseCopy;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** What became of the tables of a database; it never holds a password either. */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class CopyReport extends RunReport {
  String from;
  String to;
  String engine;
  final List<Table> tables = new ArrayList<>();

  /** A table; one that went over as it is has no columns here. */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Table {
    String name;
    long rows;

    /** Tells keys apart without telling a key; null where its rules name no key. */
    String keyFingerprint;

    final List<ColumnReport> columns = new ArrayList<>();
  }

  /**
   * Adds a table.
   *
   * @param keyFingerprint that of its key, null where it has none
   */
  void add(DatabaseCopy.TableResult result, String keyFingerprint) {
    Table table = new Table();
    table.name = result.name();
    table.rows = result.rows();
    table.keyFingerprint = keyFingerprint;
    for (int i = 0; i < result.rules().size(); i++) {
      table.columns.add(
          ColumnReport.of(table.name, result.rules().get(i), result.columns().get(i), table.rows));
    }
    tables.add(table);
  }

  @Override
  Stream<ColumnReport> allColumns() {
    return tables.stream().flatMap(table -> table.columns.stream());
  }

  @Override
  String text(int width) {
    long rows = tables.stream().mapToLong(table -> table.rows).sum();
    String counted = Show.counted(tables.size(), "table") + ", " + Show.counted(rows, "row");
    return heading(from, to, counted, engine)
        + keys()
        + "\n"
        + com.brel.sorn.velk.cli.Table.of(rows(), width)
        + lines(ColumnReport::errorLines).map(line -> line + "\n").collect(Collectors.joining());
  }

  /** In most copies all tables have one key. */
  private String keys() {
    List<String> keys = tables.stream().map(table -> table.keyFingerprint).distinct().toList();
    return tables.stream()
        .filter(table -> table.keyFingerprint != null)
        .map(
            table ->
                (keys.size() == 1 ? "" : "table " + Show.text(table.name) + ", ")
                    + "key fingerprint: "
                    + table.keyFingerprint
                    + "\n")
        .distinct()
        .collect(Collectors.joining());
  }

  private List<List<String>> rows() {
    List<List<String>> rows = new ArrayList<>();
    rows.add(named("table", ColumnReport.HEADING));
    for (Table table : tables) {
      String name = Show.clipped(table.name, 40);
      if (table.columns.isEmpty()) {
        rows.add(List.of(name, "*", "keep", Long.toString(table.rows), "0", "", "", "0"));
      }
      table.columns.forEach(column -> rows.add(named(name, column.cells())));
    }
    return rows;
  }

  private static List<String> named(String table, List<String> cells) {
    return Stream.concat(Stream.of(table), cells.stream()).toList();
  }
}
