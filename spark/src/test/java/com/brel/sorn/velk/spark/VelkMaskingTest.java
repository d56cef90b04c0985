package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static com.brel.sorn.velk.spark.LocalSpark.sorted;
import static com.brel.sorn.velk.spark.LocalSpark.table;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import com.brel.sorn.velk.masking.TableException;
import java.io.IOException;
import java.math.BigDecimal;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Date;
import java.sql.Timestamp;
import java.time.Instant;
import java.time.LocalDateTime;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.apache.spark.api.java.function.ForeachFunction;
import org.apache.spark.api.java.function.MapPartitionsFunction;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.Metadata;
import org.apache.spark.sql.types.StructField;
import org.apache.spark.sql.types.StructType;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class VelkMaskingTest {
  private static final StructType NAMES = new StructType().add("name", "string");

  private static final StructType NUMBERS =
      new StructType().add("n", DataTypes.IntegerType).add("s", DataTypes.StringType);

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  /** What the engine makes of texts, by the API for a single machine. */
  private static List<String> masked(String maskingString, String... row) {
    List<String> names = new ArrayList<>();
    for (int i = 0; i < row.length; i++) {
      names.add("c" + i);
    }
    try (ParsedService table = ProcessEngine.table(maskingString, names);
        MaskingService service = table.open()) {
      return service.maskRow(Arrays.asList(row)).values();
    }
  }

  private static Dataset<Row> one(StructType schema, Object... values) {
    return table(schema, RowFactory.create(values));
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 3})
  void aFileIsMaskedAsTheCommandMasksIt(int partitions, @TempDir Path folder) throws IOException {
    String rules = LocalSpark.peopleRules();
    Path people = LocalSpark.people(folder);
    Path expected = folder.resolve("expected.csv");
    String command = rules + "on_error = null\n";
    Files.writeString(expected, LocalSpark.maskCsv(command, Files.readAllBytes(people)));
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "people");
    Dataset<Row> rows = LocalSpark.csv(people).repartition(partitions);
    Dataset<Row> masked = VelkMasking.mask(rows, rules, errors);
    assertEquals(sorted(LocalSpark.csv(expected)), sorted(masked));
    long all = errors.value().values().stream().mapToLong(MaskingErrorsTest::sum).sum();
    assertEquals(5, all);
  }

  @Test
  void moreRowsThanABatchHolds() {
    Dataset<Row> rows = LocalSpark.session().range(2500).selectExpr("concat('p', id) as name");
    List<Row> result = VelkMasking.mask(rows.coalesce(1), START + "name=hash").collectAsList();
    assertEquals(2500, result.size());
    for (int row : new int[] {0, 999, 1000, 2499}) {
      assertEquals(masked(START + "c0=hash", "p" + row).get(0), result.get(row).getString(0));
    }
  }

  @Test
  void eachTypeGoesOverAsTextAndComesBack() {
    StructType schema =
        new StructType()
            .add("i", "int")
            .add("l", "bigint")
            .add("t", "smallint")
            .add("y", "tinyint")
            .add("d", "decimal(12,2)")
            .add("f", "double")
            .add("born", "date")
            .add("seen", "timestamp")
            .add("local", "timestamp_ntz");
    String types =
        "%s=noise(percent=9) %s.type=integer %s=noise(percent=9) %s.type=integer "
            + "%s=noise(percent=9) %s.type=integer %s=noise(percent=9) %s.type=integer "
            + "%s=noise(percent=9) %s.type=decimal(12,2) %s=noise(percent=9) %s.type=decimal(18,6) "
            + "%s=dateshift(days=9) %s.type=date %s=dateshift(days=9) %s.type=timestamp "
            + "%s=dateshift(days=9) %s.type=timestamp";
    Row row =
        VelkMasking.mask(
                one(
                    schema,
                    42_000,
                    -9_000_000_000L,
                    (short) 300,
                    (byte) 50,
                    new BigDecimal("1234.50"),
                    2.5,
                    Date.valueOf("1990-02-28"),
                    Timestamp.from(Instant.parse("2024-06-30T22:15:00.5Z")),
                    LocalDateTime.parse("2024-01-02T03:04:05.000006")),
                START + types.formatted(twice(schema.fieldNames())))
            .selectExpr(
                "i", "l", "t", "y", "d", "f", "string(born)", "string(seen)", "string(local)")
            .first();
    List<String> expected =
        masked(
            START + types.formatted(twice("c0,c1,c2,c3,c4,c5,c6,c7,c8".split(","))),
            "42000",
            "-9000000000",
            "300",
            "50",
            "1234.50",
            "2.5",
            "1990-02-28",
            "2024-07-01 00:15:00.5",
            "2024-01-02 03:04:05.000006");
    for (int i = 0; i < expected.size(); i++) {
      assertEquals(expected.get(i), String.valueOf(row.get(i)), schema.fieldNames()[i]);
    }
    assertNotEquals(42_000, row.getInt(0));
  }

  private static Object[] twice(String... names) {
    return Arrays.stream(names).flatMap(name -> Arrays.stream(new String[] {name, name})).toArray();
  }

  @Test
  void whatIsKeptStaysToTheLastBit() {
    Dataset<Row> rows =
        LocalSpark.session()
            .sql(
                "select named_struct('a', 1) s, array(1, null) a, map('k', 2) m, true b,"
                    + " binary('x') bin, date'1582-10-10' d, timestamp'1582-10-10 01:02:03.000004'"
                    + " t, timestamp_ntz'1582-10-10 01:02:03.000004' n, double('NaN') f,"
                    + " 0.000000010BD e, cast(null as int) z, '' empty, cast(null as string) none");
    Dataset<Row> kept = VelkMasking.mask(rows, "service=t *=keep");
    assertEquals(0, rows.drop("m").exceptAll(kept.drop("m")).count());
    assertEquals(2, kept.selectExpr("m['k']").first().getInt(0));
    assertEquals(
        rows.selectExpr("string(d)", "string(t)", "string(n)").first(),
        kept.selectExpr("string(d)", "string(t)", "string(n)").first());
  }

  @Test
  void namesTypesAndMetadataStay() {
    Metadata told = Metadata.fromJson("{\"comment\":\"x\"}");
    StructType schema =
        new StructType(
            new StructField[] {
              new StructField("a.b", DataTypes.StringType, false, told),
              new StructField("a.b", DataTypes.LongType, false, Metadata.empty())
            });
    Dataset<Row> rows = one(schema, "Ada", 7L);
    StructType result = VelkMasking.mask(rows, START + "$1=hash $2=keep").schema();
    assertEquals("a.b", result.fields()[0].name());
    assertEquals("a.b", result.fields()[1].name());
    assertEquals(told, result.fields()[0].metadata());
    assertEquals(DataTypes.LongType, result.fields()[1].dataType());
    assertTrue(result.fields()[0].nullable(), "a value with an error is null");
  }

  @Test
  void aColumnWithoutARuleAndARuleWithoutAColumnAreRefusedBeforeAnyJob() {
    Dataset<Row> rows = one(NUMBERS, 1, "x");
    TableException refusal =
        assertThrows(
            TableException.class, () -> VelkMasking.mask(rows, START + "\nn=keep\nq=hash"));
    assertEquals(
        List.of(
            "there is a rule for column \"q\" (line 3, column 1), and no such column",
            "there is no rule for column \"s\""),
        refusal.findings());
  }

  @Test
  void aTypeThatTheRuleCannotKeepIsRefusedWithThePlace() {
    StructType schema =
        new StructType().add("n", "int").add("a", "array<string>").add("b", "boolean");
    Dataset<Row> rows = one(schema, 1, null, true);
    String message =
        assertThrows(
                IllegalArgumentException.class,
                () -> VelkMasking.mask(rows, START + "\nn=hash\na=null\n b=hash"))
            .getMessage();
    assertEquals(
        "column \"n\" is int, and its rule hash (line 2, column 1) gives text; say the column's"
            + " type, such as integer\n"
            + "column \"a\" is array<string>, and its rule null (line 3, column 1) is not keep\n"
            + "column \"b\" is boolean, and its rule hash (line 4, column 2) is not keep",
        message);
  }

  @Test
  void aStringThatIsWrongIsRefusedBeforeAnyJob() {
    Dataset<Row> rows = one(NAMES, "Ada");
    VELKException refusal =
        assertThrows(VELKException.class, () -> VelkMasking.mask(rows, START + "name=hsah"));
    assertTrue(refusal.getMessage().contains("line 1, column 33"), refusal.getMessage());
  }

  @Test
  void valuesWithErrorsAreNullAndCounted() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "test");
    Dataset<Row> rows =
        table(
            NUMBERS,
            RowFactory.create(1, "12"),
            RowFactory.create(2, "no"),
            RowFactory.create(3, null));
    String rules = START + "n=keep s=noise(percent=9) s.type=integer";
    List<Row> result = VelkMasking.mask(rows.coalesce(1), rules, errors).collectAsList();
    assertFalse(result.get(0).isNullAt(1));
    assertTrue(result.get(1).isNullAt(1));
    assertTrue(result.get(2).isNullAt(1));
    assertEquals(Map.of("s", Map.of(7503, 1L)), errors.value());
  }

  @Test
  void aReplacementTakesThePlaceOfABadValue() {
    String rules = START + "on_error=fixed('0') name=noise(percent=9) name.type=integer";
    assertEquals("0", VelkMasking.mask(one(NAMES, "no"), rules).first().getString(0));
  }

  @Test
  void aNumberThatItsColumnCannotHoldIsAnError() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "test");
    StructType schema = new StructType().add("y", "tinyint");
    String rules = START + "y=fixed('128') y.type=integer";
    assertTrue(VelkMasking.mask(one(schema, (byte) 1), rules, errors).first().isNullAt(0));
    assertEquals(Map.of("y", Map.of(MaskingErrors.OUT_OF_RANGE, 1L)), errors.value());
  }

  @Test
  void onErrorStopEndsTheJobAndNamesTheRow() {
    String rules = START + "on_error=stop name=noise(percent=9) name.type=integer";
    Dataset<Row> rows = table(NAMES, RowFactory.create("12"), RowFactory.create("no")).coalesce(1);
    Exception failure =
        assertThrows(Exception.class, () -> VelkMasking.mask(rows, rules).collectAsList());
    assertTrue(
        failure.toString().contains("partition 0, row 2, column \"name\": 7503"),
        failure::toString);
  }

  @Test
  void aMissingKeyIsToldWithTheExecutorAndTheVariable() {
    Dataset<Row> masked =
        VelkMasking.mask(one(NAMES, "Ada"), "service=t key=env:VELK_NO_SUCH_KEY name=hash");
    Exception failure = assertThrows(Exception.class, masked::collectAsList);
    String told = "executor driver on host localhost, key=env:VELK_NO_SUCH_KEY: 7228 ";
    assertTrue(failure.toString().contains(told), failure::toString);
  }

  @Test
  void theKeyIsNotInThePlan() {
    String plan =
        VelkMasking.mask(one(NAMES, "Ada"), START + "name=hash").queryExecution().toString();
    assertFalse(plan.contains("a key for the tests alone"), plan);
  }

  @Test
  void aTaskThatIsTriedTwiceCountsOnce() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "test");
    String rules = START + "name=noise(percent=9) name.type=integer";
    Dataset<Row> rows = table(NAMES, RowFactory.create("no"), RowFactory.create("nor")).coalesce(1);
    MapPartitionsFunction<Row, Row> failsAtFirst =
        part -> {
          List<Row> all = new ArrayList<>();
          part.forEachRemaining(all::add);
          if (org.apache.spark.TaskContext.get().attemptNumber() == 0) {
            throw new IllegalStateException("the first try");
          }
          return all.iterator();
        };
    Dataset<Row> masked = VelkMasking.mask(rows, rules, errors);
    assertEquals(2, masked.mapPartitions(failsAtFirst, Encoders.row(NAMES)).count());
    assertEquals(Map.of("name", Map.of(7503, 2L)), errors.value());
  }

  @Test
  void severalPartsInOneTaskAllCount() {
    MaskingErrors errors = MaskingErrors.in(LocalSpark.session(), "test");
    String rules = START + "name=noise(percent=9) name.type=integer";
    Dataset<Row> rows = LocalSpark.session().range(0, 8, 1, 4).selectExpr("'no' as name");
    assertEquals(8, VelkMasking.mask(rows, rules, errors).coalesce(1).collectAsList().size());
    assertEquals(Map.of("name", Map.of(7503, 8L)), errors.value());
  }

  @Test
  void nothingStaysOpenBehindALimitOrAFailure() throws InterruptedException {
    Dataset<Row> rows = LocalSpark.session().range(5000).selectExpr("concat('p', id) as name");
    Dataset<Row> masked = VelkMasking.mask(rows, START + "name=hash");
    assertEquals(5, masked.limit(5).collectAsList().size());
    LocalSpark.awaitNothingOpen();
    ForeachFunction<Row> fails =
        row -> {
          throw new IllegalStateException(TaskBatch.count() > 0 ? "open here" : "closed here");
        };
    Exception failure = assertThrows(Exception.class, () -> masked.foreach(fails));
    assertTrue(failure.toString().contains("open here"), failure::toString);
  }

  @Test
  void datesOfOnePersonMoveAlikeThoughThePersonIsKept() {
    StructType schema = new StructType().add("id", "bigint").add("a", "date").add("b", "date");
    Row row =
        VelkMasking.mask(
                one(schema, 7L, Date.valueOf("2020-01-01"), Date.valueOf("2020-03-01")),
                START + "id=keep *=dateshift(days=99, by=id) *.type=date")
            .selectExpr("datediff(b, a)", "id", "string(a)")
            .first();
    assertEquals(60, row.getInt(0));
    assertEquals(7L, row.getLong(1));
    String rules = START + "c0=keep *=dateshift(days=99, by=c0) *.type=date";
    assertEquals(masked(rules, "7", "2020-01-01", "2020-03-01").get(1), row.getString(2));
  }

  @Test
  void textsAreMaskedAsTheyAre() {
    for (String text : List.of("", " ", "Zoë", "\uD83D\uDE00 x", "a,\"b\"\n", "\u0000")) {
      String result = VelkMasking.mask(one(NAMES, text), START + "name=keep").first().getString(0);
      assertEquals(text.equals("\u0000") ? null : text, result);
    }
    byte[] bytes = "Zoë".getBytes(StandardCharsets.ISO_8859_1);
    Dataset<Row> rows =
        one(new StructType().add("name", "binary"), (Object) bytes)
            .selectExpr("cast(name as string) as name");
    assertTrue(VelkMasking.mask(rows, START + "name=keep").first().isNullAt(0), "not UTF-8");
  }
}
