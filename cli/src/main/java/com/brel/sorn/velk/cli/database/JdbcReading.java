package com.brel.sorn.velk.cli.database;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.List;

/** The rows of a table, in the order of its key, as they come from the source. */
final class JdbcReading implements AutoCloseable {
  /** Rows and their bytes that are held at a time, as far as they can be told. */
  private static final int MOST_ROWS = 250;

  private static final long MOST_BYTES = 1 << 18;

  private static final int BYTES_OF_A_VALUE = 24;

  private final JdbcStep step;
  private final Dialect dialect;
  private final PreparedStatement statement;
  private final ResultSet rows;
  private Checksum checksum;
  private final byte[] checksumKey;
  private long bytes;

  /**
   * Begins to read.
   *
   * @param checksumKey what nobody makes a checksum without
   */
  JdbcReading(JdbcSession source, JdbcStep step, byte[] checksumKey) throws SQLException {
    this.step = step;
    this.checksumKey = checksumKey;
    dialect = source.dialect();
    statement =
        source
            .connection()
            .prepareStatement(
                step.select(source), ResultSet.TYPE_FORWARD_ONLY, ResultSet.CONCUR_READ_ONLY);
    try {
      statement.setFetchSize(dialect.fetched(source, step.step().source().name(), step.isLong()));
      rows = statement.executeQuery();
    } catch (SQLException e) {
      statement.close();
      throw e;
    }
  }

  /** Begins a checksum of the rows that are read from here on. */
  void begin() {
    checksum = new Checksum(checksumKey);
  }

  String checksum() {
    return checksum.end();
  }

  /** The next rows, so many as are wanted and are held at a time; empty at the end. */
  List<Object[]> next(long wanted) {
    List<Object[]> next = new ArrayList<>();
    bytes = 0;
    while (next.size() < Math.min(wanted, MOST_ROWS) && bytes < MOST_BYTES) {
      Object[] row = row();
      if (row == null) {
        break;
      }
      next.add(row);
    }
    return next;
  }

  /** The next row, null at the end; a value that is always null is there as whether it was. */
  Object[] row() {
    int at = 0;
    try {
      if (!rows.next()) {
        return null;
      }
      Object[] row = new Object[step.from().size()];
      for (; at < row.length; at++) {
        row[at] = step.isNulled(at) ? Boolean.valueOf(rows.getInt(at + 1) == 1) : value(at);
        add(row[at]);
      }
      return row;
    } catch (SQLException e) {
      String column = step.from().get(Math.min(at, step.from().size() - 1)).column().name();
      throw CopyException.failed(
          "table "
              + step.name()
              + ", at column "
              + TableName.quoted(column)
              + ": the source cannot be read: "
              + JdbcSession.toldOfData(e));
    }
  }

  private Object value(int at) throws SQLException {
    return dialect.read(rows, at + 1, step.from().get(at));
  }

  private void add(Object value) {
    byte[] utf8 =
        value == null
            ? new byte[0]
            : value instanceof byte[] own ? own : value.toString().getBytes(StandardCharsets.UTF_8);
    int length = value == null ? -1 : utf8.length;
    byte[] head = ByteBuffer.allocate(Integer.BYTES).putInt(length).array();
    checksum.update(head, 0, head.length);
    checksum.update(utf8, 0, utf8.length);
    bytes += BYTES_OF_A_VALUE + 2L * utf8.length;
  }

  @Override
  public void close() throws SQLException {
    statement.close();
  }
}
