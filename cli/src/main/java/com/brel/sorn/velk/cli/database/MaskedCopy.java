package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.util.List;
import java.util.function.Consumer;

/**
 * A masked copy of a database. It is planned when it is opened, which writes nothing; the source is
 * only ever read, in one snapshot.
 */
public interface MaskedCopy extends AutoCloseable {
  /**
   * Plans a copy, in the way that its two databases allow.
   *
   * @param engine masks the values
   * @param settings what is asked for
   * @param sessions those that were begun for it
   * @return the copy, not begun
   * @throws CopyException if it is refused, with all that is wrong
   */
  static MaskedCopy open(Engine engine, CopySettings settings, Sessions sessions) {
    return sessions != null
        ? DatabaseCopy.open(engine, settings, sessions)
        : JdbcCopy.open(engine, settings);
  }

  /**
   * Shows the plan.
   *
   * @return a row for each column, below a heading
   */
  List<List<String>> table();

  /**
   * Tells the order of the tables and what joins them.
   *
   * @return a line for each step and each foreign key
   */
  List<String> notes();

  /**
   * Tells what nobody can judge.
   *
   * @return a text for each
   */
  List<String> warnings();

  /**
   * Tells how large the source is.
   *
   * @return pages of all its tables, 0 where nobody knows
   */
  long pages();

  /**
   * Tells whether the target has the marks of this copy, with which another can go on.
   *
   * @return whether it has, asked at any time and by any thread
   */
  boolean hasMarks();

  /**
   * Copies all tables; when this returns, all of them are complete and the last mark is set.
   *
   * @param listener is told how far it is, by one thread at a time
   * @param warned gets what should be known of the result
   * @return what became of each table
   * @throws CopyException if it is refused or a database fails
   * @throws IOException if reading or writing fails
   */
  List<DatabaseCopy.TableResult> run(DatabaseCopy.Listener listener, Consumer<String> warned)
      throws IOException;

  @Override
  void close();
}
