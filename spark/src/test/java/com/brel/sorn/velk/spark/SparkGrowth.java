package com.brel.sorn.velk.spark;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.Test;

/**
 * How masking grows from one executor of one core to two, by the time on the clock. No test by its
 * name: {@code scripts/bench spark} runs it.
 */
class SparkGrowth {
  private static final long ROWS = Long.getLong("velk.bench.rows", 1_000_000);
  private static final int TURNS = Integer.getInteger("velk.bench.turns", 3);

  private static final String RULES =
      "service=growth key=env:MASK_KEY id=keep name=hash email=hash city=hash";

  private static double seconds(int executors) throws IOException {
    try (SparkSession spark = ClusterIT.cluster(executors, 1, "", 4)) {
      Dataset<Row> rows =
          spark
              .range(0, ROWS, 1, 8)
              .selectExpr(
                  "id",
                  "concat('Name ', id % 70001) as name",
                  "concat('person', id, '@example.com') as email",
                  "concat('City ', id % 999) as city");
      Dataset<Row> masked = VelkMasking.mask(rows, RULES);
      List<Double> all = new ArrayList<>();
      for (int turn = 0; turn <= TURNS; turn++) {
        long start = System.nanoTime();
        masked.write().format("noop").mode("overwrite").save();
        all.add((System.nanoTime() - start) / 1e9);
      }
      // The first turn is for the compiler.
      return SparkBench.median(all.subList(1, all.size()));
    }
  }

  @Test
  void growsWithExecutors() throws IOException {
    Files.createDirectories(Path.of(System.getProperty("velk.cluster"), "home/jars"));
    double one = seconds(1);
    double two = seconds(2);
    System.out.printf(
        "%d rows: %.2f s by one executor, %.2f s by two, %.2f times as fast%n",
        ROWS, one, two, one / two);
  }
}
