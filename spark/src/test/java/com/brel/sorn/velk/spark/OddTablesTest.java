package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static com.brel.sorn.velk.spark.LocalSpark.sorted;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;
import java.util.stream.IntStream;
import org.apache.spark.api.java.function.FilterFunction;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.functions;
import org.apache.spark.sql.types.StructType;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

/** Tables that are wide, large, or named as nobody would, and jobs that end before their time. */
class OddTablesTest {
  private final SparkSession spark = LocalSpark.session();

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  @Test
  void aThousandColumns() {
    StructType schema = new StructType();
    for (int column = 0; column < 1000; column++) {
      schema = schema.add("c" + column, "string");
    }
    Row[] given = new Row[1300];
    for (int i = 0; i < given.length; i++) {
      String row = "-" + i;
      given[i] = RowFactory.create(IntStream.range(0, 1000).mapToObj(c -> "v" + c + row).toArray());
    }
    Dataset<Row> rows = LocalSpark.table(schema, given).coalesce(1);
    String rules = START + "c500=keep c1=classes *=hash";
    List<Row> masked = VelkMasking.mask(rows, rules).collectAsList();
    Dataset<Row> few = rows.selectExpr("velk_mask(c1, 'classes')", "velk_mask(c999, 'hash')");
    List<Row> expected = few.collectAsList();
    for (int i = 0; i < given.length; i++) {
      Row row = masked.get(i);
      assertEquals(given[i].get(500), row.get(500));
      assertEquals(expected.get(i), RowFactory.create(row.get(1), row.get(999)));
    }
    assertEquals(1000, IntStream.range(0, 1000).mapToObj(masked.get(0)::get).distinct().count());
  }

  /** Longer than a batch has bytes, kept and masked, before and behind short ones. */
  @Test
  void valuesOfMegabytes() {
    Dataset<Row> rows =
        spark
            .range(0, 30, 1, 1)
            .selectExpr(
                "id",
                "if(id % 7 = 3, repeat(concat('ä', id), 2000000), concat('s', id)) as a",
                "if(id % 7 = 5, repeat(concat('b', id), 2500000), concat('t', id)) as b",
                "'x' as c");
    String rules = START + "id=keep a=keep b=partial(keep_first=2) c=hash";
    List<Row> given = rows.collectAsList();
    List<Row> masked = VelkMasking.mask(rows, rules).collectAsList();
    assertEquals(30, masked.size());
    for (int i = 0; i < 30; i++) {
      assertEquals(given.get(i).get(1), masked.get(i).get(1), "row " + i);
      String b = given.get(i).getString(2);
      String hidden = masked.get(i).getString(2);
      String shown = b.length() > 9 ? b.substring(0, 2) : "";
      String stars = "*".repeat(b.length() - shown.length());
      assertTrue(hidden.equals(shown + stars), "row " + i);
    }
  }

  @Test
  void namesThatHaveToBeQuoted() {
    Dataset<Row> rows =
        spark.sql(
            "select 'Ada' as `a.b`, 'Löw' as `tick``s`, 'x' as `two words`, 'y' as `Größe`,"
                + " 'z' as `\"quoted\"`");
    String rules =
        START
            + "\"a.b\"=hash \"tick`s\"=hash \"two words\"=keep \"Größe\"=classes"
            + " \"\\\"quoted\\\"\"=keep";
    Row row = VelkMasking.mask(rows, rules).first();
    Dataset<Row> single =
        spark.sql(
            "select velk_mask('Ada', 'hash'), velk_mask('Löw', 'hash'), 'x', "
                + "velk_mask('y', 'classes'), 'z'");
    assertEquals(single.first(), row);
    assertEquals(row.get(0), VelkMasking.mask(rows, rules).select("`a.b`").first().get(0));
    Dataset<Row> function =
        rows.select(
            functions.call_function(
                "velk_mask", functions.struct(functions.col("*")), functions.lit(rules)));
    assertEquals(row, function.first().getStruct(0));
  }

  @Test
  void columnsOfOneNameHaveTheRulesOfTheirPlaces() {
    Dataset<Row> rows = spark.sql("select 'Ada' as n, 'Ada' as n, 7 as n");
    Row row = VelkMasking.mask(rows, START + "$1=hash $2=keep $3=keep").first();
    assertEquals(spark.sql("select velk_mask('Ada', 'hash')").first().get(0), row.get(0));
    assertEquals("Ada", row.get(1));
    assertEquals(7, row.get(2));
  }

  /** The same column, so that the plan has one of it. */
  @Test
  void aColumnThatIsThereSeveralTimes() {
    Dataset<Row> rows = spark.sql("select 'Ada' as n, 'Löw' as l from range(3)");
    Dataset<Row> several = rows.select("n", "l", "n", "n", "l");
    Row row = VelkMasking.mask(several, START + "$1=keep $2=keep $3=hash $4=keep $5=hash").first();
    Row hashes = spark.sql("select velk_mask('Ada', 'hash'), velk_mask('Löw', 'hash')").first();
    assertEquals(RowFactory.create("Ada", "Löw", hashes.get(0), "Ada", hashes.get(1)), row);
  }

  @Test
  void aShuffleBehindItMovesMaskedRows() {
    Dataset<Row> rows = spark.range(0, 3000, 1, 3).selectExpr("id", "concat('p', id) as name");
    MaskingErrors errors = MaskingErrors.in(spark, "test");
    Dataset<Row> masked = VelkMasking.mask(rows, START + "id=keep name=hash", errors);
    List<String> expected = sorted(masked);
    assertEquals(expected, sorted(masked.repartition(5)));
    assertEquals(expected, sorted(masked.repartitionByRange(3, masked.col("name"))));
    assertEquals(expected, sorted(masked.dropDuplicates("name")));
    assertEquals(expected, sorted(masked.localCheckpoint()));
    assertEquals(3000L, masked.groupBy("name").count().where("count = 1").count());
  }

  @Test
  void aJobThatIsCancelledLeavesNothingOpen() throws Exception {
    Dataset<Row> rows = spark.range(0, 4_000_000, 1, 2).selectExpr("concat('p', id) as name");
    Dataset<Row> masked = VelkMasking.mask(rows, START + "name=hash");
    FilterFunction<Row> slow =
        row -> {
          Thread.sleep(1);
          return false;
        };
    CompletableFuture<Exception> failure =
        CompletableFuture.supplyAsync(
            () -> {
              spark.sparkContext().setJobGroup("masks", "to be cancelled", true);
              return assertThrows(Exception.class, () -> masked.filter(slow).count());
            });
    for (int i = 0; i < 300 && TaskBatch.count() < 2; i++) {
      Thread.sleep(100);
    }
    assertEquals(2, TaskBatch.count(), "two tasks mask");
    spark.sparkContext().cancelJobGroup("masks");
    assertTrue(failure.get(1, TimeUnit.MINUTES).toString().contains("cancelled"));
    LocalSpark.awaitNothingOpen();
    assertEquals(
        1, VelkMasking.mask(spark.sql("select 'Ada' as name"), START + "name=hash").count());
  }
}
