package com.brel.sorn.velk.cli;

import static java.util.stream.Collectors.joining;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Where masking of files is known to go wrong. */
class MaskingPitfallsTest {
  @TempDir Path folder;

  @Test
  void aValueShorterThanWhatAPartialMaskKeepsNeverComesBackClear() {
    String csv = "a\nSecret\nabc\na\n";
    Run run =
        Run.mask("service=s key=env:MASK_KEY a=partial(keep_first=3, keep_last=4)", csv, "-q");
    List<String> lines = run.expect(ExitCode.DONE).out().lines().skip(1).toList();
    assertEquals(3, lines.size());
    for (String value : List.of("Secret", "abc", "a")) {
      assertFalse(lines.contains(value), lines.toString());
    }
  }

  @Test
  void aBreakInsideOfQuotesNeverSplitsARow() throws IOException {
    for (String inside : List.of("\n", "\r\n", "\r", "\n\n", "x\r", "\r,", "\"\"\n\"\"")) {
      String csv = "a,b\n1,\"" + inside + "\"\n\"" + inside + "\",2\n\"" + inside + "\",3";
      Run run = Run.mask("service=s a=keep b=keep", csv, "-q").expect(ExitCode.DONE);
      assertEquals(csv, run.out());
      assertEquals(3, rows(run.bytes()).size());
    }
  }

  @Test
  void noSurrogatePairIsEverSplit() {
    String csv = "a\n😀x😀\n😀😀😀\n😀\n";
    String partial = "service=s a=partial(keep_first=1, keep_last=1, with='#', hide_least=1)";
    assertEquals("a\n😀#😀\n😀#😀\n#\n", Run.mask(partial, csv, "-q").expect(0).out());
    // What does not fit is an error, never a part of it.
    String limited = "service=s a=keep a.type=varchar(2)";
    Run run = Run.mask(limited, csv, "-q").expect(ExitCode.FIELD_ERRORS);
    assertEquals("a\n\n\n😀\n", run.out());
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "classes", "hash", "card(keep_first=6)", "email(domain=example.com)",
        "dict(list=cities)", "dateshift(days=1000)", "noise(percent=50)",
            "ff1(alphabet='0123456789')"
      })
  void anotherKeyGivesAnotherOutputForEveryKeyedFunction(String rule) throws IOException {
    String value =
        switch (rule.substring(0, Math.min(4, rule.length()))) {
          case "emai" -> "someone@example.org";
          case "date" -> "2001-02-03";
          case "card", "ff1(" -> "4012888888881881";
          case "nois" -> "123456789.12";
          default -> "Someone's value 42";
        };
    String type =
        rule.startsWith("date")
            ? " a.type=date"
            : rule.startsWith("noise") ? " a.type=decimal(18,2)" : "";
    String csv = "a\n" + value + "\n";
    assertNotEquals(
        maskedBy("the first key of the two", rule + type, csv),
        maskedBy("the other key of the two", rule + type, csv));
    assertEquals(
        maskedBy("the first key of the two", rule + type, csv),
        maskedBy("the first key of the two", rule + type, csv));
  }

  private String maskedBy(String key, String rule, String csv) throws IOException {
    Path file = Files.writeString(folder.resolve("key"), key);
    return Run.mask("service=s key='file:" + file + "' a=" + rule, csv, "-q").expect(0).out();
  }

  @Test
  void aRunThatFailsLeavesNoOutputFile() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a\n" + "1\n".repeat(50_000) + "1,2\n");
    Path out = folder.resolve("out.csv");
    Run.velk("mask", "-s", "service=s a=keep", in.toString(), out.toString())
        .expect(ExitCode.INPUT_OUTPUT);
    assertFalse(Files.exists(out));
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "keep",
        "null",
        "fixed('x')",
        "partial(keep_first=1, keep_last=1)",
        "classes",
        "hash",
        "card(keep_first=6)",
        "email(domain=example.com)",
        "dict(list=first_names)",
        "dict(file='LIST')",
        "dateshift(days=30) a.type=date",
        "noise(percent=10) a.type=decimal(18,2)",
        "noise(percent=10) a.type=integer",
        "ff1(alphabet='0123456789')"
      })
  void everyFunctionTakesEveryNaughtyString(String rule) throws IOException {
    List<String> naughty = Naughty.strings();
    Path list = Files.writeString(folder.resolve("list"), "ä\n😀\n");
    rule = rule.replace("LIST", list.toString());
    String typed = rule.contains(".type") ? rule : rule + " a.type=varchar(200)";
    Run run = Run.mask("service=s key=env:MASK_KEY a=" + typed, column(naughty), "-q");
    assertTrue(
        run.exitCode() == ExitCode.DONE || run.exitCode() == ExitCode.FIELD_ERRORS, run.err());
    // Reading refuses what is not UTF-8, half a surrogate pair among it.
    List<CsvRow> rows = rows(run.bytes());
    assertEquals(naughty.size(), rows.size());
    for (CsvRow row : rows) {
      String value = row.values()[0];
      assertTrue(value == null || value.codePointCount(0, value.length()) <= 200, value);
    }
  }

  @Test
  void naughtyStringsThatAreKeptComeOutAsTheyWentIn() throws IOException {
    String csv = column(Naughty.strings());
    assertEquals(csv, Run.mask("service=s a=keep", csv, "-q").expect(ExitCode.DONE).out());
  }

  private static String column(List<String> values) {
    return "\"a\"\n" + values.stream().map(v -> Naughty.row(List.of(v))).collect(joining());
  }

  private static List<CsvRow> rows(byte[] csv) throws IOException {
    List<CsvRow> rows = new ArrayList<>();
    try (CsvSource source = new CsvSource(new ByteArrayInputStream(csv))) {
      source.next();
      for (CsvRow row = source.next(); row != null; row = source.next()) {
        rows.add(row);
      }
    }
    return rows;
  }
}
