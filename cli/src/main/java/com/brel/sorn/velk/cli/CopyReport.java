package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.cli.database.ColumnResult;
import com.brel.sorn.velk.cli.database.DatabaseCopy;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Rule;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import com.fasterxml.jackson.annotation.JsonIgnore;
import java.util.ArrayList;
import java.util.List;
import java.util.SortedMap;
import java.util.TreeMap;

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
    SortedMap<Integer, Errors> errors = new TreeMap<>();

    /** Values that a rule left as they were which is there to change them; empty ones are none. */
    @JsonIgnore long unchanged;

    long errorCount() {
      return errors.values().stream().mapToLong(error -> error.count).sum();
    }
  }

  /** The errors of one code. */
  @JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
  static final class Errors {
    String text;
    long count;
  }

  void add(DatabaseCopy.TableResult result) {
    Table table = new Table();
    table.name = result.name();
    table.rows = result.rows();
    for (int i = 0; i < result.rules().size(); i++) {
      table.columns.add(column(result.rules().get(i), result.columns().get(i)));
    }
    tables.add(table);
  }

  private static Column column(ColumnRule rule, ColumnResult result) {
    Column column = new Column();
    column.name = rule.name();
    column.rule = rule.rule().toString();
    column.masked = result.masked();
    column.nullsKept = result.nullsKept();
    column.leftEqual = result.leftEqual() + result.emptyKept();
    column.unchanged = rule.rule().equals(Rule.keep()) ? 0 : result.leftEqual();
    result
        .errors()
        .forEach(
            (code, found) -> {
              Errors errors = new Errors();
              errors.text = Show.message(code, found.text());
              errors.count = found.count();
              column.errors.put(code, errors);
            });
    return column;
  }

  long errorCount() {
    return tables.stream()
        .flatMap(table -> table.columns.stream())
        .mapToLong(Column::errorCount)
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
        + com.brel.sorn.velk.cli.Table.of(rows())
        + String.join("", errors());
  }

  private List<String> errors() {
    List<String> lines = new ArrayList<>();
    for (Table table : tables) {
      for (Column column : table.columns) {
        column.errors.forEach(
            (code, errors) ->
                lines.add(
                    place(table, column)
                        + ", error "
                        + code
                        + ", "
                        + Show.counted(errors.count, "value")
                        + ": "
                        + Show.text(errors.text)
                        + "\n"));
      }
    }
    return lines;
  }

  private static String place(Table table, Column column) {
    return "table " + Show.text(table.name) + ", column " + Show.quoted(column.name);
  }

  /** The columns with values that a rule left as they were, in words. */
  List<String> unchanged() {
    List<String> lines = new ArrayList<>();
    for (Table table : tables) {
      for (Column column : table.columns) {
        if (column.unchanged > 0) {
          String came =
              column.unchanged == 1 ? " came out as it went in" : " came out as they went in";
          lines.add(place(table, column) + ": " + Show.counted(column.unchanged, "value") + came);
        }
      }
    }
    return lines;
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
                Long.toString(column.errorCount())));
      }
    }
    return rows;
  }

  String json() {
    return ReportFormat.json(this);
  }
}
