package com.brel.sorn.velk.spark;

import java.io.Serializable;
import java.util.HashMap;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.util.AccumulatorV2;

/**
 * How many values of a table could not be masked, by column and code. Spark shows it with the
 * stages that masked.
 *
 * <p>However often Spark masks a part of the table for one action, its rows count once, and none of
 * a task that failed: where a task is tried beside itself, where what it wrote is lost, where a
 * sort looks at the table beforehand. Another action on a result that is not kept counts again.
 */
public final class MaskingErrors
    extends AccumulatorV2<MaskingErrors.Value, Map<String, Map<Integer, Long>>> {
  private static final long serialVersionUID = 1L;

  /** The code of a masked number that its column's type cannot hold. */
  public static final int OUT_OF_RANGE = -106;

  /**
   * A value with an error.
   *
   * @param part where it was found
   * @param column its column's name
   * @param code the engine's code, one of {@code FieldError}, or {@link #OUT_OF_RANGE}
   */
  public record Value(Part part, String column, int code) implements Serializable {}

  /**
   * A part of a table that is masked.
   *
   * @param run tells one action's masking from others'
   * @param index which part it is
   */
  public record Part(long run, int index) implements Serializable {}

  private record Kind(String column, int code) implements Serializable {}

  private static final AtomicLong RUNS = new AtomicLong();

  @SuppressWarnings("serial") // A HashMap of records that can be serialized.
  private final HashMap<Part, HashMap<Kind, Long>> parts = new HashMap<>();

  @SuppressWarnings("serial") // As above.
  private final HashMap<Kind, Long> sums = new HashMap<>();

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

  /** What a driver calls the masking that it begins; stages that are repeated are of the same. */
  static long newRun() {
    return RUNS.incrementAndGet();
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

  @Override
  public synchronized void add(Value value) {
    Kind kind = new Kind(value.column(), value.code());
    parts.computeIfAbsent(value.part(), key -> new HashMap<>()).merge(kind, 1L, Long::sum);
    sums.merge(kind, 1L, Long::sum);
  }

  /** Takes another's counts; of a part that both have, those of whoever saw more of it. */
  @Override
  public synchronized void merge(
      AccumulatorV2<Value, Map<String, Map<Integer, Long>>> accumulator) {
    MaskingErrors other = (MaskingErrors) accumulator;
    other.parts.forEach(
        (part, counts) -> {
          Map<Kind, Long> former = parts.getOrDefault(part, new HashMap<>());
          if (sum(counts) > sum(former)) {
            former.forEach((kind, count) -> sums.merge(kind, -count, Long::sum));
            counts.forEach((kind, count) -> sums.merge(kind, count, Long::sum));
            parts.put(part, new HashMap<>(counts));
          }
        });
  }

  private static long sum(Map<Kind, Long> counts) {
    return counts.values().stream().mapToLong(Long::longValue).sum();
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
        (kind, count) -> {
          if (count > 0) {
            all.computeIfAbsent(kind.column(), key -> new TreeMap<>()).put(kind.code(), count);
          }
        });
    return all;
  }
}
