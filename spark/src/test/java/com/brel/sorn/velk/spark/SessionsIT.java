package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

/** Two sessions in one executor, each of which brings the jars, as those of Spark Connect do. */
class SessionsIT {
  private static final String RULES = "service=people key=env:MASK_KEY id=keep name=hash";

  private SparkSession spark;

  @AfterEach
  void stop() {
    spark.stop();
  }

  private static List<Path> jars() throws IOException {
    return List.of(
        Path.of("../java/target/velk-0.1.0.jar").toRealPath(),
        Path.of("target/velk-spark-0.1.0.jar").toRealPath());
  }

  /** An executor whose class path is Spark, and what else is said. */
  private void start(String extraClassPath) {
    String sparkAlone =
        Arrays.stream(System.getenv("SPARK_DIST_CLASSPATH").split(File.pathSeparator))
            .filter(
                entry ->
                    entry.endsWith(".jar")
                        && !Path.of(entry).getFileName().toString().startsWith("velk"))
            .collect(Collectors.joining(File.pathSeparator));
    spark =
        ClusterIT.builder(1, 1, "", 1)
            .config("spark.executorEnv.SPARK_DIST_CLASSPATH", sparkAlone)
            .config("spark.executor.extraClassPath", extraClassPath)
            .getOrCreate();
  }

  private SparkSession sessionWithJars() throws IOException {
    SparkSession session = spark.newSession();
    for (Path jar : jars()) {
      session.addArtifact(jar.toUri());
    }
    return session;
  }

  private static List<String> masked(SparkSession session) {
    Dataset<Row> rows = session.range(0, 5000, 1, 2).selectExpr("id", "concat('p', id) as name");
    return LocalSpark.sorted(VelkMasking.mask(rows, RULES));
  }

  @Test
  void theSecondIsRefusedInWords() throws IOException {
    start("");
    assertThrows(Exception.class, () -> masked(spark), "the executor has no jars of its own");
    SparkSession first = sessionWithJars();
    List<String> rows = masked(first);
    assertEquals(5000, rows.size());
    SparkSession second = sessionWithJars();
    String refusal = assertThrows(Exception.class, () -> masked(second)).toString();
    assertTrue(refusal.contains("another class loader of this virtual machine has"), refusal);
    assertTrue(refusal.contains("name the jars of VELK in spark.executor.extraClassPath"), refusal);
    assertEquals(rows, masked(first), "the first one masks on");
  }

  @Test
  void bothMaskIfTheExecutorHasTheJars() throws IOException {
    start(jars().stream().map(Path::toString).collect(Collectors.joining(File.pathSeparator)));
    List<String> first = masked(sessionWithJars());
    assertEquals(5000, first.size());
    assertEquals(first, masked(sessionWithJars()));
    assertEquals(first, masked(spark));
  }
}
