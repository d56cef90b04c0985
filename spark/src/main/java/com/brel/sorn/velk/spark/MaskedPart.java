package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.spark.PartitionEvaluator;
import org.apache.spark.PartitionEvaluatorFactory;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.sql.catalyst.expressions.JoinedRow;
import org.apache.spark.sql.catalyst.expressions.UnsafeProjection;
import org.apache.spark.sql.execution.metric.SQLMetric;
import org.apache.spark.unsafe.Platform;
import org.apache.spark.unsafe.types.UTF8String;
import scala.collection.AbstractIterator;
import scala.collection.Iterator;
import scala.collection.immutable.Seq;

/** The rows of a part of a table, masked some at a time as they are asked for. */
final class MaskedPart extends AbstractIterator<InternalRow> {
  static final int MOST_ROWS = 1000;

  /** Of large values a batch has fewer rows. */
  private static final int ENOUGH_BYTES = 4 << 20;

  /**
   * The step of a plan as it is sent to tasks.
   *
   * @param inputs the columns that the engine is shown
   * @param results what becomes of each of these
   * @param list what comes out, by the given columns and the results
   * @param given the columns of the rows that come in
   */
  record Step(
      TableMasking masking,
      List<Attribute> inputs,
      List<Attribute> results,
      List<Expression> list,
      List<Attribute> given,
      SQLMetric rows,
      SQLMetric errors)
      implements PartitionEvaluatorFactory<InternalRow, InternalRow> {
    @Override
    public PartitionEvaluator<InternalRow, InternalRow> createEvaluator() {
      return this::eval;
    }

    private Iterator<InternalRow> eval(int part, Seq<Iterator<InternalRow>> rows) {
      return new MaskedPart(this, rows.apply(0));
    }

    /** Which given columns are read behind the masking. */
    private List<Attribute> passed() {
      return Plans.references(list).stream().filter(one -> Plans.indexOf(one, given) >= 0).toList();
    }

    private int[] ordinals() {
      return inputs.stream().mapToInt(one -> Plans.indexOf(one, given)).toArray();
    }
  }

  private final Step step;
  private final TableMasking masking;
  private final List<TableColumn> columns;
  private final Iterator<InternalRow> rows;
  private final TaskBatch task;

  /** For each column of the masking where its value is in a given row, -1 where it is not sent. */
  private final int[] ordinals;

  private final UnsafeProjection passes;
  private final UnsafeProjection completes;

  /** What the rows at hand pass on, and the values that stay by column and row. */
  private final List<InternalRow> passed = new ArrayList<>();

  private final Object[][] kept;
  private final Object[][] masked;
  private final GenericInternalRow results;
  private final JoinedRow joined = new JoinedRow();
  private final int[] offsets = new int[MOST_ROWS + 1];
  private final boolean[] nulls = new boolean[MOST_ROWS];
  private int next;

  /** The rows of all batches before. */
  private long before;

  MaskedPart(Step step, Iterator<InternalRow> rows) {
    this.step = step;
    this.masking = step.masking();
    this.columns = masking.columns();
    this.rows = rows;
    this.task = new TaskBatch(masking.maskingString(), masking.names());
    int[] sent = step.ordinals();
    this.ordinals = new int[columns.size()];
    int count = 0;
    for (int i = 0; i < ordinals.length; i++) {
      ordinals[i] = columns.get(i).sent() ? sent[count++] : -1;
    }
    List<Attribute> passing = step.passed();
    this.passes = UnsafeProjection.create(Plans.seq(passing), Plans.seq(step.given()));
    List<Attribute> all = new ArrayList<>(passing);
    all.addAll(step.results());
    this.completes = UnsafeProjection.create(Plans.seq(step.list()), Plans.seq(all));
    this.kept = new Object[columns.size()][];
    this.masked = new Object[count][MOST_ROWS];
    this.results = new GenericInternalRow(count);
  }

  @Override
  public boolean hasNext() {
    if (next < passed.size()) {
      return true;
    }
    passed.clear();
    next = 0;
    if (!rows.hasNext()) {
      // What is at its end need not wait for that of the task.
      task.end();
      return false;
    }
    maskBatch();
    return true;
  }

  @Override
  public InternalRow next() {
    if (!hasNext()) {
      throw new NoSuchElementException();
    }
    for (int i = 0; i < masked.length; i++) {
      results.update(i, masked[i][next]);
    }
    return completes.apply(joined.apply(passed.get(next++), results));
  }

  private void maskBatch() {
    long bytes = 0;
    while (passed.size() < MOST_ROWS && bytes < ENOUGH_BYTES && rows.hasNext()) {
      // Not under the monitor: it may take any time to come.
      InternalRow row = rows.next();
      synchronized (task) {
        bytes += add(task.batch(), row);
      }
      passed.add(passes.apply(row).copy());
    }
    synchronized (task) {
      Batch batch = task.batch();
      batch.mask();
      read(batch);
    }
    before += passed.size();
    step.rows().add(passed.size());
  }

  /** Adds a row; tells how many bytes its texts have. */
  private int add(Batch batch, InternalRow row) {
    int bytes = 0;
    for (int i = 0; i < ordinals.length; i++) {
      if (ordinals[i] < 0 || row.isNullAt(ordinals[i])) {
        batch.addNull(i);
        keep(i, null);
      } else if (columns.get(i).form().isText()) {
        bytes += add(batch, i, row.getUTF8String(ordinals[i]));
      } else {
        Form form = columns.get(i).form();
        Object value = row.get(ordinals[i], form.type());
        batch.add(i, form.text(value));
        keep(i, value);
      }
    }
    batch.endRow();
    return bytes;
  }

  /** From where it stands, which is in an array but for rows outside of Java's heap. */
  private static int add(Batch batch, int column, UTF8String text) {
    int length = text.numBytes();
    if (text.getBaseObject() instanceof byte[] array) {
      int from = (int) (text.getBaseOffset() - Platform.BYTE_ARRAY_OFFSET);
      batch.add(column, array, from, from + length);
    } else {
      batch.add(column, text.getBytes(), 0, length);
    }
    return length;
  }

  private void keep(int column, Object value) {
    if (columns.get(column).way() == TableColumn.Way.KEPT) {
      if (kept[column] == null) {
        kept[column] = new Object[MOST_ROWS];
      }
      kept[column][passed.size()] = value;
    }
  }

  private void read(Batch batch) {
    Integer[][] codes = new Integer[columns.size()][];
    for (FieldError error : batch.errors()) {
      report(error.row(), error.column(), error.code(), error.message());
      if (codes[error.column()] == null) {
        codes[error.column()] = new Integer[MOST_ROWS];
      }
      codes[error.column()][error.row()] = error.code();
    }
    int result = 0;
    for (int column = 0; column < ordinals.length; column++) {
      if (columns.get(column).sent()) {
        read(batch, column, codes[column], masked[result++]);
      }
    }
  }

  private void report(int row, int column, int code, String reason) {
    step.errors().add(1);
    masking.report(before + row, column, code, reason);
  }

  private void read(Batch batch, int index, Integer[] codes, Object[] target) {
    TableColumn column = columns.get(index);
    byte[] utf8 = batch.copyUtf8(index, offsets, nulls);
    for (int row = 0; row < passed.size(); row++) {
      Integer code = codes == null ? null : codes[row];
      target[row] =
          switch (column.way()) {
            case KEPT -> code == null ? kept[index][row] : null;
            case TRIED -> tried(index, row, utf8, code);
            default -> value(index, row, utf8);
          };
    }
  }

  private Object tried(int index, int row, byte[] utf8, Integer code) {
    Object value = code == null ? value(index, row, utf8) : null;
    boolean lost = code == null && value == null && !nulls[row];
    Integer told = lost ? (Integer) MaskingErrors.OUT_OF_RANGE : code;
    return new GenericInternalRow(new Object[] {value, told});
  }

  private Object value(int index, int row, byte[] utf8) {
    if (nulls[row]) {
      return null;
    }
    int length = offsets[row + 1] - offsets[row];
    Form form = columns.get(index).form();
    if (form.isText()) {
      return UTF8String.fromBytes(utf8, offsets[row], length);
    }
    Object value = form.value(new String(utf8, offsets[row], length, StandardCharsets.US_ASCII));
    if (value == null) {
      String reason = "the column's type cannot hold the masked value";
      report(row, index, MaskingErrors.OUT_OF_RANGE, reason);
    }
    return value;
  }
}
