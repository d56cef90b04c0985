package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Marks.Mark;
import com.brel.sorn.velk.cli.database.PieceCopy.Copied;
import com.brel.sorn.velk.cli.database.PieceCopy.TargetRefusal;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.sql.SQLException;

/** A session of each database: the one reads the common snapshot, the other writes pieces. */
final class Worker implements AutoCloseable {
  private final Postgres source;
  private final Postgres target;
  private final PieceCopy copy;
  private final Engine engine;

  private Worker(Postgres source, Postgres target, byte[] checksumKey, Engine engine) {
    this.source = source;
    this.target = target;
    this.engine = engine;
    this.copy = new PieceCopy(source, target, checksumKey);
  }

  /**
   * Opens the sessions, the one beside the other; nothing is written before they join.
   *
   * @param snapshot what the source's sessions share
   */
  static Worker open(
      CopySettings settings, String snapshot, Plan plan, byte[] checksumKey, Engine engine)
      throws SQLException {
    Beside<Postgres> writing = Beside.begin(() -> writer(settings, plan));
    Postgres reader = null;
    try {
      reader = reader(settings, snapshot, plan);
      return new Worker(reader, writing.get(), checksumKey, engine);
    } catch (SQLException | RuntimeException e) {
      if (reader != null) {
        reader.close();
      }
      writing.whenThere(Postgres::close);
      throw e;
    }
  }

  private static Postgres reader(CopySettings settings, String snapshot, Plan plan)
      throws SQLException {
    Postgres source = Postgres.open(settings.from(), true);
    try {
      source.beginSnapshot();
      // Rows of parallel workers come in an order that is another one each time.
      source.execute(
          "SET TRANSACTION SNAPSHOT "
              + TableName.literal(snapshot)
              + "; SET max_parallel_workers_per_gather = 0");
      lock(source, plan);
      return source;
    } catch (SQLException | RuntimeException e) {
      source.close();
      throw e;
    }
  }

  private static Postgres writer(CopySettings settings, Plan plan) throws SQLException {
    Postgres target = Postgres.open(settings.to(), false);
    try {
      // Rows and mark are lost together, if at all: the last mark waits for all that was logged.
      target.execute("SET synchronous_commit = off");
      if (plan.unordered()) {
        target.execute("SET session_replication_role = replica");
      }
      return target;
    } catch (SQLException | RuntimeException e) {
      target.close();
      throw e;
    }
  }

  /** From here on, another copy sees that there is one. */
  void join() throws SQLException {
    Locks.joinWriters(target);
  }

  /**
   * Whoever waits to change a table has this session wait behind it, and waits himself for the one
   * that has planned the copy, to its end.
   */
  private static void lock(Postgres source, Plan plan) throws SQLException {
    try {
      source.lock(plan.steps().stream().map(step -> step.source().name()).toList(), "NOWAIT");
    } catch (SQLException e) {
      if (!"55P03".equals(e.getSQLState())) {
        throw e;
      }
      throw CopyException.failed("somebody changes tables of the source: begin anew");
    }
  }

  /** Copies a piece and marks it, both or neither. */
  long copy(Step step, Piece piece) throws IOException, SQLException {
    target.execute("BEGIN");
    try {
      Copied copied = copy.copy(step, piece.part(), piece.condition());
      Marks.add(target, piece, copied.rows(), copied.checksum(), copied.columns());
      target.execute("COMMIT");
      return copied.rows();
    } catch (TargetRefusal e) {
      target.execute("ROLLBACK");
      throw refusal(step, piece, e.reason());
    }
  }

  private CopyException refusal(Step step, Piece piece, SQLException reason)
      throws IOException, SQLException {
    String text = "table " + step.source().name() + ": the target refuses ";
    if (reason.getSQLState() == null || !Postgres.isOfData(reason)) {
      return CopyException.failed(text + "a piece: " + Postgres.told(reason));
    }
    target.execute("BEGIN");
    try {
      RefusedRow row = new RefusedRow(source, target, copy, step, piece.part(), reason);
      String which = row.find(engine, piece).orElse("rows of a piece together");
      return CopyException.failed(text + which + ": " + Postgres.told(reason));
    } finally {
      target.execute("ROLLBACK");
    }
  }

  boolean isAsRead(Step step, Mark mark) throws IOException, SQLException {
    return copy.checksum(step, mark.piece()).equals(mark.checksum());
  }

  /** Whether rows of the target, be they a copy's or not, may hang on those of a table. */
  boolean isReferredTo(Step step) throws SQLException {
    return target.isTrue(
        "SELECT EXISTS (SELECT FROM pg_constraint WHERE contype = 'f'"
            + " AND coalesce(pg_partition_root(confrelid), confrelid) = ?::regclass)",
        step.source().name().sql());
  }

  /** Takes a piece back, and its mark: its rows are those that its transaction wrote. */
  void undo(Step step, Mark mark) throws SQLException {
    target.execute("BEGIN");
    TableName table = step.source().name();
    int gone =
        target.update("DELETE FROM " + table.sql() + " WHERE xmin::text = ?", mark.transaction());
    if (gone != mark.rows()) {
      target.execute("ROLLBACK");
      throw CopyException.failed(
          "table "
              + table
              + ": a piece of "
              + mark.rows()
              + " rows has "
              + gone
              + " in the target: somebody has changed them; begin anew with an empty target");
    }
    Marks.remove(target, mark.piece());
    target.execute("COMMIT");
  }

  @Override
  public void close() {
    source.close();
    target.close();
  }
}
