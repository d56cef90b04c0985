package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import org.jspecify.annotations.Nullable;

/**
 * Many values at once, as bytes of UTF-8: for tables, streams of records and whoever has his text
 * in that form already. It gives what {@link MaskingService#mask(Iterable)} gives.
 *
 * <pre>{@code
 * try (Batch batch = service.batch()) {
 *   batch.add(0, utf8, from, to);
 *   batch.addNull(1);
 *   batch.endRow();
 *   batch.mask();
 *   int bytes = batch.copyUtf8(0, 0, target, 0);
 * }
 * }</pre>
 *
 * <p>Rows are added, then masked, then read; the first value that is added behind that starts the
 * next rows, in the same memory. Rows and columns are counted from 0, lengths are in bytes. A batch
 * belongs to the thread that made it or took it over, and has a provider of its own: where the
 * engine allows it, batches of several threads are masked at the same time. That provider reads the
 * key anew. Values are held outside of Java's heap until the batch is closed, which wipes them.
 *
 * <p>A batch that is used by another thread, out of order or after it was closed throws an {@link
 * IllegalStateException}, and nothing native is called.
 */
public final class Batch implements AutoCloseable {
  private volatile Thread owner = Thread.currentThread();
  private final Lane lane;
  private final OnError onError;
  private final BatchColumn[] columns;
  private final BatchResult[] results;
  private final long[] addresses;

  /** Codes of texts that cannot be sent, by row and column in one number. */
  private final Map<Long, Integer> flaws = new HashMap<>();

  /** Row, column and code of each, in the order of the values. */
  private int[] errors = new int[0];

  private Map<Integer, String> texts = new HashMap<>();
  private long handle;
  private int rows;
  private int added;
  private boolean masked;
  private boolean closed;

  /** A batch of some of the service's columns. */
  Batch(MaskingService service, int[] some) {
    int width = some.length;
    onError = service.onError();
    lane = service.openLane(some, onError);
    columns = new BatchColumn[width];
    results = new BatchResult[width];
    Arrays.setAll(columns, i -> new BatchColumn());
    Arrays.setAll(results, i -> new BatchResult());
    addresses = new long[4 * width];
  }

  /**
   * Adds the row's value of a column.
   *
   * @param column the column
   * @param utf8 an array that holds the value in UTF-8; it is copied. What is none is an error of
   *     its field
   * @param from where the value starts
   * @param to where it ends
   * @throws IndexOutOfBoundsException if there is no such column or place
   * @throws IllegalStateException if the row has a value of this column
   * @throws IllegalArgumentException if no buffer holds the value
   */
  public void add(int column, byte[] utf8, int from, int to) {
    Objects.checkFromToIndex(from, to, Objects.requireNonNull(utf8, "utf8").length);
    next(column).add(utf8, from, to);
    added++;
  }

  /**
   * Adds the row's value of a column.
   *
   * @param column the column
   * @param text the value, null for a null value
   * @throws IndexOutOfBoundsException if there is no such column
   * @throws IllegalStateException if the row has a value of this column
   * @throws IllegalArgumentException if no buffer holds the value
   */
  public void add(int column, @Nullable String text) {
    if (text == null) {
      addNull(column);
      return;
    }
    next(column).add(text);
    added++;
    int flaw = Text.flaw(text);
    if (flaw != 0) {
      flaws.put(place(rows, column), flaw);
    }
  }

  /**
   * Adds a null value.
   *
   * @param column the column
   * @throws IndexOutOfBoundsException if there is no such column
   * @throws IllegalStateException if the row has a value of this column
   */
  public void addNull(int column) {
    next(column).addNull();
    added++;
  }

  /**
   * Ends a row.
   *
   * @throws IllegalStateException if a column has no value in it
   */
  public void endRow() {
    requireUse();
    if (masked || added != columns.length) {
      throw new IllegalStateException(
          "the row has " + (masked ? 0 : added) + " of " + columns.length + " values");
    }
    added = 0;
    rows++;
  }

  private BatchColumn next(int column) {
    requireUse();
    Objects.checkIndex(column, columns.length);
    if (masked) {
      clear();
    }
    if (columns[column].rows() > rows) {
      throw new IllegalStateException("the row has a value of column " + column + " already");
    }
    return columns[column];
  }

  /**
   * Leaves all rows behind, masked or not; the memory stays for the next ones, and holds the old
   * values until they are written over or the batch is closed.
   */
  public void clear() {
    requireUse();
    for (int column = 0; column < columns.length; column++) {
      columns[column].clear();
    }
    flaws.clear();
    errors = new int[0];
    texts.clear();
    rows = 0;
    added = 0;
    masked = false;
  }

  /**
   * Masks the rows that were ended. A value that cannot be masked is an error of its field. If this
   * throws there are no results, all values are wiped and the batch is empty.
   *
   * @throws IllegalStateException if there are no rows, one was not ended, they were masked
   *     already, or the service is closed
   * @throws VELKException if the engine fails, or a value has an error that stops the batch
   */
  public void mask() {
    requireUse();
    if (masked || rows == 0 || added != 0) {
      throw new IllegalStateException(
          masked ? "the rows are masked" : rows == 0 ? "there are no rows" : "a row is not ended");
    }
    try {
      maskRows();
      readErrors();
      masked = true;
      if (onError.way() == OnError.Way.FAILURE) {
        errors().stream().findFirst().ifPresent(Batch::stop);
      }
    } catch (RuntimeException | Error e) {
      discard();
      throw e;
    }
  }

  private static void stop(FieldError error) {
    throw new VELKException(error.toString(), error.code());
  }

  private void maskRows() {
    if (handle == 0) {
      handle = Lane.requireOpened(NativeBulk.columnsOpen());
    }
    long[] in = new long[3 * columns.length];
    for (int column = 0; column < columns.length; column++) {
      columns[column].addresses(in, 3 * column);
    }
    lane.check(NativeBulk.columnsBegin(handle, lane.handle(), in, rows));
    while (lane.check(NativeBulk.columnsLoad(handle, lane.handle())) > 0) {
      lane.checkMasked(lane.mask(() -> NativeBulk.columnsMask(handle, lane.handle())));
      lane.check(NativeBulk.columnsStore(handle, lane.handle()));
    }
    NativeBulk.columnsResult(handle, addresses);
    for (int column = 0; column < columns.length; column++) {
      results[column].set(addresses, 4 * column, rows);
    }
  }

  private void readErrors() {
    errors = new int[3 * lane.check(NativeBulk.errorCount(lane.handle()))];
    NativeBulk.errors(lane.handle(), errors);
    for (int i = 0; i < errors.length; i += 3) {
      // The lane sees bytes that are no UTF-8, and not what was wrong with their text.
      errors[i + 2] = flaws.getOrDefault(place(errors[i], errors[i + 1]), errors[i + 2]);
      texts.computeIfAbsent(errors[i + 2], lane::text);
    }
  }

  /** For tests. */
  Lane lane() {
    return lane;
  }

  /** Where the values stand, given and masked; for tests. */
  long[] memory() {
    long[] all = Arrays.copyOf(addresses, 7 * columns.length);
    for (int column = 0; column < columns.length; column++) {
      columns[column].addresses(all, 4 * columns.length + 3 * column);
      all[4 * column + 3] = 0;
    }
    return all;
  }

  private long place(int row, int column) {
    return (long) row * columns.length + column;
  }

  /**
   * Counts the rows that were ended.
   *
   * @return their number
   */
  public int rows() {
    requireUse();
    return rows;
  }

  /**
   * Tells whether a masked value is null, be it by the choice for values with an error.
   *
   * @param row the row
   * @param column the column
   * @return true if it is
   * @throws VELKException if the field has an error that nothing replaces, with its code
   * @throws IndexOutOfBoundsException if there is no such row or column
   * @throws IllegalStateException if the rows are not masked
   */
  public boolean isNull(int row, int column) {
    return result(row, column).isNull(row);
  }

  /**
   * Tells the length of a masked value.
   *
   * @param row the row
   * @param column the column
   * @return its bytes in UTF-8, 0 for null
   * @throws VELKException as {@link #isNull}
   * @throws IndexOutOfBoundsException if there is no such row or column
   * @throws IllegalStateException if the rows are not masked
   */
  public int length(int row, int column) {
    return result(row, column).length(row);
  }

  /**
   * Copies a masked value.
   *
   * @param row the row
   * @param column the column
   * @param target gets the value in UTF-8
   * @param at where it starts there
   * @return the value's length, 0 for null
   * @throws VELKException as {@link #isNull}
   * @throws IndexOutOfBoundsException if there is no such row or column, or no such room
   * @throws IllegalStateException if the rows are not masked
   */
  public int copyUtf8(int row, int column, byte[] target, int at) {
    BatchResult result = result(row, column);
    int length = result.length(row);
    Objects.checkFromIndexSize(at, length, target.length);
    result.copy(row, target, at);
    return length;
  }

  /**
   * Copies all masked values of a column, one behind another. Other than where one value is read,
   * an error that nothing replaces is a null value here.
   *
   * @param column the column
   * @param offsets gets where each row's value starts, and behind the last one where that ends
   * @param nulls gets for each row whether its value is null
   * @return the values in UTF-8
   * @throws IndexOutOfBoundsException if there is no such column, or no room for all rows
   * @throws IllegalStateException if the rows are not masked
   */
  public byte[] copyUtf8(int column, int[] offsets, boolean[] nulls) {
    requireMasked();
    Objects.checkIndex(column, columns.length);
    Objects.checkIndex(rows, offsets.length);
    Objects.checkFromIndexSize(0, rows, nulls.length);
    return results[column].copy(rows, offsets, nulls);
  }

  /**
   * Reads a masked value.
   *
   * @param row the row
   * @param column the column
   * @return the value, null where it is null
   * @throws VELKException as {@link #isNull}
   * @throws IndexOutOfBoundsException if there is no such row or column
   * @throws IllegalStateException if the rows are not masked
   */
  public @Nullable String string(int row, int column) {
    if (isNull(row, column)) {
      return null;
    }
    byte[] utf8 = new byte[results[column].length(row)];
    results[column].copy(row, utf8, 0);
    return new String(utf8, StandardCharsets.UTF_8);
  }

  /** Where a value may be read: it is masked, or replaced. */
  private BatchResult result(int row, int column) {
    Optional<FieldError> error = error(row, column);
    if (error.isPresent() && onError.way() != OnError.Way.REPLACEMENT) {
      stop(error.get());
    }
    return results[column];
  }

  /**
   * Tells why a value could not be masked.
   *
   * @param row the row
   * @param column the column
   * @return the field's error, empty where it has none; errors of one code share its text
   * @throws IndexOutOfBoundsException if there is no such row or column
   * @throws IllegalStateException if the rows are not masked
   */
  public Optional<FieldError> error(int row, int column) {
    requireMasked();
    Objects.checkIndex(row, rows);
    Objects.checkIndex(column, columns.length);
    return errors.length == 0 ? Optional.empty() : find(place(row, column));
  }

  private Optional<FieldError> find(long wanted) {
    int low = 0;
    int high = errors.length / 3;
    while (low < high) {
      int middle = (low + high) >>> 1;
      long found = place(errors[3 * middle], errors[3 * middle + 1]);
      if (found == wanted) {
        return Optional.of(fieldError(middle));
      }
      low = found < wanted ? middle + 1 : low;
      high = found < wanted ? high : middle;
    }
    return Optional.empty();
  }

  /**
   * Lists every value that could not be masked.
   *
   * @return the errors, row by row; the list cannot be changed
   * @throws IllegalStateException if the rows are not masked
   */
  public List<FieldError> errors() {
    requireMasked();
    List<FieldError> all = new ArrayList<>();
    for (int i = 0; i < errors.length / 3; i++) {
      all.add(fieldError(i));
    }
    return List.copyOf(all);
  }

  private FieldError fieldError(int index) {
    int code = errors[3 * index + 2];
    Column column = lane.columns().get(errors[3 * index + 1]);
    String text = column.explain(code, texts.get(code));
    return new FieldError(errors[3 * index], errors[3 * index + 1], column.name(), code, text);
  }

  private void requireMasked() {
    requireUse();
    if (!masked) {
      throw new IllegalStateException("the rows are not masked; there are no values to be read");
    }
  }

  private void requireUse() {
    if (Thread.currentThread() != owner) {
      throw new IllegalStateException("a batch belongs to the thread that made it or took it over");
    }
    if (closed) {
      throw new IllegalStateException("the batch is closed");
    }
  }

  /** Wipes all values, given and masked; the batch is empty, and can be used again. */
  private void discard() {
    clear();
    for (BatchColumn column : columns) {
      column.discard();
    }
    for (BatchResult result : results) {
      result.forget();
    }
    long closing = handle;
    handle = 0;
    NativeBulk.columnsClose(closing);
  }

  /**
   * Gives the batch to the calling thread, for instance to close it where the other has ended. That
   * one uses it no more, and what it did with it happened before this: the caller sees to both.
   */
  public void takeOver() {
    owner = Thread.currentThread();
  }

  /**
   * Wipes and frees everything and ends the provider; a second call does nothing.
   *
   * @throws IllegalStateException if another thread calls this
   * @throws VELKException if the engine fails to end the provider, which ends with its engine
   */
  @Override
  public void close() {
    if (!closed) {
      discard();
      closed = true;
      lane.close();
    }
  }
}
