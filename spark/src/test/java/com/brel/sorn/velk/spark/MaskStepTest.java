package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static com.brel.sorn.velk.spark.LocalSpark.sorted;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The step in plans that masks: where it stands, and what the plans around it must not do. */
class MaskStepTest {
  private static final Pattern STEP = Pattern.compile("\\bVelkMask \\(");

  private final SparkSession spark = LocalSpark.session();

  /** Cached, so that columns are columns, not what they were computed from. */
  @BeforeEach
  void people() {
    spark
        .range(0, 700, 1, 3)
        .selectExpr("id", "concat('Name ', id) as name", "concat('City ', id % 7) as city")
        .cache()
        .createOrReplaceTempView("p");
  }

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  private static long steps(Dataset<Row> rows) {
    String plan = rows.queryExecution().executedPlan().toString();
    return STEP.matcher(plan).results().count();
  }

  /** The steps give what calls value by value give. */
  private void requireBatched(int steps, String columns) {
    Dataset<Row> batched = spark.sql("select " + columns + " from p");
    assertEquals(steps, steps(batched), () -> "" + batched.queryExecution().executedPlan());
    assertEquals(sorted(oneByOne(columns)), sorted(batched), columns);
  }

  /** Within a function of its own kind, where no batch makes the calls. */
  private Dataset<Row> oneByOne(String columns) {
    Dataset<Row> rows =
        spark.sql("select inline(transform(array(1), one -> struct(" + columns + "))) from p");
    assertEquals(0, steps(rows), () -> "" + rows.queryExecution().executedPlan());
    return rows;
  }

  @Test
  void allCallsOfAProjectionAreMadeInOneStep() {
    requireBatched(1, "id, velk_mask(name, 'hash') h, velk_mask(city, 'classes') c, name");
    requireBatched(1, "velk_mask(name, 'hash') a, velk_mask(name, 'hash') b");
    requireBatched(1, "velk_try_mask(city, 'card(keep_first=6)') t, velk_mask(id, 'keep') i");
    requireBatched(1, "velk_try_mask(name, 'hash').value v");
    requireBatched(1, "velk_mask(upper(name), 'hash') u, length(name) l, rand() < 2 r");
    requireBatched(1, "concat(velk_mask(name, 'hash'), '-', velk_mask(city, 'hash')) c");
    requireBatched(1, "coalesce(velk_mask(name, 'hash'), velk_mask(city, 'hash')) c");
    requireBatched(1, "velk_mask('a constant', 'hash') c, id");
  }

  @Test
  void callsWithinCallsAreStepsOfTheirOwn() {
    requireBatched(2, "velk_mask(velk_mask(name, 'hash'), 'classes') c");
    requireBatched(2, "velk_mask(upper(velk_mask(name, 'hash')), 'classes') c, city");
    Dataset<Row> chain =
        spark
            .table("p")
            .withColumn("name", org.apache.spark.sql.functions.expr("velk_mask(name, 'hash')"))
            .select("id", "name")
            .withColumn("name", org.apache.spark.sql.functions.expr("velk_mask(name, 'classes')"));
    assertEquals(
        sorted(oneByOne("id, velk_mask(velk_mask(name, 'hash'), 'classes') c")), sorted(chain));
  }

  @Test
  void aBranchThatIsNotTakenIsNotMade() {
    spark.conf().set(VelkExtensions.KEY, "env:VELK_NO_SUCH_KEY");
    try {
      for (String column :
          List.of(
              "case when id < 0 then velk_mask(name, 'hash') else 'none' end",
              "if(id >= 0, 'none', velk_mask(name, 'hash'))",
              "coalesce(name, velk_mask(city, 'hash'))",
              "id < 0 and velk_mask(name, 'hash') = 'x'",
              "id >= 0 or velk_mask(name, 'hash') = 'x'",
              "transform(filter(array(name), n -> id < 0), n -> velk_mask(n, 'hash'))",
              "transform(filter(array(id), n -> n < 0), n -> velk_mask(name, 'hash'))")) {
        Dataset<Row> rows = spark.sql("select " + column + " c from p");
        assertEquals(0, steps(rows), column);
        assertEquals(700, rows.collectAsList().size(), column);
      }
    } finally {
      spark.conf().set(VelkExtensions.KEY, "env:MASK_KEY");
    }
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "case when id < 0 then velk_mask(string(int(name)), 'hash') else 'none' end",
        "try_add(id, int(length(velk_mask(name, 'hash'))))",
        "concat(if(id < 0, '', cast(null as string)), velk_mask(name, 'hash'))",
        "try_divide(id, length(velk_mask(string(id - id), 'hash')) - 12)"
      })
  void whatACallIsGivenFailsOnlyWhereItIsAsked(String column) {
    assertEquals(700, spark.sql("select " + column + " c from p").collectAsList().size());
  }

  @Test
  void callsStandAnywhere() {
    String hash = "velk_mask(city, 'hash')";
    Row all = spark.sql("select count(distinct " + hash + ") from p").first();
    assertEquals(7L, all.getLong(0));
    assertEquals(7, spark.sql("select " + hash + ", count(*) from p group by 1").count());
    assertEquals(7, spark.sql("select max(" + hash + ") from p group by city").count());
    String first = spark.sql("select min(" + hash + ") from p").first().getString(0);
    assertEquals(100, spark.sql("select * from p where " + hash + " = '" + first + "'").count());
    assertEquals(
        100L,
        spark
            .sql(
                "select count(*) over (partition by "
                    + hash
                    + ") n from p order by "
                    + hash
                    + " limit 1")
            .first()
            .getLong(0));
    assertEquals(
        700, spark.sql("select explode(array(" + hash + ")) from p").collectAsList().size());
    assertEquals(
        70_000,
        spark
            .sql(
                "select 1 from p a join p b on velk_mask(a.city, 'hash') = "
                    + "velk_mask(b.city, 'hash')")
            .count());
  }

  @ParameterizedTest
  @ValueSource(strings = {"value", "value1", "$1", "'value'"})
  void aRuleCannotGoByItsOwnColumn(String column) {
    String call = "velk_mask(date'2020-01-01', \"dateshift(days=9, by=" + column + ")\")";
    assertThrows(Exception.class, () -> spark.sql("select " + call + " d from p"));
  }

  @Test
  void thePlanShowsRulesAndNoKey() {
    Dataset<Row> rows = spark.table("p");
    String rules = START + "id=keep name=hash(length=12) city=classes";
    for (Dataset<Row> masked :
        List.of(
            VelkMasking.mask(rows, rules),
            rows.selectExpr("velk_mask(name, 'hash(length=12)')", "velk_mask(city, 'classes')"))) {
      String plan = masked.queryExecution().executedPlan().toString();
      assertTrue(plan.contains("=hash(length=12), "), plan);
      assertTrue(plan.contains("=classes"), plan);
      assertFalse(masked.queryExecution().toString().contains(System.getenv("MASK_KEY")), plan);
    }
  }

  @Test
  void allOfATableIsMaskedAndCountedWhateverIsAskedOfIt() {
    MaskingErrors errors = MaskingErrors.in(spark, "test");
    String rules = START + "id=keep name=card(keep_first=6) city=hash";
    Dataset<Row> masked = VelkMasking.mask(spark.table("p"), rules, errors);
    assertEquals(700, masked.count());
    assertEquals(Map.of("name", Map.of(7509, 700L)), errors.value());
    assertEquals(700, masked.select("city").collectAsList().size());
    assertEquals(1400L, MaskingErrorsTest.sum(errors.value().get("name")));
    String stop = "on_error=stop " + rules;
    Dataset<Row> stops = VelkMasking.mask(spark.table("p"), stop).select("id");
    assertThrows(Exception.class, stops::collectAsList);
  }

  @Test
  void whatCannotBeMaskedIsAMetricOfTheStep() {
    Dataset<Row> rows = spark.sql("select velk_mask(name, 'card(keep_first=6)') c from p");
    rows.collectAsList();
    assertEquals(700, errors(rows));
  }

  /** The metric of a table's steps. */
  static long errors(Dataset<Row> rows) {
    long[] found = new long[1];
    rows.queryExecution()
        .executedPlan()
        .foreach(
            step -> {
              if (step instanceof MaskExec) {
                found[0] += step.longMetric("velkErrors").value();
              }
              return null;
            });
    return found[0];
  }

  @Test
  void aTableIsJoinedAndUnitedWithItself() {
    Dataset<Row> masked =
        VelkMasking.mask(spark.table("p"), START + "id=keep name=hash city=classes");
    assertEquals(700, masked.as("a").join(masked.as("b"), "id").count());
    Dataset<Row> pairs =
        masked.as("a").join(masked.as("b"), org.apache.spark.sql.functions.expr("a.id = b.id"));
    assertEquals(700, pairs.where("a.name = b.name and a.city = b.city").count());
    assertEquals(1400, masked.union(masked).collectAsList().size());
    assertEquals(700, masked.union(masked).distinct().count());
  }

  @Test
  void twoMaskedTablesAreUnited() {
    MaskingErrors first = MaskingErrors.in(spark, "first");
    MaskingErrors second = MaskingErrors.in(spark, "second");
    String rules = START + "id=keep name=%s city=keep";
    Dataset<Row> both =
        VelkMasking.mask(spark.table("p"), rules.formatted("card(keep_first=6)"), first)
            .union(VelkMasking.mask(spark.table("p"), rules.formatted("hash"), second));
    assertEquals(700, both.where("name is null").count());
    assertEquals(700L, MaskingErrorsTest.sum(first.value().get("name")));
    assertEquals(Map.of(), second.value());
  }

  @Test
  void aMaskedTableIsMaskedAgain() {
    Dataset<Row> once = VelkMasking.mask(spark.table("p"), START + "id=keep name=hash city=keep");
    Dataset<Row> twice = VelkMasking.mask(once, START + "id=keep name=classes city=keep");
    Dataset<Row> expected =
        spark.sql("select id, velk_mask(velk_mask(name, 'hash'), 'classes') name, city from p");
    assertEquals(sorted(expected), sorted(twice));
  }

  @Test
  void columnsOfOneNameButForItsCaseAreTwo() {
    spark.conf().set("spark.sql.caseSensitive", true);
    try {
      Dataset<Row> rows = spark.sql("select name, upper(name) as NAME from p");
      Row row = VelkMasking.mask(rows, START + "name=keep NAME=hash(length=8)").first();
      assertEquals("Name 0", row.getString(0));
      assertEquals(8, row.getString(1).length());
    } finally {
      spark.conf().unset("spark.sql.caseSensitive");
    }
  }

  @Test
  void emptyPartsAndTablesGiveNothing() {
    Dataset<Row> none = spark.table("p").where("id < 0");
    String rules = START + "id=keep name=hash city=keep";
    assertEquals(0, VelkMasking.mask(none, rules).count());
    assertEquals(0, none.selectExpr("velk_mask(name, 'hash')").collectAsList().size());
    Dataset<Row> sparse = spark.table("p").where("id = 5").repartition(4);
    assertEquals(1, VelkMasking.mask(sparse, rules).collectAsList().size());
    assertEquals(700, VelkMasking.mask(spark.table("p"), rules).select().count());
  }

  @Test
  void filtersAndSortsBehindATableSeeMaskedValues() {
    Dataset<Row> masked = VelkMasking.mask(spark.table("p"), START + "id=keep name=hash city=hash");
    assertEquals(0, masked.where("name like 'Name%' or city = 'City 1'").count());
    assertEquals(1, masked.where("id = 17").count());
    assertEquals(5, masked.orderBy("name").limit(5).collectAsList().size());
    assertEquals(7, masked.groupBy("city").count().count());
    assertEquals(3, masked.sample(1.0).repartition(3).rdd().getNumPartitions());
  }

  @Test
  void aTableThatIsCachedIsMaskedOnce() {
    MaskingErrors errors = MaskingErrors.in(spark, "test");
    String rules = START + "id=keep name=card(keep_first=6) city=hash";
    Dataset<Row> masked = VelkMasking.mask(spark.table("p"), rules, errors).cache();
    assertEquals(700, masked.count());
    assertEquals(7, masked.select("city").distinct().count());
    assertEquals(700L, MaskingErrorsTest.sum(errors.value().get("name")));
    masked.unpersist(true);
  }

  @Test
  void typesOfTextStayTheirOwn(@TempDir Path folder) {
    spark.sql("drop table if exists texts");
    spark.sql(
        "create table texts (c char(8), v varchar(8), s string collate UTF8_LCASE) using parquet");
    spark.sql("insert into texts values ('Ada', 'Ada', 'Ada')");
    Dataset<Row> rows = spark.table("texts");
    Dataset<Row> masked =
        VelkMasking.mask(rows, START + "c=keep v=hash(length=8) s=hash(length=8)");
    assertEquals(rows.schema(), masked.schema());
    Row row = masked.first();
    assertEquals("Ada     ", row.getString(0));
    assertEquals(row.getString(1), row.getString(2));
    assertEquals(
        row.getString(1),
        spark.sql("select velk_mask(s, 'hash(length=8)') from texts").first().get(0));
    masked.write().mode("overwrite").parquet(folder.resolve("t").toString());
    assertEquals(row, spark.read().parquet(folder.resolve("t").toString()).first());
    spark.sql("drop table texts");
  }

  @Test
  void aViewMasks() {
    spark.sql(
        "create or replace temporary view masked as select id, velk_mask(name, 'hash') n from p");
    assertEquals(700, spark.table("masked").distinct().count());
    assertEquals(sorted(oneByOne("id, velk_mask(name, 'hash') n")), sorted(spark.table("masked")));
    spark.sql("drop table if exists kept");
    spark.sql("create view kept_view as select velk_mask('Ada', 'hash') h");
    try {
      assertEquals(
          spark.sql("select velk_mask('Ada', 'hash') h").first(), spark.table("kept_view").first());
    } finally {
      spark.sql("drop view kept_view");
    }
  }

  @Test
  void aStreamIsMasked(@TempDir Path folder) throws Exception {
    Path in = Files.createDirectory(folder.resolve("in"));
    Files.writeString(in.resolve("a.csv"), "1,Ada\n2,Zoë\n");
    Dataset<Row> rows = spark.readStream().schema("id int, name string").csv(in.toString());
    Dataset<Row> masked =
        VelkMasking.mask(rows, START + "id=keep name=hash")
            .selectExpr("id", "name", "velk_mask(name, 'classes') as again");
    masked
        .writeStream()
        .format("memory")
        .queryName("stream")
        .option("checkpointLocation", folder.resolve("state").toString())
        .trigger(org.apache.spark.sql.streaming.Trigger.AvailableNow())
        .start()
        .awaitTermination();
    Dataset<Row> still = spark.read().schema("id int, name string").csv(in.toString());
    assertEquals(
        sorted(
            still.selectExpr(
                "id",
                "velk_mask(name, 'hash') n",
                "velk_mask(velk_mask(name, 'hash'), 'classes')")),
        sorted(spark.table("stream")));
  }

  @Test
  void aConsumerThatAsksAgainBehindAFailureGetsNothing() {
    Dataset<Row> rows =
        spark
            .range(2 * MaskedPart.MOST_ROWS)
            .selectExpr("if(id < " + (MaskedPart.MOST_ROWS + 9) + ", 'x', raise_error('no')) name")
            .coalesce(1);
    Dataset<Row> masked = VelkMasking.mask(rows, START + "name=hash");
    List<String> told =
        masked
            .queryExecution()
            .toRdd()
            .toJavaRDD()
            .mapPartitions(
                part -> {
                  int count = 0;
                  for (int tries = 0; tries < 3; tries++) {
                    try {
                      while (part.hasNext()) {
                        part.next();
                        count++;
                      }
                    } catch (RuntimeException e) {
                      count += 1_000_000;
                    }
                  }
                  return List.of("" + count).iterator();
                })
            .collect();
    assertEquals(List.of("" + (3_000_000 + MaskedPart.MOST_ROWS)), told);
  }

  @Test
  void nullIsNoRow() {
    Row row = spark.sql("select velk_mask(cast(null as string), 'hash') a, 'x' b from p").first();
    assertNull(row.get(0));
    assertEquals("x", row.get(1));
  }
}
