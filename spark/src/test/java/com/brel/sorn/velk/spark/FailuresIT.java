package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.spark.api.java.function.MapPartitionsFunction;
import org.apache.spark.scheduler.SparkListener;
import org.apache.spark.scheduler.SparkListenerStageSubmitted;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** What goes wrong in a cluster: results that are lost, and no room for libraries. */
class FailuresIT {
  /** Of 6,000 rows every tenth is an error. */
  private static final String RULES = "service=t key=env:MASK_KEY id=keep card=card(keep_first=6)";

  private static final Map<String, Map<Integer, Long>> ERRORS = Map.of("card", Map.of(7509, 600L));

  private final AtomicInteger repeatedStages = new AtomicInteger();
  private SparkSession spark;

  @AfterEach
  void stop() {
    spark.stop();
  }

  private void start(SparkSession.Builder builder) {
    spark = builder.getOrCreate();
    spark
        .sparkContext()
        .addSparkListener(
            new SparkListener() {
              @Override
              public void onStageSubmitted(SparkListenerStageSubmitted submitted) {
                repeatedStages.addAndGet(submitted.stageInfo().attemptNumber() > 0 ? 1 : 0);
              }
            });
  }

  private Dataset<Row> rows() {
    return spark
        .range(0, 6000, 1, 4)
        .selectExpr("id", "if(id % 10 = 3, 'none', '4012 8888 8888 1881') as card");
  }

  private List<String> expected() {
    return LocalSpark.sorted(VelkMasking.mask(rows(), RULES));
  }

  @Test
  void aStageWhoseResultsAreLostCountsOnce() throws IOException {
    start(ClusterIT.builder(2, 1, "", 4));
    List<String> expected = expected();
    MaskingErrors errors = MaskingErrors.in(spark, "errors");
    Dataset<Row> masked = VelkMasking.mask(rows(), RULES, errors).repartition(3);
    Path killed = ClusterIT.FOLDER.resolve("killed behind a shuffle");
    Files.deleteIfExists(killed);
    String mark = killed.toString();
    MapPartitionsFunction<Row, Row> kills = part -> new ClusterIT.KilledOnce(part, mark);
    assertEquals(
        expected, LocalSpark.sorted(masked.mapPartitions(kills, Encoders.row(masked.schema()))));
    assertTrue(Files.exists(killed), "none was killed");
    assertTrue(repeatedStages.get() > 0, "no stage was repeated");
    assertEquals(ERRORS, errors.value());
  }

  @ParameterizedTest
  @ValueSource(strings = {"/proc/1", "/proc/none/at/all"})
  void anExecutorWithoutRoomForTheLibrariesSaysSo(String folder) {
    start(ClusterIT.builder(1, 1, " -Djava.io.tmpdir=" + folder, 1));
    String failure = assertThrows(Exception.class, this::expected).toString();
    assertTrue(failure.contains(folder), failure);
    assertFalse(failure.contains("UnsatisfiedLinkError"), failure);
  }

  /**
   * An engine that says of a row that it is in error, and of no value: none of it can be trusted.
   */
  @Test
  void aRowThatTheEngineRefusesKeepsNothing() throws Exception {
    Path engine = ClusterIT.engineOfTurns("refuses", "-DREFUSES_ROWS");
    start(ClusterIT.builder(1, 1, " -Dvelk.library.dir=" + engine, 1));
    String rules = RULES + " name=keep";
    Dataset<Row> rows = rows().selectExpr("*", "concat('name ', id) as name").coalesce(1);
    MaskingErrors errors = MaskingErrors.in(spark, "errors");
    Dataset<Row> masked = VelkMasking.mask(rows, rules, errors);
    MaskingErrors shownErrors = MaskingErrors.in(spark, "errors");
    Dataset<Row> shown = VelkMasking.mask(rows, rules + "\n# on_null", shownErrors);
    assertEquals(LocalSpark.sorted(shown), LocalSpark.sorted(masked));
    assertEquals(shownErrors.value(), errors.value());
    assertTrue(masked.where("id = 0").first().isNullAt(2), "what is kept of it, too");
    assertEquals("name 1", masked.where("id = 1").first().get(2));
  }
}
