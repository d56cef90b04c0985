package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.Rule;
import com.brel.sorn.velk.masking.Type;
import com.fasterxml.jackson.databind.JsonNode;
import java.io.IOException;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;

/** Results that are no errors, and not as they were to be either. */
class ResultsTest {
  private static final String UNIQUE = "service=s a=partial(keep_last=1) a.unique=true b=keep";
  private static final String LOSSY =
      "velk: warning: column \"a\" is to stay unique, and partial may give two values the same"
          + " result\n";

  @Test
  void whatTheCheckWarnsOfIsSaidOnceBeforeMasking() {
    Run run = Run.mask(UNIQUE, "a,b\nvwxyz1,1\nvwxyz2,1\n").expect(ExitCode.DONE);
    assertTrue(run.err().startsWith(LOSSY), run.err());
    assertEquals(run.err().indexOf(LOSSY), run.err().lastIndexOf(LOSSY));
    assertTrue(
        run.err().contains("column \"a\" is to stay unique: 0 values repeated\n"), run.err());
  }

  @Test
  void resultsThatRepeatEndTheRunWithItsOwnExitCodeAndAreCounted() throws IOException {
    String csv = "a,b\nvwxyz1,1\nabcde1,1\nfghij1,1\nfghij2,1\n,1\n,1\n";
    Run run = Run.mask(UNIQUE, csv, "--report-format=json").expect(ExitCode.FIELD_ERRORS);
    assertEquals("a,b\n*****1,1\n*****1,1\n*****1,1\n*****2,1\n,1\n,1\n", run.out());
    JsonNode columns = run.report().get("columns");
    assertEquals(
        "{\"count\":2,\"rows\":6,\"complete\":true}", columns.get(0).get("repeats").toString());
    assertFalse(columns.get(1).has("repeats"));
    Run text = Run.mask(UNIQUE, csv, "-j", "2").expect(ExitCode.FIELD_ERRORS);
    assertTrue(
        text.err().contains("column \"a\" is to stay unique: 2 values repeated"), text.err());
    assertEquals(LOSSY, Run.mask(UNIQUE, csv, "-q").expect(ExitCode.FIELD_ERRORS).err());
  }

  @Test
  void aCheckThatHadToStopIsNeverShownAsPassed() {
    CsvReport.Column column =
        new CsvReport.Column(
            new ColumnRule("a", Type.text(), Rule.hash(), true),
            9,
            0,
            0,
            0,
            Map.of(),
            new CsvReport.Repeats(0, 7, false));
    Report report = new Report(new CsvReport(9, List.of(column)));
    report.input = "in";
    report.output = "out";
    String told =
        "column \"a\" is to stay unique: 0 values repeated in the first 7 rows; the others"
            + " were not checked\n";
    assertTrue(ReportFormat.TEXT.write(report, 0).endsWith(told));
    assertTrue(ReportFormat.JSON.write(report, 0).contains("\"complete\" : false"));
    assertEquals(
        List.of("column \"a\": whether it is unique was checked in the first 7 rows only"),
        report.unchecked());
  }

  @Test
  void valuesLeftAsTheyWereAreAWarningAndFailTheRunWhereThatIsAsked() throws IOException {
    String rules = "service=s a=fixed('x') b=keep c=null";
    String csv = "a,b,c\nx,1,\nx,1,2\ny,1,\n";
    String warning = "velk: warning: column \"a\": 2 values came out as they went in\n";
    Run run = Run.mask(rules, csv).expect(ExitCode.DONE);
    assertTrue(run.err().contains(warning), run.err());
    assertFalse(run.err().contains("column \"b\""), run.err());
    assertFalse(run.err().contains("column \"c\""), run.err());
    assertEquals("", Run.mask(rules, csv, "-q").expect(ExitCode.DONE).err());
    Run failed = Run.mask(rules, csv, "--fail-on-unchanged", "--report-format=json");
    assertTrue(failed.expect(ExitCode.FIELD_ERRORS).err().contains(warning), failed.err());
    assertEquals(2, failed.report().get("columns").get(0).get("leftEqual").asLong());
    assertEquals("a,b,c\nx,1,\nx,1,\nx,1,\n", failed.out());
    Run.mask("service=s a=fixed('z') b=keep c=null", csv, "--fail-on-unchanged")
        .expect(ExitCode.DONE);
  }

  @Test
  void ofAThousandColumnsTheFirstAreToldOfAndHowManyThereAre() throws IOException {
    StringBuilder header = new StringBuilder("c0");
    StringBuilder row = new StringBuilder("x");
    for (int i = 1; i < 1000; i++) {
      header.append(",c").append(i);
      row.append(",x");
    }
    Run run = Run.mask("service=s *=fixed('x')", header + "\n" + row + "\n");
    List<String> warnings =
        run.expect(ExitCode.DONE).err().lines().filter(line -> line.contains("warning")).toList();
    assertEquals(21, warnings.size());
    assertEquals("velk: warning: column \"c19\": 1 value came out as it went in", warnings.get(19));
    assertEquals("velk: warning: the same is true of 980 other columns", warnings.get(20));
  }

  @Test
  void emptyValuesHaveNothingThatCouldHaveBeenMasked() throws IOException {
    String csv = "a,b\n\"\",\n\"\",\n";
    Run run =
        Run.mask(
            "service=s a=partial b=partial", csv, "--fail-on-unchanged", "--report-format=json");
    assertFalse(run.expect(ExitCode.DONE).err().contains("warning"), run.err());
    assertEquals(2, run.report().get("columns").get(0).get("leftEqual").asLong());
    assertEquals(csv, run.out());
  }
}
