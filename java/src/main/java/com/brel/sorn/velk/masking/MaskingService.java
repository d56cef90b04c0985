package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Iterator;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.Spliterator;
import java.util.Spliterators;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;
import org.jspecify.annotations.Nullable;

/**
 * A running service: it masks rows of the columns it was described with.
 *
 * <p>Any thread may use it. What is masked at a time, a batch or a piece of a large one, follows
 * one another, in this service and in every other one.
 */
public final class MaskingService implements Masker {
  private final Engine engine;
  private final String id;
  private final List<Column> columns;
  private final ServiceDefinition definition;
  private final RowPool pool;
  private final OnError onError;

  /** What the header of its tables is; null where that only has to have its columns. */
  private final @Nullable List<String> header;

  /** Those that are open; guarded by {@link Bridge#LOCK}. */
  private final Set<Lane> lanes = new LinkedHashSet<>();

  private int handle;
  private boolean closed;

  MaskingService(
      Engine engine,
      List<Column> columns,
      ServiceDefinition definition,
      OnError onError,
      @Nullable List<String> header) {
    this.engine = engine;
    this.id = definition.serviceId;
    this.columns = columns;
    this.definition = definition;
    this.pool = new RowPool(columns, onError);
    this.onError = onError;
    this.header = header;
  }

  @Override
  public String id() {
    return id;
  }

  @Override
  public List<ColumnRule> columns() {
    return columns.stream().map(Column::rule).toList();
  }

  /**
   * Masks a batch of rows, of whatever size: piece by piece, so that other batches come in between.
   *
   * <p>A value that cannot be masked is an error of its field, and the other values are masked. If
   * the call fails as a whole there are no results, and the values are overwritten in the native
   * records. After a call that succeeds those hold the masked values until another batch overwrites
   * them or the service is closed; what a large batch took beyond a few megabytes is given back.
   *
   * @param rows the rows, each with one value for each column, null for a null value
   * @return the masked rows, in the same order
   * @throws IllegalStateException if the service or its engine is closed, be it between two pieces
   * @throws IllegalArgumentException if there are no rows, a row has another number of values than
   *     the service has columns, or a value is no String or too long for any buffer
   * @throws VELKException if the engine fails, or a value has an error that stops the batch
   */
  @Override
  public MaskedRows mask(Iterable<? extends List<? extends @Nullable String>> rows) {
    return mask(copy(rows), 0);
  }

  /**
   * Masks one row.
   *
   * @param row one value for each column, null for a null value
   * @return the masked row
   * @throws IllegalStateException if the service or its engine is closed
   * @throws IllegalArgumentException if the row has another number of values than the service has
   *     columns, or a value is no String or too long for any buffer
   * @throws VELKException if the engine fails, or a value has an error that stops the batch
   */
  @Override
  public MaskedRow maskRow(List<? extends @Nullable String> row) {
    return mask(List.of(Objects.requireNonNull(row, "row"))).get(0);
  }

  /**
   * Masks a stream of rows as they are asked for, some thousands at a time, so that it may be of
   * any length. Errors count the rows of the stream, up to the largest number that there is.
   *
   * <p>The operation that ends the stream throws what {@link #mask(Iterable)} does. What was masked
   * before has then come out; nothing comes out of the piece that failed, nor behind it.
   *
   * @param rows the rows, each with one value for each column, null for a null value
   * @return the masked rows, in the same order; closing it closes the other
   */
  @Override
  public Stream<MaskedRow> mask(Stream<? extends List<? extends @Nullable String>> rows) {
    Iterator<MaskedRow> pieces =
        new MaskedPieces(this, Objects.requireNonNull(rows, "rows").iterator());
    int traits = Spliterator.ORDERED | Spliterator.NONNULL;
    return StreamSupport.stream(Spliterators.spliteratorUnknownSize(pieces, traits), false)
        .onClose(rows::close);
  }

  /** Masks rows that were copied; the first one has this number. */
  MaskedRows mask(String[][] rows, long firstRow) {
    List<MaskedRows> pieces = new ArrayList<>();
    for (int from = 0, to; from < rows.length; from = to) {
      to = Piece.end(columns, rows, from);
      pieces.add(maskPiece(Arrays.copyOfRange(rows, from, to), firstRow + from));
    }
    return MaskedRows.join(pieces);
  }

  private MaskedRows maskPiece(String[][] rows, long firstRow) {
    Bridge.LOCK.lock();
    try {
      if (closed) {
        throw new IllegalStateException("the service \"" + id + "\" is closed");
      }
      return maskOrWipe(rows, firstRow);
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private MaskedRows maskOrWipe(String[][] rows, long firstRow) {
    try {
      pool.load(rows, firstRow);
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

  Piece newPiece() {
    return new Piece(columns);
  }

  /** Copied before the lock is taken: what a caller's list does must not keep others waiting. */
  private String[][] copy(Iterable<? extends List<? extends @Nullable String>> rows) {
    List<String[]> values = new ArrayList<>();
    for (List<? extends @Nullable String> row : Objects.requireNonNull(rows, "rows")) {
      values.add(copy(values.size(), row));
    }
    if (values.isEmpty()) {
      throw new IllegalArgumentException("a batch has at least one row");
    }
    return values.toArray(String[][]::new);
  }

  /** The values of a row, which is counted from 0. */
  String[] copy(long row, List<?> values) {
    Objects.requireNonNull(values, () -> "row " + (row + 1));
    Object[] copy = values.toArray();
    if (copy.length != columns.size()) {
      throw new IllegalArgumentException(
          "row "
              + (row + 1)
              + " has "
              + copy.length
              + " values, the service has "
              + columns.size()
              + " columns");
    }
    String[] texts = new String[copy.length];
    for (int column = 0; column < copy.length; column++) {
      texts[column] = columns.get(column).requireText(row, copy[column]);
    }
    return texts;
  }

  /**
   * Makes a batch of values as bytes, for the thread that asks for it.
   *
   * @return an empty batch, to be closed by that thread
   * @throws IllegalStateException if the service or its engine is closed
   * @throws VELKException if the engine starts no provider for it
   */
  public Batch batch() {
    return new Batch(this, IntStream.range(0, columns.size()).toArray());
  }

  /**
   * Makes a batch of some columns only. The others are those that are kept, whatever they hold, and
   * of which no other rule has need: whoever has their values elsewhere need not have them copied.
   *
   * @param some the columns, each of them once, in the order that the batch has
   * @return an empty batch, to be closed by the thread that asks for it
   * @throws IllegalArgumentException if there are none, or one is left out that the engine is to be
   *     shown
   * @throws IllegalStateException if the service or its engine is closed
   * @throws VELKException if the engine starts no provider for it
   */
  public Batch batch(List<Integer> some) {
    if (some.isEmpty() || Set.copyOf(some).size() < some.size()) {
      throw new IllegalArgumentException("a batch has columns, and each of them once: " + some);
    }
    return new Batch(this, some.stream().mapToInt(Integer::intValue).toArray());
  }

  /**
   * Begins to say how CSV is masked.
   *
   * @return the settings, as if nothing was said
   */
  public CsvMasking csv() {
    return new CsvMasking(this);
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

  /** Whether the provider of this number is the service's or one of its lanes'. */
  boolean hasHandle(int number) {
    return handle == number || lanes.stream().anyMatch(lane -> lane.hasProvider(number));
  }

  /**
   * Opens a lane for a table of this service's columns. What is kept whatever it is goes round the
   * engine.
   *
   * @param table for each column of the table the service's, each of them once
   * @param onError what a value with an error becomes
   * @throws IllegalArgumentException if the table lacks a column that the engine is to be shown
   * @throws IllegalStateException if the service or its engine is closed
   * @throws VELKException if the engine starts no provider
   */
  Lane openLane(int[] table, OnError onError) {
    Bridge.LOCK.lock();
    try {
      if (closed) {
        throw new IllegalStateException("the service \"" + id + "\" is closed");
      }
      BulkOrder order = BulkOrder.of(definition, columns);
      order.requireAllSent(table);
      List<Column> all = Arrays.stream(table).mapToObj(columns::get).toList();
      ServiceDefinition sent =
          order.sent().isEmpty() ? null : Definitions.copy(definition, order.sent());
      Lane lane = new Lane(this, sent, all);
      lane.open(engine, order.of(table), onError);
      lanes.add(lane);
      return lane;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  boolean hasLane(Lane lane) {
    return lanes.contains(lane);
  }

  void forget(Lane lane) {
    lanes.remove(lane);
  }

  OnError onError() {
    return onError;
  }

  List<Column> running() {
    return columns;
  }

  @Nullable List<String> header() {
    return header;
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
      // The definition of a masking string came with its records.
      if (definition.pointer() == 0) {
        Definitions.toC(definition);
      }
      handle = requireStarted(id, Bridge.PROVIDER.initializeProvider0(id, definition, false));
      engine.requireUnused(handle);
    } catch (RuntimeException | Error e) {
      Definitions.free(definition);
      throw e;
    }
  }

  static int requireStarted(String id, int handle) {
    if (handle == 0) {
      throw new VELKException("the engine started no provider for \"" + id + "\"", 0);
    }
    return handle;
  }

  /** From here on the service masks no more; it can still be closed. */
  void suspend() {
    closed = true;
    lanes.forEach(Lane::suspend);
  }

  /** From here on the service masks no more, even if the engine fails to end it. */
  void end() {
    closed = true;
    for (Lane lane : List.copyOf(lanes)) {
      lane.end();
      lane.release();
      lanes.remove(lane);
    }
    Bridge.check(Bridge.PROVIDER.terminateProvider0(handle), "terminateProvider0");
  }

  /** Frees every native record, once the engine no longer uses any. */
  void release() {
    closed = true;
    lanes.forEach(Lane::release);
    lanes.clear();
    pool.free();
    Definitions.free(definition);
    engine.forget(this);
  }
}
