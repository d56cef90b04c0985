package com.brel.sorn.velk.cli.database;

import java.sql.PreparedStatement;
import java.sql.SQLException;
import java.sql.Savepoint;
import java.sql.Statement;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** Writes rows of a table into the target, within a transaction that others begin and end. */
final class JdbcWriting implements AutoCloseable {
  private final JdbcSession target;
  private final JdbcStep step;
  private final PreparedStatement insert;

  JdbcWriting(JdbcSession target, JdbcStep step) throws SQLException {
    this.target = target;
    this.step = step;
    insert = target.connection().prepareStatement(step.insert(target));
  }

  /**
   * Writes rows.
   *
   * @throws CopyException if the target refuses one, which is then told by its masked key
   */
  void write(List<Object[]> rows) throws SQLException {
    step.requireFinite(rows);
    boolean canGoBack = target.connection().getMetaData().supportsSavepoints();
    Savepoint before = canGoBack ? target.connection().setSavepoint() : null;
    try {
      insert(rows);
    } catch (SQLException e) {
      SQLException reason = reason(e);
      String which = "a piece";
      if (before != null && JdbcSession.isOfData(reason)) {
        target.connection().rollback(before);
        which = refused(rows);
      }
      throw CopyException.failed(
          "table "
              + step.name()
              + ": the target refuses "
              + which
              + ": "
              + JdbcSession.toldOfData(reason));
    }
    if (before != null) {
      target.connection().releaseSavepoint(before);
    }
  }

  /** A batch's own exception says less than what caused it. */
  private static SQLException reason(SQLException e) {
    if (e.getNextException() != null) {
      return e.getNextException();
    }
    return e.getCause() instanceof SQLException cause ? cause : e;
  }

  private void insert(List<Object[]> rows) throws SQLException {
    insert.clearBatch();
    for (Object[] row : rows) {
      bind(row);
      insert.addBatch();
    }
    long written = 0;
    for (long count : insert.executeBatch()) {
      written += count == Statement.SUCCESS_NO_INFO ? 1 : count;
    }
    if (written != rows.size()) {
      throw CopyException.failed(
          "table " + step.name() + ": of " + rows.size() + " rows " + written + " were written");
    }
  }

  private void bind(Object[] row) throws SQLException {
    Dialect dialect = target.dialect();
    for (int i = 0; i < row.length; i++) {
      JdbcColumn column = step.to().get(i);
      if (row[i] == null) {
        dialect.writeNull(insert, i + 1, column);
      } else {
        dialect.write(insert, i + 1, column, row[i]);
      }
    }
  }

  /** Halves that are taken stay, for a row may be refused because of one before it. */
  private String refused(List<Object[]> rows) throws SQLException {
    int from = 0;
    int to = rows.size();
    while (to - from > 1) {
      int middle = (from + to) >>> 1;
      if (isTaken(rows.subList(from, middle))) {
        from = middle;
      } else {
        to = middle;
      }
    }
    return from == to || isTaken(rows.subList(from, to))
        ? "rows of a piece together"
        : told(rows.get(from));
  }

  private boolean isTaken(List<Object[]> rows) throws SQLException {
    Savepoint before = target.connection().setSavepoint();
    try {
      insert(rows);
      return true;
    } catch (SQLException e) {
      target.connection().rollback(before);
      return false;
    }
  }

  private String told(Object[] row) {
    List<String> key = step.step().source().key();
    if (key.isEmpty()) {
      return "a row, which has no key to tell it by";
    }
    return "the row that has, masked, "
        + IntStream.range(0, row.length)
            .filter(i -> key.contains(step.from().get(i).column().name()))
            .mapToObj(
                i ->
                    TableName.quoted(step.from().get(i).column().name())
                        + " = "
                        + step.to().get(i).form().text(row[i]))
            .collect(Collectors.joining(", "));
  }

  @Override
  public void close() throws SQLException {
    insert.close();
  }
}
