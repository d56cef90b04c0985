package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

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
    assertEquals(29, Type.timestamp().limit());
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
