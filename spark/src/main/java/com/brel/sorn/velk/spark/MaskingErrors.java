package com.brel.sorn.velk.spark;

import java.io.Serializable;
import java.util.HashMap;
import java.util.Map;
import java.util.TreeMap;
import org.apache.spark.TaskContext;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.util.AccumulatorV2;

/**
 * How many values of a table could not be masked, by column and code. Spark shows it with the
 * stages that masked.
 *
 * <p>However often a task is tried, be it with its stage or beside itself, its rows count once: of
 * the tasks of one part of a stage the last that succeeded counts, and none that failed. What masks
 * the table again counts again: another action on a result that is not kept, or a sort of it, for
 * which Spark looks at it twice.
 */
public final class MaskingErrors
    extends AccumulatorV2<MaskingErrors.Value, Map<String, Map<Integer, Long>>> {
  private static final long serialVersionUID = 1L;

  /** The code of a masked number that its column's type cannot hold. */
  public static final int OUT_OF_RANGE = -106;

  /**
   * A value with an error.
   *
   * @param column its column's name
   * @param code the engine's code, one of {@code FieldError}, or {@link #OUT_OF_RANGE}
   */
  public record Value(String column, int code) implements Serializable {}

  /** A part of a stage, whose tasks are tries of the same. */
  private record Part(int stage, int partition) implements Serializable {}

  @SuppressWarnings("serial") // A HashMap of records that can be serialized.
  private final HashMap<Part, HashMap<Value, Long>> parts = new HashMap<>();

  @SuppressWarnings("serial") // As above.
  private final HashMap<Value, Long> sums = new HashMap<>();

  private MaskingErrors() {}

  /**
   * Makes a count for a table that is to be masked.
   *
   * @param session the session of the table
   * @param name what Spark calls it where it shows it
   * @return a count of nothing so far
   */
  public static MaskingErrors in(SparkSession session, String name) {
    MaskingErrors errors = new MaskingErrors();
    session.sparkContext().register(errors, name);
    return errors;
  }

  /** A task sends them when it ends, not while it counts. */
  @Override
  public boolean excludeFromHeartbeat() {
    return true;
  }

  @Override
  public synchronized boolean isZero() {
    return parts.isEmpty();
  }

  @Override
  public MaskingErrors copy() {
    MaskingErrors copy = new MaskingErrors();
    copy.merge(this);
    return copy;
  }

  @Override
  public synchronized void reset() {
    parts.clear();
    sums.clear();
  }

  /** Counts a value of the running task. */
  @Override
  public synchronized void add(Value value) {
    TaskContext task = TaskContext.get();
    Part part = new Part(task.stageId(), task.partitionId());
    parts.computeIfAbsent(part, key -> new HashMap<>()).merge(value, 1L, Long::sum);
    sums.merge(value, 1L, Long::sum);
  }

  /** Takes another's counts, in the place of those of the same parts. */
  @Override
  public synchronized void merge(
      AccumulatorV2<Value, Map<String, Map<Integer, Long>>> accumulator) {
    MaskingErrors other = (MaskingErrors) accumulator;
    for (Map.Entry<Part, HashMap<Value, Long>> entry : other.parts.entrySet()) {
      Map<Value, Long> former = parts.put(entry.getKey(), new HashMap<>(entry.getValue()));
      if (former != null) {
        former.forEach((value, count) -> sums.merge(value, -count, Long::sum));
      }
      entry.getValue().forEach((value, count) -> sums.merge(value, count, Long::sum));
    }
  }

  /**
   * Tells what was counted.
   *
   * @return for each column with errors, by its name, how many values have each code
   */
  @Override
  public synchronized Map<String, Map<Integer, Long>> value() {
    Map<String, Map<Integer, Long>> all = new TreeMap<>();
    sums.forEach(
        (value, count) -> {
          if (count > 0) {
            all.computeIfAbsent(value.column(), key -> new TreeMap<>()).put(value.code(), count);
          }
        });
    return all;
  }
}
