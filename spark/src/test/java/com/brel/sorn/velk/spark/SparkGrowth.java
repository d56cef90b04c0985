package com.brel.sorn.velk.spark;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.Test;

/**
 * How masking grows from one executor of one core to two: the time on the clock, and that of the
 * processors for the tasks. No test by its name: {@code scripts/bench spark} runs it.
 */
class SparkGrowth {
  private static final long ROWS = Long.getLong("velk.bench.rows", 1_000_000);
  private static final int TURNS = Integer.getInteger("velk.bench.turns", 5);

  /** Turns before, which are for the compiler. */
  private static final int FIRST_TURNS = 2;

  /** Seconds, each the median. */
  private record Times(double clock, double tasks) {}

  /** The rows are made in the tasks: one executor of these would not hold all. */
  private static Times measure(int executors) throws Exception {
    try (SparkSession spark = ClusterIT.cluster(executors, 1, "", 4)) {
      AtomicLong nanos = SparkBench.taskTime(spark);
      Dataset<Row> rows = SparkBench.table(spark.range(0, ROWS, 1, 8));
      Dataset<Row> masked = VelkMasking.mask(rows, LocalSpark.START + SparkBench.B);
      List<Double> clock = new ArrayList<>();
      List<Double> tasks = new ArrayList<>();
      for (int turn = 0; turn < FIRST_TURNS + TURNS; turn++) {
        nanos.set(0);
        long start = System.nanoTime();
        masked.write().format("noop").mode("overwrite").save();
        clock.add((System.nanoTime() - start) / 1e9);
        spark.sparkContext().listenerBus().waitUntilEmpty();
        tasks.add(nanos.get() / 1e9);
      }
      return new Times(last(clock), last(tasks));
    }
  }

  private static double last(List<Double> turns) {
    return SparkBench.median(turns.subList(FIRST_TURNS, turns.size()));
  }

  @Test
  void growsWithExecutors() throws Exception {
    Times one = measure(1);
    Times two = measure(2);
    String table = line(1, one, one) + line(2, two, one);
    System.out.print(table);
    SparkBench.write(" executors .*", table);
  }

  private static String line(int executors, Times times, Times one) {
    return "| %9d | %20.2f | %14.2f | %13.2f |%n"
        .formatted(executors, times.clock, times.tasks, one.clock / times.clock);
  }
}
