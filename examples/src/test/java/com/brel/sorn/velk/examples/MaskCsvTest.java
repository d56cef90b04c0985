package com.brel.sorn.velk.examples;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class MaskCsvTest {
  private static String output;
  private static List<String> before;
  private static List<String> after;

  @BeforeAll
  static void maskThePeople() throws Throwable {
    String file = Example.file("people.csv").toString();
    output = Example.outputOf(() -> MaskCsv.main(new String[] {file}));
    before = output.lines().filter(line -> line.startsWith("before ")).toList();
    after = output.lines().filter(line -> line.startsWith("after ")).toList();
  }

  @Test
  void everyRowIsShownBeforeAndAfter() {
    assertEquals(50, before.size());
    assertEquals(50, after.size());
    assertTrue(output.startsWith("VELK reference engine "), output);
  }

  @Test
  void theMaskedRowsShowNothingThatTheRulesHide() {
    String masked = String.join("\n", after);
    for (String secret :
        List.of("4012 8888", "5105", "zoe.martin", "@example", "Zoë", "Θεσσαλονίκη", "王小明")) {
      assertTrue(String.join("\n", before).contains(secret), secret);
      assertFalse(masked.contains(secret), secret);
    }
  }

  @Test
  void nullAndEmptyValuesStayWhatTheyAre() {
    assertTrue(after.get(32).matches("after +33 +\\(null\\) .*"), after.get(32));
    assertTrue(after.get(33).matches("after +34 +\"\" .*"), after.get(33));
  }

  @Test
  void aFileWithoutRowsIsRefused(@TempDir Path folder) throws Exception {
    for (String content : List.of("", "id,name\n")) {
      Path file = Files.writeString(folder.resolve("people.csv"), content);
      String[] arguments = {file.toString()};
      String refusal = assertThrows(IOException.class, () -> MaskCsv.main(arguments)).getMessage();
      assertTrue(refusal.contains("at least one row"), refusal);
    }
  }

  @Test
  void noControlCharacterReachesTheTerminal() {
    assertEquals("a⏎b", MaskCsv.show("a\nb"));
    assertEquals("a\uFFFDb\uFFFDc\uFFFD[2J\uFFFD", MaskCsv.show("a\rb\tc\u001B[2J\u009B"));
    assertEquals("👩‍🚀 é", MaskCsv.show("👩‍🚀 é"));
  }

  @Test
  void theValuesThatCannotBeMaskedAreListedWithTheirCode() {
    List<String> errors = output.lines().filter(line -> line.startsWith("  row ")).toList();
    assertEquals(3, errors.size(), output);
    assertTrue(errors.get(0).startsWith("  row 29, column name, error 7502: "), errors.get(0));
    assertTrue(errors.get(1).startsWith("  row 43, column card, error 7502: "), errors.get(1));
    assertTrue(errors.get(2).startsWith("  row 47, column id, error 7503: "), errors.get(2));
    assertTrue(after.get(28).contains("(error)"), after.get(28));
    assertTrue(output.contains("50 rows masked, 3 values could not be masked:"), output);
  }
}
