package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Unique;
import java.util.List;
import java.util.Optional;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/**
 * A table of the plan, as its two databases have it.
 *
 * @param step what the plan says
 * @param from the stored columns of the source
 * @param to those of the target for them, by their names there
 * @param target the table's name there
 */
record JdbcStep(Step step, List<JdbcColumn> from, List<JdbcColumn> to, TableName target) {
  /** As the rules have it. */
  String name() {
    return step.source().name().toString();
  }

  /** Whether only this is read of a column whether it is null. */
  boolean isNulled(int column) {
    return !step.keep() && step.rules().get(column).rule().function().equals("null");
  }

  /** The columns of a key by which rows have an order, empty where there is none. */
  Optional<List<String>> order() {
    return step.source().uniques().stream()
        .map(Unique::columns)
        .filter(columns -> columns.stream().allMatch(this::isNotNull))
        .findFirst();
  }

  private boolean isNotNull(String column) {
    return step.source().column(column).filter(Catalogue.Column::notNull).isPresent();
  }

  /** What reads its rows. */
  String select(JdbcSession source) {
    String columns =
        IntStream.range(0, from.size())
            .mapToObj(i -> selected(source, i))
            .collect(Collectors.joining(", "));
    String order =
        order()
            .map(key -> key.stream().map(source::quoted).collect(Collectors.joining(", ")))
            .map(key -> " ORDER BY " + key)
            .orElse("");
    return "SELECT " + columns + " FROM " + source.sql(step.source().name()) + order;
  }

  private String selected(JdbcSession source, int i) {
    String name = source.quoted(from.get(i).column().name());
    return isNulled(i)
        ? "CASE WHEN " + name + " IS NULL THEN 0 ELSE 1 END"
        : source.dialect().selected(from.get(i), name);
  }

  /** What writes a row. */
  String insert(JdbcSession session) {
    String columns =
        to.stream()
            .map(column -> session.quoted(column.column().name()))
            .collect(Collectors.joining(", "));
    String values = to.stream().map(column -> "?").collect(Collectors.joining(", "));
    String overriding = session.dialect().overriding();
    return "INSERT INTO "
        + session.sql(target)
        + " ("
        + columns
        + ")"
        + overriding
        + " VALUES ("
        + values
        + ")";
  }

  /** The name in the target of a column. */
  String targetColumn(String name) {
    for (int i = 0; i < from.size(); i++) {
      if (from.get(i).column().name().equals(name)) {
        return to.get(i).column().name();
      }
    }
    return name;
  }

  /** A time without end has no form that another database knows. */
  void requireFinite(List<Object[]> rows) {
    for (Object[] row : rows) {
      for (int i = 0; i < row.length; i++) {
        if (Form.isInfinite(row[i])) {
          String column = TableName.quoted(from.get(i).column().name());
          throw CopyException.failed(
              "table " + name() + ", column " + column + ": an infinite time does not go over");
        }
      }
    }
  }

  /** Whether rows are long, as far as their types tell. */
  boolean isLong() {
    return from.stream()
        .anyMatch(
            column ->
                column.size() == 0 && (column.form() == Form.TEXT || !column.form().hasText()));
  }
}
