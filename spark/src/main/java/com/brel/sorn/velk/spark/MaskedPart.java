package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.util.ArrayList;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.spark.PartitionEvaluator;
import org.apache.spark.PartitionEvaluatorFactory;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.expressions.Attribute;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.JoinedRow;
import org.apache.spark.sql.catalyst.expressions.UnsafeProjection;
import org.apache.spark.sql.execution.metric.SQLMetric;
import scala.collection.AbstractIterator;
import scala.collection.Iterator;
import scala.collection.immutable.Seq;

/** The rows of a part of a table, masked some at a time as they are asked for. */
final class MaskedPart extends AbstractIterator<InternalRow> {
  /** Enough to make the engine's calls few, and so few that they stay in a processor's cache. */
  static final int MOST_ROWS = 250;

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
      return inputs.stream().mapToInt(this::ordinal).toArray();
    }

    /** A plan that lost a column must not mask whatever stands elsewhere. */
    private int ordinal(Attribute input) {
      int ordinal = Plans.indexOf(input, given);
      if (ordinal < 0) {
        throw new IllegalStateException("the plan has no column " + input + " to be masked");
      }
      return ordinal;
    }
  }

  private final Step step;
  private final TableMasking masking;
  private final Iterator<InternalRow> rows;
  private final TaskBatch task;

  /** For each column of the masking what the engine is shown, null where that is nothing. */
  private final MaskedColumn[] columns;

  private final UnsafeProjection passes;
  private final UnsafeProjection completes;
  private final List<InternalRow> passed = new ArrayList<>();
  private final MaskedRow results;
  private final JoinedRow joined = new JoinedRow();

  /** How many rows of the batch are masked, and how many of these were asked for. */
  private int ready;

  private int next;

  /** The rows of all batches before. */
  private long before;

  MaskedPart(Step step, Iterator<InternalRow> rows) {
    this.step = step;
    this.masking = step.masking();
    this.rows = rows;
    this.task = new TaskBatch(masking.maskingString(), masking.names());
    this.columns = new MaskedColumn[masking.columns().size()];
    this.results = new MaskedRow(columns());
    List<Attribute> passing = step.passed();
    // A copy of the whole row costs less than to take most of it apart.
    boolean whole = 2 * passing.size() > step.given().size();
    passing = whole ? step.given() : passing;
    this.passes =
        whole ? null : UnsafeProjection.create(Plans.seq(passing), Plans.seq(step.given()));
    List<Attribute> all = new ArrayList<>(passing);
    all.addAll(step.results());
    this.completes = UnsafeProjection.create(Plans.seq(step.list()), Plans.seq(all));
  }

  /** Describes the columns that are sent, in their order. */
  private List<MaskedColumn> columns() {
    int[] ordinals = step.ordinals();
    List<MaskedColumn> sent = new ArrayList<>();
    for (int i = 0; i < columns.length; i++) {
      TableColumn column = masking.columns().get(i);
      if (column.sent()) {
        columns[i] = new MaskedColumn(i, ordinals[sent.size()], column);
        sent.add(columns[i]);
      }
    }
    return sent;
  }

  @Override
  public boolean hasNext() {
    if (next < ready) {
      return true;
    }
    leaveBatch();
    try {
      if (!rows.hasNext()) {
        task.end(); // That need not wait for the end of the task.
        return false;
      }
      maskBatch();
      return true;
    } catch (Throwable e) {
      task.end(); // Whoever asks again must not get a row of half a batch.
      throw e;
    }
  }

  @Override
  public InternalRow next() {
    if (!hasNext()) {
      throw new NoSuchElementException();
    }
    InternalRow row = joined.apply(passed.get(next), results.at(next));
    next++;
    return completes.apply(row);
  }

  private void leaveBatch() {
    before += ready;
    ready = 0;
    next = 0;
    passed.clear();
    for (MaskedColumn column : columns) {
      if (column != null) {
        column.clear();
      }
    }
  }

  private void maskBatch() {
    long bytes = 0;
    while (passed.size() < MOST_ROWS && bytes < ENOUGH_BYTES && rows.hasNext()) {
      // Not under the monitor: it may take any time to come.
      InternalRow row = rows.next();
      synchronized (task) {
        bytes += add(task.batch(), row);
      }
      passed.add((passes == null ? row : passes.apply(row)).copy());
    }
    synchronized (task) {
      Batch batch = task.batch();
      ProcessEngine.mask(batch);
      read(batch);
    }
    ready = passed.size();
    step.rows().add(ready);
  }

  /** Adds a row; tells how many bytes its texts have. */
  private int add(Batch batch, InternalRow row) {
    int bytes = 0;
    for (int i = 0; i < columns.length; i++) {
      if (columns[i] == null) {
        batch.addNull(i);
      } else {
        bytes += columns[i].add(batch, row, passed.size());
      }
    }
    batch.endRow();
    return bytes;
  }

  private void read(Batch batch) {
    Integer[][] codes = new Integer[columns.length][];
    for (FieldError error : batch.errors()) {
      report(error.row(), error.column(), error.code(), error.message());
      if (codes[error.column()] == null) {
        codes[error.column()] = new Integer[MOST_ROWS];
      }
      codes[error.column()][error.row()] = error.code();
    }
    for (int i = 0; i < columns.length; i++) {
      int column = i;
      if (columns[i] != null) {
        columns[i].read(batch, codes[i], row -> reportOutOfRange(row, column));
      }
    }
  }

  private void reportOutOfRange(int row, int column) {
    String reason = "the column's type cannot hold the masked value";
    report(row, column, MaskingErrors.OUT_OF_RANGE, reason);
  }

  private void report(int row, int column, int code, String reason) {
    step.errors().add(1);
    masking.report(before + row, column, code, reason);
  }
}
