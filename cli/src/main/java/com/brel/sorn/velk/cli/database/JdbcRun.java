package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.DatabaseCopy.Listener;
import com.brel.sorn.velk.cli.database.JdbcMarks.Mark;
import java.sql.SQLException;
import java.util.List;

/** Copies tables piece by piece, each committed together with its mark. */
final class JdbcRun {
  private final JdbcSession source;
  private final JdbcSession target;
  private final Plan plan;
  private final JdbcMarks marks;
  private final byte[] checksumKey;
  private final int most;
  private final Listener listener;
  private long done;

  JdbcRun(
      JdbcSession source,
      JdbcSession target,
      Plan plan,
      JdbcMarks marks,
      byte[] checksumKey,
      int most,
      Listener listener) {
    this.source = source;
    this.target = target;
    this.plan = plan;
    this.marks = marks;
    this.checksumKey = checksumKey;
    this.most = most;
    this.listener = listener;
  }

  /**
   * Copies what is left of a table. What is done is compared with the source first; the order of
   * masked keys is not that of the clear ones, so that where it differs, all of the table is done
   * again.
   */
  void copy(JdbcStep step) throws SQLException {
    List<Mark> marked = marks.read().stream().filter(m -> m.table().equals(step.name())).toList();
    try (JdbcReading reading = read(step)) {
      if (isAsRead(step, reading, marked)) {
        copy(step, reading, marked);
        return;
      }
    }
    undo(step, marked);
    try (JdbcReading reading = read(step)) {
      copy(step, reading, List.of());
    }
  }

  private JdbcReading read(JdbcStep step) throws SQLException {
    return new JdbcReading(source, step, checksumKey);
  }

  private boolean isAsRead(JdbcStep step, JdbcReading reading, List<Mark> marked)
      throws SQLException {
    for (Mark mark : marked) {
      reading.begin();
      for (long i = 0; i < mark.rows(); i++) {
        if (reading.row() == null) {
          return false;
        }
      }
      if (!reading.checksum().equals(mark.checksum())) {
        return false;
      }
    }
    reading.begin();
    return marked.isEmpty() || !isWhole(step) || reading.row() == null;
  }

  /** Rows without an order are one piece, and so are those that refer to others of their table. */
  private boolean isWhole(JdbcStep step) {
    TableName name = step.step().source().name();
    return step.order().isEmpty()
        || !plan.unordered()
            && plan.foreignKeys().stream()
                .anyMatch(key -> key.child().equals(name) && key.parent().equals(name));
  }

  private void copy(JdbcStep step, JdbcReading reading, List<Mark> marked) throws SQLException {
    long from = marked.stream().mapToLong(Mark::rows).sum();
    done += from;
    listener.done(done, 0);
    boolean whole = isWhole(step);
    if (whole && !marked.isEmpty()) {
      return;
    }
    try (JdbcMasking masking = new JdbcMasking(step);
        JdbcWriting writing = new JdbcWriting(target, step)) {
      boolean isFirst = marked.isEmpty();
      for (long number = marked.size(); ; number++) {
        long rows = piece(new Piece(step, reading, masking, writing, whole), number, from, isFirst);
        if (rows == 0 || whole) {
          return;
        }
        isFirst = false;
        from += rows;
      }
    }
  }

  /** What a piece is made with. */
  private record Piece(
      JdbcStep step,
      JdbcReading reading,
      JdbcMasking masking,
      JdbcWriting writing,
      boolean whole) {}

  /**
   * Copies the next rows and marks them, both or neither.
   *
   * @param evenEmpty whether there is a mark for no rows as well
   * @return how many there are
   */
  private long piece(Piece piece, long number, long from, boolean evenEmpty) throws SQLException {
    piece.reading.begin();
    piece.masking.forget();
    long rows = 0;
    List<Object[]> next;
    try {
      do {
        next = piece.reading.next(piece.whole ? Long.MAX_VALUE : most - rows);
        if (!next.isEmpty()) {
          piece.writing.write(piece.masking.mask(next));
        }
        rows += next.size();
      } while (!next.isEmpty());
      if (rows > 0 || evenEmpty) {
        String checksum = piece.reading.checksum();
        marks.add(
            new Mark(piece.step.name(), number, from, rows, checksum, piece.masking.columns()));
      }
      target.connection().commit();
    } catch (SQLException e) {
      target.connection().rollback();
      throw refusal(piece.step, "refuses a piece", e);
    } catch (RuntimeException e) {
      target.connection().rollback();
      throw e;
    }
    done += rows;
    listener.done(done, 0);
    return rows;
  }

  /** A trigger of the target says what it likes of a row, as late as the transaction ends. */
  private static CopyException refusal(JdbcStep step, String what, SQLException e) {
    return CopyException.failed(
        "table " + step.name() + ": the target " + what + ": " + JdbcSession.toldOfData(e));
  }

  /** Takes a table back, and its marks: its rows are as many as those that the copy wrote. */
  private void undo(JdbcStep step, List<Mark> marked) throws SQLException {
    TableName name = step.step().source().name();
    if (!plan.unordered() && target.hasChildren(step.target())) {
      throw CopyException.failed(
          "table "
              + name
              + " has changed in the source and others refer to it: begin anew with an empty"
              + " target");
    }
    long written = marked.stream().mapToLong(Mark::rows).sum();
    int gone = deleted(step);
    if (gone != written) {
      target.connection().rollback();
      throw CopyException.failed(
          "table "
              + name
              + ": "
              + written
              + " rows were written and "
              + gone
              + " are there: somebody has changed them; begin anew with an empty target");
    }
    marks.remove(step.name());
    target.connection().commit();
  }

  private int deleted(JdbcStep step) throws SQLException {
    try {
      return target.update("DELETE FROM " + target.sql(step.target()));
    } catch (SQLException e) {
      target.connection().rollback();
      throw refusal(step, "does not give rows back", e);
    }
  }
}
