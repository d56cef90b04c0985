package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.functions;
import org.apache.spark.sql.types.DataTypes;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** The functions in SQL. */
class VelkMaskTest {
  private final SparkSession spark = LocalSpark.session();

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  private Object first(String sql) {
    return spark.sql(sql).first().get(0);
  }

  /** The same value in a column of a table of its own. */
  private Object masked(String expression, String rule) {
    Dataset<Row> rows = spark.range(1).selectExpr(expression + " as v");
    return VelkMasking.mask(rows, START + "v=" + rule).first().get(0);
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      quoteCharacter = '~',
      value = {
        "'Ada Löw'|hash(length=12, scope=person)|text",
        "'Ada Löw'|classes|text",
        "42000|noise(percent=9)|integer",
        "9000000000|noise(percent=9)|integer",
        "-12.50BD|noise(percent=9)|decimal(4,2)",
        "date'1990-02-28'|dateshift(days=9)|date",
        "timestamp'2024-07-01 00:15:00.5'|dateshift(days=9)|timestamp",
        "timestamp_ntz'2024-07-01 00:15:00.5'|dateshift(days=9)|timestamp",
      })
  void aValueBecomesWhatATableMakesOfIt(String value, String rule, String type) {
    Object expected = masked(value, type.equals("text") ? rule : rule + " v.type=" + type);
    String call = "velk_mask(v, \"" + rule + "\")";
    String table = "(select " + value + " as v from range(1))";
    assertEquals(expected, first("select " + call + " from " + table), "by generated code");
    spark.conf().set("spark.sql.codegen.wholeStage", false);
    spark.conf().set("spark.sql.codegen.factoryMode", "NO_CODEGEN");
    try {
      assertEquals(expected, first("select " + call + " from " + table), "without it");
    } finally {
      spark.conf().unset("spark.sql.codegen.wholeStage");
      spark.conf().unset("spark.sql.codegen.factoryMode");
    }
  }

  @Test
  void theResultIsOfTheValuesType() {
    Dataset<Row> rows =
        spark.sql(
            "select velk_mask(date'2020-01-01', 'dateshift(days=3)') d, velk_mask(1, 'keep') i");
    assertEquals(DataTypes.DateType, rows.schema().fields()[0].dataType());
    assertEquals(DataTypes.IntegerType, rows.schema().fields()[1].dataType());
    assertEquals(1, rows.first().get(1));
  }

  @Test
  void bothArgumentsMayComeFromTheApiOfColumns() {
    Dataset<Row> rows = spark.range(1).selectExpr("'Ada' as v");
    Row row =
        rows.select(functions.call_function("velk_mask", rows.col("v"), functions.lit("hash")))
            .first();
    assertEquals(masked("'Ada'", "hash"), row.get(0));
  }

  @Test
  void nullStaysNullAndABadValueBecomesNull() {
    assertNull(first("select velk_mask(cast(null as string), 'hash')"));
    assertNull(first("select velk_mask('no card', 'card(keep_first=6)')"));
  }

  @Test
  void theOtherFunctionTellsTheCode() {
    Row bad = (Row) first("select velk_try_mask('no card', 'card(keep_first=6)')");
    assertNull(bad.get(0));
    assertTrue(bad.getInt(1) > 7500, bad::toString);
    Row good = (Row) first("select velk_try_mask('Ada', 'hash')");
    assertEquals(masked("'Ada'", "hash"), good.get(0));
    assertNull(good.get(1));
    Row none = (Row) first("select velk_try_mask(cast(null as string), 'hash')");
    assertNull(none.get(0));
    assertNull(none.get(1));
    Row wide = (Row) first("select velk_try_mask(1Y, \"fixed('128')\")");
    assertEquals(MaskingErrors.OUT_OF_RANGE, wide.get(1));
  }

  @Test
  void aConstantIsNotMaskedByTheOptimizer() {
    for (String from : List.of("", " from values ('Ada') t(v)", " from range(1)")) {
      String value = from.contains("values") ? "v" : "'Ada'";
      Dataset<Row> rows = spark.sql("select velk_mask(" + value + ", 'hash') as h" + from);
      String plan = rows.queryExecution().optimizedPlan().toString();
      Object result = masked("'Ada'", "hash");
      assertTrue(plan.contains("VelkMask (value1=hash)"), plan);
      assertFalse(plan.contains(result.toString()), plan);
      assertEquals(result, rows.first().get(0));
    }
  }

  @Test
  void thePlanIsMadeWithoutTheKey() {
    spark.conf().set(VelkExtensions.KEY, "env:VELK_NO_SUCH_KEY");
    try {
      Dataset<Row> rows = spark.sql("select velk_mask(v, 'hash') from values ('Ada') t(v)");
      rows.queryExecution().executedPlan();
      Exception failure = assertThrows(Exception.class, rows::collectAsList);
      String told = "executor driver on host localhost, key=env:VELK_NO_SUCH_KEY: 7228 ";
      assertTrue(failure.toString().contains(told), failure::toString);
    } finally {
      spark.conf().set(VelkExtensions.KEY, "env:MASK_KEY");
    }
  }

  @Test
  void aKeyThatIsNotNamedIsRefusedAndNotShown() {
    spark.conf().set(VelkExtensions.KEY, "a key that is written out");
    try {
      Exception refusal =
          assertThrows(Exception.class, () -> spark.sql("select velk_mask('Ada', 'hash')"));
      assertTrue(
          refusal.toString().contains("spark.velk.key names the key as env:NAME or file:PATH"),
          refusal::toString);
      assertFalse(refusal.toString().contains("written out"), refusal::toString);
    } finally {
      spark.conf().set(VelkExtensions.KEY, "env:MASK_KEY");
    }
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "velk_mask('Ada', 'hsah')",
        "velk_mask('Ada', 'hash(length=1)')",
        "velk_mask('Ada', 'hash(length=12) other=keep(')",
        "velk_mask('Ada', 'hash on_error=stop')",
        "velk_mask('Ada', \"hash() on_error=fixed('x')\")",
        "velk_mask('Ada', '')",
        "velk_mask('Ada', cast(null as string))",
        "velk_mask('Ada')",
        "velk_mask('Ada', v)",
        "velk_mask('Ada', 12)",
        "velk_mask(true, 'keep')",
        "velk_mask(array('Ada'), 'keep')",
        "velk_mask(1, 'hash')",
        "velk_mask(date'2020-01-01', 'dateshift(days=9, by=v)')",
      })
  void aWrongRuleIsRefusedWhenThePlanIsMade(String call) {
    assertThrows(
        Exception.class, () -> spark.sql("select " + call + " from values ('x') t(v)"), call);
  }

  @Test
  void nothingStaysOpenBehindALimit() {
    Dataset<Row> rows = spark.range(5000).selectExpr("velk_mask(string(id), 'hash') as h");
    assertEquals(5, rows.limit(5).collectAsList().size());
  }

  @Test
  void itCanBeGroupedAndJoinedBy() {
    assertEquals(
        10L,
        first(
            "select count(*) from (select velk_mask(string(id % 10), 'hash') h from range(1000)"
                + " group by 1)"));
    assertEquals(
        3L,
        first(
            "select count(*) from range(3) a join range(9) b on velk_mask(string(a.id), 'hash') ="
                + " velk_mask(string(b.id), 'hash')"));
  }
}
