package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.DatabaseCopy;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import java.util.ArrayList;
import java.util.List;

/** What became of the tables of a database; it never holds a value or a password. */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class CopyReport {
  String from;
  String to;
  String engine;
  List<Table> tables = new ArrayList<>();

  /** A table; one that went over as it is has no columns here. */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Table {
    String name;
    long rows;
    List<Column> columns = new ArrayList<>();
  }

  /**
   * A column. Its rows are masked, nulls kept, left equal and errors, each of them one of these.
   */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Column {
    String name;
    String rule;
    long masked;
    long nullsKept;
    long leftEqual;
    long errors;
  }

  void add(DatabaseCopy.TableResult result) {
    Table table = new Table();
    table.name = result.name();
    table.rows = result.rows();
    for (int i = 0; i < result.rules().size(); i++) {
      Column column = new Column();
      column.name = result.rules().get(i).name();
      column.rule = result.rules().get(i).rule().toString();
      column.masked = result.counts()[4 * i];
      column.nullsKept = result.counts()[4 * i + 1];
      column.leftEqual = result.counts()[4 * i + 2];
      column.errors = result.counts()[4 * i + 3];
      table.columns.add(column);
    }
    tables.add(table);
  }

  long errorCount() {
    return tables.stream()
        .flatMap(table -> table.columns.stream())
        .mapToLong(column -> column.errors)
        .sum();
  }

  String text() {
    long rows = tables.stream().mapToLong(table -> table.rows).sum();
    return Show.text(from)
        + " -> "
        + Show.text(to)
        + ": "
        + Show.counted(tables.size(), "table")
        + ", "
        + Show.counted(rows, "row")
        + ", "
        + Show.counted(errorCount(), "value")
        + " could not be masked\nengine: "
        + engine
        + "\n\n"
        + com.brel.sorn.velk.cli.Table.of(rows());
  }

  private List<List<String>> rows() {
    List<List<String>> rows = new ArrayList<>();
    rows.add(
        List.of("table", "column", "rule", "rows", "masked", "nulls kept", "left equal", "errors"));
    for (Table table : tables) {
      String name = Show.clipped(table.name, 40);
      String count = Long.toString(table.rows);
      if (table.columns.isEmpty()) {
        rows.add(List.of(name, "*", "keep", count, "0", "", "", "0"));
      }
      for (Column column : table.columns) {
        rows.add(
            List.of(
                name,
                Show.clipped(column.name, 30),
                Show.clipped(column.rule, 40),
                count,
                Long.toString(column.masked),
                Long.toString(column.nullsKept),
                Long.toString(column.leftEqual),
                Long.toString(column.errors)));
      }
    }
    return rows;
  }

  String json() {
    return ReportFormat.json(this);
  }
}
