package com.brel.sorn.velk.spark;

import static com.brel.sorn.velk.spark.LocalSpark.START;
import static com.brel.sorn.velk.spark.LocalSpark.sorted;
import static com.brel.sorn.velk.spark.LocalSpark.table;
import static org.apache.spark.sql.functions.call_function;
import static org.apache.spark.sql.functions.col;
import static org.apache.spark.sql.functions.lit;
import static org.apache.spark.sql.functions.struct;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.function.BiFunction;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.Metadata;
import org.apache.spark.sql.types.StructField;
import org.apache.spark.sql.types.StructType;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The function in SQL, given rows and a masking string. */
class RowMaskingTest {
  private static final StructType NAMES = new StructType().add("name", "string");
  private final SparkSession spark = LocalSpark.session();

  @AfterEach
  void nothingStaysOpen() throws InterruptedException {
    LocalSpark.awaitNothingOpen();
  }

  /** As programs do that can call functions alone. */
  private static Dataset<Row> mask(Dataset<Row> rows, String maskingString) {
    return rows.select(call_function("velk_mask", struct(col("*")), lit(maskingString)).as("row"))
        .select("row.*");
  }

  /** As above, of rows that are structs before: Spark calls the function for each of them. */
  private static Dataset<Row> maskStructs(Dataset<Row> rows, String maskingString) {
    return rows.select(struct(col("*")).as("given"))
        .repartition(1)
        .select(call_function("velk_mask", col("given"), lit(maskingString)).as("row"))
        .select("row.*");
  }

  private static void requireRefusal(String message, Dataset<Row> rows, String maskingString) {
    Exception refusal = assertThrows(Exception.class, () -> mask(rows, maskingString));
    assertEquals("velk_mask: " + message, refusal.getMessage());
  }

  @Test
  void aFileIsMaskedAsTheCommandMasksIt(@TempDir Path folder) throws IOException {
    String rules = LocalSpark.peopleRules();
    Path people = LocalSpark.people(folder);
    Path expected = folder.resolve("expected.csv");
    String command = rules + "on_error = null\n";
    Files.writeString(expected, LocalSpark.maskCsv(command, Files.readAllBytes(people)));
    assertEquals(
        sorted(LocalSpark.csv(expected)),
        sorted(mask(LocalSpark.csv(people).repartition(3), rules)));
  }

  @Test
  void eachTypeBecomesWhatATableMakesOfIt() {
    Dataset<Row> rows =
        spark.sql(
            "select 7L as id, 42000 as i, 50Y as y, -12.50BD as d, 2.5D as f, double('NaN') as n,"
                + " date'1990-02-28' as born, timestamp'2024-07-01 00:15:00.5' as seen,"
                + " timestamp_ntz'2024-01-02 03:04:05.000006' as local, 'Zoë' as name,"
                + " array(1, null) as kept, true as no, cast(null as string) as none");
    String rules =
        START
            + "id=keep kept=keep no=null *=hash i=noise(percent=9) i.type=integer"
            + " y=noise(percent=9) y.type=integer d=noise(percent=9) d.type=decimal(4,2)"
            + " f=noise(percent=9) f.type=decimal(18,6) n=noise(percent=9) n.type=decimal(18,6)"
            + " born=dateshift(days=9, by=id) born.type=date seen=dateshift(days=9, by=id)"
            + " seen.type=timestamp local=dateshift(days=9, by=name) local.type=timestamp";
    Dataset<Row> expected = VelkMasking.mask(rows, rules);
    assertEquals(RowMasking.masked(expected.schema()), mask(rows, rules).schema());
    assertEquals(sorted(expected), sorted(mask(rows, rules)));
    assertEquals(sorted(expected), sorted(maskStructs(rows, rules)));
    spark.conf().set("spark.sql.codegen.wholeStage", false);
    spark.conf().set("spark.sql.codegen.factoryMode", "NO_CODEGEN");
    try {
      assertEquals(sorted(expected), sorted(mask(rows, rules)), "without generated code");
      assertEquals(sorted(expected), sorted(maskStructs(rows, rules)), "without it, row by row");
    } finally {
      spark.conf().unset("spark.sql.codegen.wholeStage");
      spark.conf().unset("spark.sql.codegen.factoryMode");
    }
  }

  @Test
  void namesTypesAndMetadataStay() {
    Metadata told = Metadata.fromJson("{\"comment\":\"x\"}");
    StructType schema =
        new StructType(
            new StructField[] {
              new StructField("a.b", DataTypes.StringType, false, told),
              new StructField("a.b", DataTypes.LongType, false, Metadata.empty()),
              new StructField("`", DataTypes.StringType, true, Metadata.empty()),
              new StructField("it's \"A\"", DataTypes.StringType, true, Metadata.empty()),
              new StructField(" ", DataTypes.StringType, true, Metadata.empty()),
              new StructField("Straße", DataTypes.StringType, true, Metadata.empty()),
              new StructField("*", DataTypes.StringType, true, Metadata.empty())
            });
    Dataset<Row> rows = table(schema, RowFactory.create("Ada", 7L, "b", "c", "d", "e", "f"));
    String rules =
        START
            + "$1=hash $2=keep \"`\"=hash \"it's \\\"A\\\"\"=hash \" \"=hash"
            + " \"Straße\"=hash $7=hash";
    Dataset<Row> expected = VelkMasking.mask(rows, rules);
    assertEquals(RowMasking.masked(expected.schema()), mask(rows, rules).schema());
    assertEquals(sorted(expected), sorted(mask(rows, rules)));
    assertFalse(mask(rows, rules).first().toString().contains("Ada"));
  }

  @Test
  void aStringThatDoesNotFitTheColumnsIsRefused() {
    Dataset<Row> rows = spark.sql("select 1 as n, 'x' as s");
    requireRefusal(
        "there is a rule for column \"q\" (line 3, column 1), and no such column\n"
            + "there is no rule for column \"s\"",
        rows,
        START + "\nn=keep\nq=hash");
    requireRefusal(
        "there is a rule for column \"N\" (line 2, column 1), and no such column\n"
            + "there is no rule for column \"n\"",
        rows,
        START + "\nN=keep s=hash");
    requireRefusal(
        "column \"n\" is int, and its rule hash (line 2, column 1) gives text; say the column's"
            + " type, such as integer",
        rows,
        START + "\nn=hash\ns=keep");
    requireRefusal(
        "there is a rule for column \"s\" (line 1, column 28), and several have that name\n"
            + "column 1 shares its name \"s\" with others, and there is no rule for its position:"
            + " say $1 = ...\n"
            + "column 2 shares its name \"s\" with others, and there is no rule for its position:"
            + " say $2 = ...",
        spark.sql("select 1 as s, 'x' as s"),
        START + "s=hash");
  }

  @Test
  void aKeyThatIsWrittenOutIsRefusedAndNotShown() {
    Dataset<Row> rows = table(NAMES, RowFactory.create("Ada"));
    for (String rule :
        List.of(
            "service=t key=0123456789abcdef name=hash",
            "service=t key='0123456789abcdef' name=hash",
            "service=t key=env:MASK_KEY name=hash(key=0123456789abcdef)")) {
      Exception refusal = assertThrows(Exception.class, () -> mask(rows, rule));
      assertFalse(refusal.toString().contains("0123456789abcdef"), refusal::toString);
    }
    for (String rule :
        List.of(
            "hash(key=0123456789abcdef)",
            "hash() key='0123456789abcdef",
            "hash() key=0123456789abcdef v=fixed('x')",
            "service=t key=0123456789abcdef name=hash")) {
      Exception refusal =
          assertThrows(
              Exception.class,
              () -> rows.select(call_function("velk_mask", rows.col("name"), lit(rule))));
      assertFalse(refusal.toString().contains("0123456789abcdef"), refusal::toString);
    }
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "hash",
        "",
        "service=t",
        "service=t # name=hash",
        "service=t name=hash key=env:MASK_KEY name=keep",
        "service=t key=env:MASK_KEY name='hash",
        "service=t key=env:MASK_KEY name=hash) *=keep",
        "service=t key=env:MASK_KEY name=hash --",
        "service=t key=env:MASK_KEY name=hash unknown"
      })
  void whatIsNoMaskingStringIsRefused(String text) {
    Dataset<Row> rows = table(NAMES, RowFactory.create("Ada"));
    assertThrows(Exception.class, () -> mask(rows, text));
  }

  @Test
  void aStringWithoutAKeyHasThatOfTheSession() {
    Dataset<Row> rows = table(NAMES, RowFactory.create("Ada"));
    String expected = mask(rows, START + "name=hash").first().getString(0);
    assertEquals(expected, mask(rows, "service=t name=hash").first().getString(0));
    assertEquals(expected, mask(rows, "service=t name=hash # all").first().getString(0));
    spark.conf().set(VelkExtensions.KEY, "env:VELK_NO_SUCH_KEY");
    try {
      assertEquals(expected, mask(rows, START + "name=hash").first().getString(0));
      Dataset<Row> keyless = mask(rows, "service=t name=hash");
      Exception failure = assertThrows(Exception.class, keyless::collectAsList);
      String told = "executor driver on host localhost, key=env:VELK_NO_SUCH_KEY: 7228 ";
      assertTrue(failure.toString().contains(told), failure::toString);
    } finally {
      spark.conf().set(VelkExtensions.KEY, "env:MASK_KEY");
    }
  }

  @Test
  void whatBecomesOfABadValueTheStringSays() {
    Dataset<Row> rows = table(NAMES, RowFactory.create("no"));
    String rules = START + "name=noise(percent=9) name.type=integer ";
    requireErrorAsSaid(rows, rules, "column \"name\": 7503");
  }

  @Test
  void aNumberThatItsColumnCannotHoldIsAnError() {
    Dataset<Row> rows = spark.sql("select 1Y as y");
    String told = "column \"y\": the column's type cannot hold the masked value";
    requireErrorAsSaid(rows, START + "y=fixed('128') y.type=integer ", told);
  }

  private static void requireErrorAsSaid(Dataset<Row> rows, String rules, String told) {
    List<BiFunction<Dataset<Row>, String, Dataset<Row>>> ways =
        List.of(RowMaskingTest::mask, RowMaskingTest::maskStructs);
    for (BiFunction<Dataset<Row>, String, Dataset<Row>> way : ways) {
      assertNull(way.apply(rows, rules).first().get(0));
      Dataset<Row> stops = way.apply(rows, rules + "on_error=stop");
      Exception failure = assertThrows(Exception.class, stops::collectAsList);
      assertTrue(failure.toString().contains(told), failure::toString);
      assertFalse(failure.toString().contains("\"no\""), failure::toString);
    }
  }

  @Test
  void aReplacementTakesThePlaceOfABadValue() {
    Dataset<Row> rows = table(NAMES, RowFactory.create("no"));
    String rules = START + "name=noise(percent=9) name.type=integer on_error=fixed('0')";
    assertEquals("0", mask(rows, rules).first().get(0));
    assertEquals("0", maskStructs(rows, rules).first().get(0));
  }

  @Test
  void aMaskedTableIsJoinedWithItself() {
    Dataset<Row> rows = spark.range(20).selectExpr("id", "concat('p', id % 5) as name");
    Dataset<Row> masked = mask(rows, START + "id=keep name=hash");
    assertEquals(80, masked.join(masked.as("b"), "name").count());
    masked.createOrReplaceTempView("masked_people");
    assertEquals(
        80L,
        spark
            .sql("select count(*) from masked_people a join masked_people b on a.name = b.name")
            .first()
            .get(0));
    assertEquals(1, masked.where("id = 7").select("name").collectAsList().size());
  }

  @Test
  void whatIsSelectedFromItStaysMasked() {
    Dataset<Row> rows = spark.sql("select 'Ada' as name, 'Löw' as last from range(3)");
    Dataset<Row> masked = mask(rows, START + "*=hash");
    Row whole = masked.first();
    assertEquals(whole.get(1), masked.select("last").first().get(0));
    assertEquals(whole.get(0), masked.selectExpr("first(name)").first().get(0));
    assertEquals(0, masked.where("name = 'Ada'").count());
    assertEquals(3, masked.where(masked.col("name").equalTo(whole.get(0))).count());
  }

  @Test
  void aRowThatIsNullStaysNull() {
    Row row =
        spark
            .sql(
                "select velk_mask(if(id > 0, null, named_struct('name', 'Ada')), '"
                    + START
                    + "name=hash') m from range(2) order by id desc")
            .first();
    assertNull(row.get(0));
  }

  @Test
  void theOtherFunctionIsForSingleValues() {
    Exception refusal =
        assertThrows(
            Exception.class,
            () -> spark.sql("select velk_try_mask(struct('Ada' as name), 'hash')"));
    assertEquals(
        "velk_try_mask: rows are masked by velk_mask, single values by this", refusal.getMessage());
  }
}
