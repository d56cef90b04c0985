package com.brel.sorn.velk.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.LocalDate;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The program and the statement in the page on Spark. */
class DocsTest {
  private static final Path PAGE = LocalSpark.examples().resolve("../docs/spark.md");
  private static final Path SOURCE =
      Path.of("src/test/java/com/brel/sorn/velk/spark/SparkExample.java");

  @Test
  void theProgramIsTheOneThatRuns(@TempDir Path folder) throws IOException {
    String program = Files.readString(SOURCE);
    // Spark starts public classes alone; the one here is public to nobody.
    String shown = "public " + program.substring(program.indexOf("final class"));
    assertTrue(Files.readString(PAGE).contains("```java\n" + shown + "```"), "it is in the page");
    SparkSession spark = LocalSpark.session();
    String target = folder.resolve("masked").toString();
    SparkExample.main(new String[] {target});
    Row row = spark.read().parquet(target).selectExpr("name", "string(born)").first();
    assertNotEquals("Zoë Martín", row.getString(0));
    assertEquals("Zoë Martín".length(), row.getString(0).length());
    long days = LocalDate.parse(row.getString(1)).toEpochDay();
    assertTrue(Math.abs(days - LocalDate.parse("1990-02-28").toEpochDay()) <= 30);
  }

  /** The statements of the page, over a table `people`. */
  private static Row first(int statement) throws IOException {
    String text = Files.readString(PAGE).split("```sql\n")[statement];
    SparkSession spark = LocalSpark.session();
    spark.sql("select 'Zoë' as name, 'no card' as card").createOrReplaceTempView("people");
    return spark.sql(text.substring(0, text.indexOf("```")).replace(";", "")).first();
  }

  @Test
  void theStatementInSqlRuns() throws IOException {
    Row row = first(1);
    assertEquals(12, row.getString(0).length());
    assertTrue(row.getStruct(1).isNullAt(0));
    assertTrue(row.getStruct(1).getInt(1) > 7500);
  }

  @Test
  void theStatementThatMasksRowsRuns() throws IOException {
    Row row = first(2);
    assertEquals(32, row.getString(0).length());
    assertEquals("no card", row.getString(1));
  }
}
