package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.Objects;
import java.util.stream.IntStream;
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
  static final int MOST_ROWS = 1000;

  /** Of large values a batch has fewer rows. */
  static final int MOST_BYTES = 4 << 20;

  /**
   * The step of a plan as it is sent to tasks.
   *
   * @param inputs the columns that the engine is shown
   * @param results what becomes of each of these
   * @param list what comes out, by the given columns and the results
   * @param given the columns of the rows that come in
   * @param run tells one action's masking from others'
   */
  record Step(
      TableMasking masking,
      List<Attribute> inputs,
      List<Attribute> results,
      List<Expression> list,
      List<Attribute> given,
      long run,
      SQLMetric rows,
      SQLMetric errors)
      implements PartitionEvaluatorFactory<InternalRow, InternalRow> {
    @Override
    public PartitionEvaluator<InternalRow, InternalRow> createEvaluator() {
      return this::eval;
    }

    private Iterator<InternalRow> eval(int part, Seq<Iterator<InternalRow>> rows) {
      return new MaskedPart(this, new MaskingErrors.Part(run, part), rows.apply(0));
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
  private final MaskingErrors.Part part;
  private final TableMasking masking;
  private final Iterator<InternalRow> rows;
  private final HeldRows held;

  /** By column of the masking, null where there is no result. */
  private final MaskedColumn[] columns;

  /** Those of texts that are kept. */
  private final MaskedColumn[] checked;

  /** What the engine is shown of rows whose kept texts are texts, and what of others. */
  private final ShownColumns most;

  private final ShownColumns all;
  private final MaskedRow results;
  private final JoinedRow joined;

  /**
   * Writes rows that come out; kept texts are read as they were given, and only if all are texts.
   */
  private final UnsafeProjection straight;

  /** Writes any rows; null before there are such. */
  private UnsafeProjection any;

  /** Which of both is for the batch. */
  private UnsafeProjection writes;

  /** How many rows of the batch are masked, and how many of these were asked for. */
  private int ready;

  private int next;

  /** The rows of all batches before. */
  private long before;

  MaskedPart(Step step, MaskingErrors.Part part, Iterator<InternalRow> rows) {
    this.step = step;
    this.part = part;
    this.masking = step.masking();
    this.rows = rows;
    this.held = new HeldRows(step.given());
    this.columns = columns(step, held);
    List<MaskedColumn> sent = Arrays.stream(columns).filter(Objects::nonNull).toList();
    this.checked = sent.stream().filter(MaskedColumn::isChecked).toArray(MaskedColumn[]::new);
    List<Integer> indexes = IntStream.range(0, columns.length).boxed().toList();
    List<Integer> shown = indexes.stream().filter(i -> masking.columns().get(i).shown()).toList();
    this.all = new ShownColumns(masking, indexes, columns);
    this.most = shown.isEmpty() ? all : new ShownColumns(masking, shown, columns);
    this.results = new MaskedRow(sent);
    this.joined = new JoinedRow(held.row(), results);
    List<Attribute> swapped = joinedColumns();
    for (int i = 0; i < sent.size(); i++) {
      if (sent.get(i).isChecked()) {
        Collections.swap(swapped, sent.get(i).ordinal(), step.given().size() + i);
      }
    }
    this.straight = UnsafeProjection.create(Plans.seq(step.list()), Plans.seq(swapped));
  }

  private List<Attribute> joinedColumns() {
    List<Attribute> all = new ArrayList<>(step.given());
    all.addAll(step.results());
    return all;
  }

  private UnsafeProjection any() {
    if (any == null) {
      any = UnsafeProjection.create(Plans.seq(step.list()), Plans.seq(joinedColumns()));
    }
    return any;
  }

  private static MaskedColumn[] columns(Step step, HeldRows held) {
    List<TableColumn> described = step.masking().columns();
    MaskedColumn[] columns = new MaskedColumn[described.size()];
    int[] ordinals = step.ordinals();
    int sent = 0;
    for (int i = 0; i < columns.length; i++) {
      if (described.get(i).sent()) {
        columns[i] = new MaskedColumn(ordinals[sent++], described.get(i), held);
      }
    }
    return columns;
  }

  @Override
  public boolean hasNext() {
    if (next < ready) {
      return true;
    }
    leaveBatch();
    try {
      if (!rows.hasNext()) {
        end(); // That need not wait for the end of the task.
        return false;
      }
      maskBatch();
      return true;
    } catch (Throwable e) {
      end(); // Whoever asks again must not get a row of half a batch.
      throw e;
    }
  }

  @Override
  public InternalRow next() {
    if (!hasNext()) {
      throw new NoSuchElementException();
    }
    held.at(next);
    results.at(next);
    next++;
    return writes.apply(joined);
  }

  private void end() {
    try {
      most.end();
    } finally {
      all.end();
    }
  }

  private void leaveBatch() {
    before += ready;
    ready = 0;
    next = 0;
    held.clear();
    for (MaskedColumn column : columns) {
      if (column != null) {
        column.clear();
      }
    }
  }

  private void maskBatch() {
    boolean texts = true;
    while (held.count() < MOST_ROWS && held.size() < MOST_BYTES && rows.hasNext()) {
      held.add(rows.next());
      texts = texts && keptAreTexts();
    }
    boolean stay = texts && most != all && most.mask(held, this::report);
    if (!stay) {
      all.mask(held, this::report);
    }
    writes = stay ? straight : any();
    ready = held.count();
    step.rows().add(ready);
  }

  /** Whether the texts that are kept are texts in the latest row. */
  private boolean keptAreTexts() {
    held.at(held.count() - 1);
    for (MaskedColumn column : checked) {
      if (!column.isText()) {
        return false;
      }
    }
    return true;
  }

  private void report(int row, int column, int code, String reason) {
    step.errors().add(1);
    masking.report(part, before + row, column, code, reason);
  }
}
