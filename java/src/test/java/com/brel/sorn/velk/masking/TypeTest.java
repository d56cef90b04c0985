package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class TypeTest {
  @Test
  void aTypeIsDeclaredAsInAMaskingString() {
    assertEquals("text", Type.text().toString());
    assertEquals("char(3)", Type.character(3).toString());
    assertEquals("varchar(20)", Type.varchar(20).toString());
    assertEquals("decimal(9,2)", Type.decimal(9, 2).toString());
    assertEquals("integer", Type.integer().toString());
    assertEquals("date", Type.date().toString());
    assertEquals("timestamp", Type.timestamp().toString());
  }

  @Test
  void theLimitIsTheLongestTextOfTheType() {
    assertEquals(0, Type.text().limit());
    assertEquals(3, Type.character(3).limit());
    assertEquals(20, Type.varchar(20).limit());
    assertEquals("-1234567.89".length(), Type.decimal(9, 2).limit());
    assertEquals("-123456789".length(), Type.decimal(9, 0).limit());
    assertEquals("-0.12".length(), Type.decimal(2, 2).limit());
    assertEquals(20, Type.integer().limit());
    assertEquals(10, Type.date().limit());
    assertEquals(35, Type.timestamp().limit());
  }

  @Test
  void aLimitOrPrecisionOutOfRangeIsRefused() {
    refused(() -> Type.varchar(0));
    refused(() -> Type.varchar(1_000_001));
    refused(() -> Type.character(-1));
    refused(() -> Type.decimal(0, 0));
    refused(() -> Type.decimal(1001, 0));
    refused(() -> Type.decimal(5, 6));
    refused(() -> Type.decimal(5, -1));
  }

  @Test
  void aTypeIsAValue() {
    assertEquals(Type.varchar(20), Type.declared("varchar(20)", 20, 0, 0));
    assertEquals(Type.varchar(20).hashCode(), Type.varchar(20).hashCode());
    assertNotEquals(Type.varchar(20), Type.varchar(21));
    assertNotEquals(Type.varchar(20), Type.character(20));
    assertNotEquals(Type.text(), null);
    assertEquals(
        new ColumnRule("c", Type.date(), Rule.keep(), true),
        new ColumnRule("c", Type.date(), Rule.keep(), true));
  }

  @ParameterizedTest
  @CsvSource({
    "12, 20, 0, varchar(20)",
    "-9, 1000000, 0, varchar(1000000)",
    "12, 2147483647, 0, text", // a database's way to say that there is no limit
    "12, 0, 0, text",
    "1, 3, 0, char(3)",
    "-15, 3, 0, char(3)",
    "1, 0, 0, text",
    "-1, 65535, 0, text", // LONGVARCHAR
    "2005, 0, 0, text", // CLOB
    "1111, 0, 0, text", // OTHER, such as a UUID
    "4, 10, 0, integer",
    "-5, 19, 0, integer",
    "5, 5, 0, integer",
    "-6, 3, 0, integer",
    "3, 9, 2, 'decimal(9,2)'",
    "2, 38, 0, 'decimal(38,0)'",
    "2, 5, -2, 'decimal(7,0)'",
    "2, 2, 5, 'decimal(5,5)'",
    "2, 0, 0, text", // without a limit
    "2, 0, -127, text",
    "2, 1001, 0, text",
    "8, 17, 0, text", // DOUBLE
    "16, 1, 0, text", // BOOLEAN
    "91, 10, 0, date",
    "93, 29, 6, timestamp",
    "2014, 35, 6, timestamp",
    "92, 8, 0, text" // TIME
  })
  void aTypeIsMadeOfTheMetadataOfADatabase(int jdbc, int precision, int scale, String type) {
    assertEquals(type, Type.ofJdbc(jdbc, precision, scale).toString());
  }

  @ParameterizedTest
  @ValueSource(ints = {-2, -3, -4, 2000, 2002, 2003, 2004, 2006, 70, 2012})
  void aColumnOfBytesOrPartsHasNoType(int jdbc) {
    String refusal =
        assertThrows(IllegalArgumentException.class, () -> Type.ofJdbc(jdbc, 10, 0)).getMessage();
    assertEquals("a column of the JDBC type " + jdbc + " holds no text", refusal);
  }

  @Test
  void whatIsTakenOfAnyLengthOrForm() {
    assertTrue(Type.text().takesAnyText());
    assertTrue(Type.varchar(9).takesAnyText());
    assertTrue(Type.character(9).takesAnyText());
    for (Type type : List.of(Type.integer(), Type.decimal(9, 0), Type.date(), Type.timestamp())) {
      assertFalse(type.takesAnyText(), type.toString());
      assertFalse(type.form().isEmpty(), type.toString());
    }
  }

  @ParameterizedTest
  @CsvSource({
    "255, 0, 0, 1024", // up to here a buffer holds what shows one code point too many
    "256, 0, 0, 2",
    "256, 0, 9, 20",
    "256, 0, 512, 1026",
    "256, 0, 513, 1028",
    "256, 0, 5000, 1028",
    "256, 64, 0, 258", // the longest result, each of its code points two units
    "256, 64, 200, 402",
    "1000000, 5, 1, 22"
  })
  void theBufferOfALargeLimitFollowsItsValue(int limit, int longest, int units, int bytes) {
    ColumnRule rule = new ColumnRule("c", Type.varchar(limit), Rule.keep(), false);
    assertEquals(bytes, Column.of(rule, longest, OnError.UNSAID).bufferSize().forUnits(units));
  }

  @ParameterizedTest
  @CsvSource({
    "0, 84", // varchar(20): 4 bytes a code point and 4 more, whatever the input
    "20, 84",
    "5000, 84"
  })
  void theBufferOfALimitedColumnDoesNotDependOnTheInput(int units, int bytes) {
    Column column = Columns.of("c", Type.varchar(20), Rule.classes());
    assertEquals(bytes, column.bufferSize().forUnits(units));
  }

  @ParameterizedTest
  @CsvSource({"0, 130", "64, 130", "65, 132", "5000, 10002"})
  void theBufferOfATextColumnHoldsTheInputAndTheLongestResult(int units, int bytes) {
    Column column = Columns.of("c", Type.text(), Rule.hash());
    assertEquals(32, column.limit());
    assertEquals(bytes, column.bufferSize().forUnits(units));
  }

  @Test
  void theBufferOfATextColumnHoldsTheTextThatReplacesAnError() {
    Column column = Columns.of("c", Type.text(), Rule.keep());
    assertEquals(2, column.bufferSize().forUnits(0));
    Column replaced = Column.of(column.rule(), 0, OnError.fixed("a😀b😀c"));
    assertEquals(2 * (2 * 5 + 1), replaced.bufferSize().forUnits(0));
    assertEquals(5, replaced.limit());
  }

  @Test
  void anInputTooLongForAnyBufferIsRefusedBeforeItIsSent() {
    Column column = Columns.of("c", Type.text(), Rule.keep());
    int longest = Integer.MAX_VALUE / 2 - 1;
    column.requireRoom(0, longest);
    assertEquals(Integer.MAX_VALUE - 1, column.bufferSize().forUnits(longest));
    String refusal =
        assertThrows(IllegalArgumentException.class, () -> column.requireRoom(6, longest + 1))
            .getMessage();
    assertTrue(refusal.startsWith("row 7, column \"c\": no buffer holds"), refusal);
  }

  @Test
  void aValueTooLongForAnyBufferIsRefusedWithItsPlace() throws Exception {
    List<String> options = new ArrayList<>(LargeValueProbe.OPTIONS);
    options.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    String classPath = System.getProperty("java.class.path");
    ChildJvm child = ChildJvm.run(options, classPath, LargeValueProbe.class.getName());
    assertEquals(0, child.exitCode(), child.output());
    assertTrue(child.output().contains("refused: row 2, column \"c\": no buffer"), child.output());
    assertTrue(child.output().contains("masked: fits"), child.output());
  }

  @Test
  void anInputTooLongForALimitedColumnIsLeftToTheEngineToRefuse() {
    Columns.of("c", Type.varchar(9), Rule.keep()).requireRoom(0, Integer.MAX_VALUE);
  }

  @Test
  void aResultTooLongForAnyBufferIsRefusedWithItsColumn() {
    int longest = 500_000_000;
    ColumnRule rule = new ColumnRule("c", Type.text(), Rule.keep(), false);
    Column column = Column.of(rule, longest, OnError.UNSAID);
    assertEquals(2 * (2 * longest + 1), column.bufferSize().forUnits(0));
    String refusal =
        assertThrows(
                IllegalArgumentException.class, () -> Column.of(rule, longest + 1, OnError.UNSAID))
            .getMessage();
    assertTrue(refusal.startsWith("column \"c\": no buffer holds"), refusal);
  }

  private static void refused(Executable declaration) {
    assertThrows(IllegalArgumentException.class, declaration);
  }
}
