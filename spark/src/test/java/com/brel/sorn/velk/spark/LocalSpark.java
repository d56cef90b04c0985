package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.types.StructType;

/** A session within the process of the tests, which tries every task twice. */
final class LocalSpark {
  static final String START = "service=t key=env:MASK_KEY ";

  private LocalSpark() {}

  static SparkSession session() {
    return SparkSession.builder()
        .master("local[2,2]")
        .appName("tests")
        .config("spark.ui.enabled", false)
        .config("spark.sql.shuffle.partitions", 2)
        .config("spark.sql.session.timeZone", "Europe/Berlin")
        .config("spark.sql.warehouse.dir", "target/warehouse")
        .config("spark.velk.key", "env:MASK_KEY")
        .getOrCreate();
  }

  /** A job that fails does not wait for the tasks that it ends. */
  static void awaitNothingOpen() throws InterruptedException {
    for (int i = 0; i < 100 && TaskBatch.count() > 0; i++) {
      Thread.sleep(100);
    }
    assertEquals(0, TaskBatch.count());
  }

  static Dataset<Row> table(StructType schema, Row... rows) {
    return session().createDataFrame(Arrays.asList(rows), schema);
  }

  /** The rows in which each value is text, null as such, in an order of their own. */
  static List<String> sorted(Dataset<Row> rows) {
    return rows.collectAsList().stream().map(Row::toString).sorted().toList();
  }

  /** The example without what Spark does not tell from null. */
  static Path people(Path folder) throws IOException {
    String text = Files.readString(examples().resolve("people.csv"));
    return Files.writeString(folder.resolve("people.csv"), text.replaceAll("(?m),\"\"$", ","));
  }

  static Dataset<Row> csv(Path file) {
    return session()
        .read()
        .option("header", true)
        .option("escape", "\"")
        .option("multiLine", true)
        .csv(file.toString());
  }

  static Path examples() {
    return Path.of(System.getProperty("velk.examples", "../examples"));
  }

  static String peopleRules() throws IOException {
    return Files.readString(examples().resolve("people.rules"));
  }

  /** CSV as the command masks it. */
  static String maskCsv(String maskingString, byte[] csv) throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    String header = new String(csv, StandardCharsets.UTF_8).lines().findFirst().orElseThrow();
    List<String> names = List.of(header.split(","));
    try (ParsedService table = ProcessEngine.table(maskingString, names);
        MaskingService service = table.open()) {
      service.csv().mask(new ByteArrayInputStream(csv), out);
    }
    return out.toString(StandardCharsets.UTF_8);
  }
}
