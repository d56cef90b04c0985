package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.List;

/**
 * A running service: it masks rows of the columns it was described with.
 *
 * <p>Any thread may use it. Batches follow one another, in this service and in every other one.
 */
public final class MaskingService implements AutoCloseable {
  private final Engine engine;
  private final String id;
  private final List<Column> columns;
  private final ServiceDefinition definition;
  private final RowPool pool;
  private final boolean parsed;
  private int handle;
  private boolean closed;

  MaskingService(
      Engine engine,
      List<Column> columns,
      ServiceDefinition definition,
      OnError onError,
      boolean parsed) {
    this.engine = engine;
    this.id = definition.serviceId;
    this.columns = columns;
    this.definition = definition;
    this.pool = new RowPool(columns, onError);
    this.parsed = parsed;
  }

  /**
   * Masks a batch of rows.
   *
   * <p>A value that cannot be masked is an error of its field, and the other values are masked. If
   * the call fails as a whole there are no results, and the values are overwritten in the native
   * records. After a call that succeeds those hold the masked values until another batch overwrites
   * them or the service is closed.
   *
   * @param rows the rows, each with one value for each column, null for a null value
   * @return the masked rows, in the same order
   * @throws IllegalStateException if the service or its engine is closed
   * @throws IllegalArgumentException if there are no rows, a row has another number of values than
   *     the service has columns, or a value is no String or too long for any buffer
   * @throws VELKException if the engine fails
   */
  public MaskedRows mask(List<? extends List<String>> rows) {
    String[][] values = copy(rows);
    Bridge.LOCK.lock();
    try {
      if (closed) {
        throw new IllegalStateException("the service \"" + id + "\" is closed");
      }
      return mask(values);
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private MaskedRows mask(String[][] values) {
    try {
      pool.load(values);
      pool.toC();
      Bridge.check(
          Bridge.PROVIDER.serviceProvider0(handle, definition, pool.rowSet()), "serviceProvider0");
      pool.toJava();
      MaskedRows results = pool.results();
      pool.clear();
      return results;
    } catch (RuntimeException | Error e) {
      pool.wipe();
      throw e;
    }
  }

  /** Copied before the lock is taken: what a caller's list does must not keep others waiting. */
  private String[][] copy(List<? extends List<String>> rows) {
    String[][] values = new String[rows.size()][];
    if (values.length == 0) {
      throw new IllegalArgumentException("a batch has at least one row");
    }
    for (int row = 0; row < values.length; row++) {
      values[row] = copy(row, rows.get(row));
    }
    return values;
  }

  private String[] copy(int row, List<?> values) {
    if (values.size() != columns.size()) {
      throw new IllegalArgumentException(
          "row "
              + (row + 1)
              + " has "
              + values.size()
              + " values, the service has "
              + columns.size()
              + " columns");
    }
    String[] copy = new String[values.size()];
    for (int column = 0; column < copy.length; column++) {
      Object value = values.get(column);
      if (value != null && !(value instanceof String)) {
        throw new IllegalArgumentException(
            "row "
                + (row + 1)
                + ", column \""
                + columns.get(column).name()
                + "\": a "
                + value.getClass().getName()
                + " is no String");
      }
      copy[column] = (String) value;
      columns.get(column).requireRoom(row, copy[column] == null ? 0 : copy[column].length());
    }
    return copy;
  }

  /**
   * Ends the service and frees what it holds; a second call does nothing.
   *
   * @throws VELKException if the engine fails to end it; it can then be closed again, and is
   *     released at the latest with its engine
   */
  @Override
  public void close() {
    Bridge.LOCK.lock();
    try {
      if (engine.hasService(this)) {
        end();
        release();
      }
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  int handle() {
    return handle;
  }

  RowPool pool() {
    return pool;
  }

  /**
   * Starts the provider; whatever fails, nothing native stays behind. The status of a failed trace
   * cannot be told from a handle: an unknown one fails the first batch, but the handle of another
   * service would mask by that one's rules.
   */
  void start() {
    try {
      // A parsed definition came with its records.
      if (!parsed) {
        Definitions.toC(definition);
      }
      handle = Bridge.PROVIDER.initializeProvider0(id, definition, false);
      if (handle == 0) {
        throw new VELKException("the engine started no provider for \"" + id + "\"", 0);
      }
      engine.requireUnused(handle);
    } catch (RuntimeException | Error e) {
      Definitions.free(definition);
      throw e;
    }
  }

  /** From here on the service masks no more; it can still be closed. */
  void suspend() {
    closed = true;
  }

  /** From here on the service masks no more, even if the engine fails to end it. */
  void end() {
    closed = true;
    Bridge.check(Bridge.PROVIDER.terminateProvider0(handle), "terminateProvider0");
  }

  /** Frees every native record, once the engine no longer uses any. */
  void release() {
    closed = true;
    pool.free();
    Definitions.free(definition);
    engine.forget(this);
  }
}
