package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.Random;
import java.util.TreeSet;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class ReportTest {
  private static final String RULES =
      "service=s key=env:MASK_KEY on_error=fixed('!!') code=keep code.type=varchar(4)"
          + " name=classes name.type=varchar(12) note=null card=card(keep_first=6)";
  private static final int ROWS = 4_000;

  @TempDir Path folder;
  private Path in;
  private Path out;

  @BeforeEach
  void writeInput() throws IOException {
    Random random = new Random(7);
    String[] codes = {"ab", "abcd", "abcde", "", "\"\"", "\"a,b\""};
    String[] names = {"Zoë", "---", "", "\"\"", "Konstantinopolis", "\"a\nb\"", "😀"};
    String[] notes = {"n1", "", "\"\""};
    String[] cards = {"4012 8888 8888 1881", "4012", "", "none", "5105105105105100"};
    StringBuilder csv = new StringBuilder("code,name,note,card\n");
    for (int row = 0; row < ROWS; row++) {
      csv.append(any(codes, random)).append(',').append(any(names, random)).append(',');
      csv.append(any(notes, random)).append(',').append(any(cards, random)).append('\n');
    }
    in = Files.writeString(folder.resolve("in.csv"), csv);
    out = folder.resolve("out.csv");
  }

  private static String any(String[] values, Random random) {
    return values[random.nextInt(values.length)];
  }

  private Run run(String... options) {
    List<String> arguments =
        new ArrayList<>(List.of("mask", "-s", RULES, in.toString(), out.toString()));
    arguments.addAll(List.of(options));
    return Run.velk(arguments.toArray(String[]::new)).expect(ExitCode.FIELD_ERRORS);
  }

  @Test
  void theCountsOfAReportAreThoseOfTheFiles() throws IOException {
    JsonNode report = run("--report-format", "json").report();
    List<CsvRow> before = rows(in);
    List<CsvRow> after = rows(out);
    assertEquals(ROWS, report.get("rows").asLong());
    assertEquals(before.size(), after.size());
    for (int column = 0; column < 4; column++) {
      recount(report.get("columns").get(column), column, before, after);
    }
  }

  /** Errors alone are not read off the files: this masking string marks them, and nothing else. */
  private static void recount(JsonNode told, int column, List<CsvRow> before, List<CsvRow> after) {
    long masked = 0;
    long nulls = 0;
    long equal = 0;
    TreeSet<Long> errors = new TreeSet<>();
    for (int row = 0; row < before.size(); row++) {
      String was = before.get(row).values()[column];
      String is = after.get(row).values()[column];
      if ("!!".equals(is)) {
        errors.add(row + 1L);
      } else if (!Objects.equals(was, is)) {
        masked++;
      } else if (was == null) {
        nulls++;
      } else {
        equal++;
      }
    }
    assertEquals(before.size(), told.get("rows").asLong());
    assertEquals(masked, told.get("masked").asLong());
    assertEquals(nulls, told.get("nullsKept").asLong());
    assertEquals(equal, told.get("leftEqual").asLong());
    long count = 0;
    TreeSet<Long> rows = new TreeSet<>();
    for (JsonNode error : told.get("errors")) {
      count += error.get("count").asLong();
      assertFalse(error.get("text").asText().isEmpty());
      assertTrue(error.get("firstRows").size() <= 10);
      error.get("firstRows").forEach(row -> rows.add(row.asLong()));
    }
    assertEquals(errors.size(), count);
    assertTrue(errors.containsAll(rows), rows + " among " + errors.size());
    assertEquals(errors.isEmpty(), rows.isEmpty());
    if (!errors.isEmpty()) {
      assertEquals(errors.first(), rows.first());
    }
  }

  private static List<CsvRow> rows(Path file) throws IOException {
    List<CsvRow> rows = new ArrayList<>();
    try (CsvSource source = new CsvSource(Files.newInputStream(file))) {
      source.next();
      for (CsvRow row = source.next(); row != null; row = source.next()) {
        rows.add(row);
      }
    }
    return rows;
  }

  @Test
  void errorsAreToldByTheirCodeWithTheirText() throws IOException {
    JsonNode column = run("--report-format=json").report().get("columns").get(0);
    JsonNode error = column.get("errors").get("7502");
    assertTrue(error.get("text").asText().startsWith("the value is longer"), error.toString());
    assertEquals(10, error.get("firstRows").size());
  }

  @Test
  void neitherReportHoldsAValueOfTheInput() throws IOException {
    for (String format : List.of("text", "json")) {
      String report = run("--report-format", format).err();
      for (String value : List.of("abcd", "Zoë", "Konstantin", "8888", "51051")) {
        assertFalse(report.contains(value), report);
      }
    }
  }

  @Test
  void theReportNamesTheEngineTheFilesAndTheRules() throws IOException {
    JsonNode report = run("--report-format", "json").report();
    assertTrue(report.get("engine").asText().startsWith("VELK reference engine "));
    assertEquals(in.toString(), report.get("input").asText());
    assertEquals(out.toString(), report.get("output").asText());
    assertEquals("card(keep_first=6)", report.get("columns").get(3).get("rule").asText());
  }

  @Test
  void theReportInTextHasTheSameCounts() throws IOException {
    JsonNode told = run("--report-format", "json").report().get("columns").get(1);
    String text = run().err();
    String line = text.lines().filter(l -> l.startsWith("name ")).findFirst().orElseThrow();
    String[] cells = line.split(" {2,}");
    assertEquals(told.get("masked").asText(), cells[3]);
    assertEquals(told.get("nullsKept").asText(), cells[4]);
    assertEquals(told.get("leftEqual").asText(), cells[5]);
    assertTrue(text.contains("key fingerprint: "), text);
    assertTrue(text.contains("column \"card\", error 7509, "), text);
  }

  @Test
  void theReportGoesToAFileWhereOneIsNamed() throws IOException {
    Path file = folder.resolve("report.json");
    Run run = run("-q", "--report", file.toString(), "--report-format", "json");
    assertEquals("", run.err());
    assertTrue(Files.readString(file).startsWith("{\n  \"input\" : "));
  }

  @Test
  void linesEndAlikeOnEveryPlatform() throws Exception {
    for (String format : List.of("text", "json")) {
      Run run =
          Run.ofItsOwn(
              List.of("-Dline.separator=\r\n"),
              "mask",
              "-s",
              RULES,
              in.toString(),
              out.toString(),
              "--report-format",
              format);
      assertFalse(run.expect(ExitCode.FIELD_ERRORS).err().contains("\r"), run.err());
      assertFalse(Files.readString(out).contains("\r"));
    }
  }

  @Test
  void theReportGoesToStandardOutputWhereThatIsNamed() throws IOException {
    Run run = run("-q", "--report", "-", "--report-format", "json");
    assertEquals(ROWS, new ObjectMapper().readTree(run.out()).get("rows").asLong());
    assertEquals("", run.err());
  }

  @Test
  void aReportThatCannotBeWrittenFailsTheRunBeforeItsOutputAppears() throws IOException {
    Path report = folder.resolve("no/such/folder/report");
    Run run = mask(out.toString(), report.toString()).expect(ExitCode.INPUT_OUTPUT);
    assertEquals("velk: " + report + ": there is no such file or directory\n", run.err());
    assertFalse(Files.exists(out));
  }

  @Test
  void aRunThatFailsLeavesAFormerReportAlone() throws IOException {
    Path report = Files.writeString(folder.resolve("report"), "former");
    Files.writeString(in, "code,name\n");
    mask(out.toString(), report.toString()).expect(ExitCode.USAGE);
    assertEquals("former", Files.readString(report));
  }

  @Test
  void theReportNeverTakesThePlaceOfAnotherFile() throws IOException {
    String before = Files.readString(in);
    Run input = mask(out.toString(), in.toString()).expect(ExitCode.USAGE);
    assertEquals("velk: the report would take the place of the input\n", input.err());
    assertEquals(before, Files.readString(in));
    String same = "velk: the output and the report would go to the same place\n";
    String other = folder.resolve("x/../out.csv").toString();
    assertEquals(same, mask(out.toString(), other).expect(ExitCode.USAGE).err());
    assertEquals(same, mask("-", "-").expect(ExitCode.USAGE).err());
    assertFalse(Files.exists(out));
  }

  private Run mask(String output, String report) {
    return Run.velk("mask", "-s", RULES, in.toString(), output, "--report", report);
  }

  @Test
  void theFingerprintTellsKeysApartAndNothingElse() throws IOException {
    String one = fingerprint("a key of sixteen bytes", "hash");
    assertEquals(one, fingerprint("a key of sixteen bytes", "classes"));
    assertNotEquals(one, fingerprint("another key of sixteen", "hash"));
    assertTrue(one.matches("[0-9a-f]{16}"), one);
  }

  private String fingerprint(String key, String rule) throws IOException {
    Path file = Files.writeString(folder.resolve("key"), key);
    Run run =
        Run.mask("service=s key='file:" + file + "' a=" + rule, "a\nx\n", "--report-format=json");
    return run.report().get("keyFingerprint").asText();
  }

  @Test
  void thereIsNoFingerprintWithoutAKey() throws IOException {
    JsonNode report = Run.mask("service=s a=keep", "a\nx\n", "--report-format=json").report();
    assertTrue(report.get("keyFingerprint").isNull());
  }
}
