package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class MaskTest {
  /** A column of at most three characters, so that "long" is an error. */
  private static final String SHORT = "service=s a=keep a.type=varchar(3) b=keep";

  @TempDir Path folder;

  @Test
  void columnsAreMatchedByNameInAnyOrder() {
    Run run = Run.mask("service=s c=keep a=fixed('A') b=null", "a,b,c\n1,2,3\n4,5,6\n");
    assertEquals("a,b,c\nA,,3\nA,,6\n", run.expect(ExitCode.DONE).out());
  }

  @Test
  void aRuleWithoutItsColumnAndAColumnWithoutARuleAreRefused() {
    Run rule = Run.mask("service=s a=keep A=keep", "a\n1\n").expect(ExitCode.USAGE);
    assertTrue(
        rule.err()
            .contains("there is a rule for column \"A\" (line 1, column 18), and no such column"),
        rule.err());
    Run column = Run.mask("service=s a=keep", "a,\"a \"\n1,2\n").expect(ExitCode.USAGE);
    assertTrue(column.err().contains("there is no rule for column \"a \""), column.err());
    assertEquals("", rule.out() + column.out());
  }

  @Test
  void aWrongMaskingStringIsToldWithItsPlace() {
    Run run = Run.mask("service=s a=kep", "a\n1\n").expect(ExitCode.USAGE);
    assertTrue(run.err().contains("line 1, column 13"), run.err());
    assertTrue(run.err().contains("Did you mean \"keep\"?"), run.err());
    Run zero = Run.mask("service=s a=\0", "a\n1\n").expect(ExitCode.USAGE);
    assertTrue(zero.err().contains("line 1, column 13"), zero.err());
  }

  @Test
  void aWrongCommandLineIsTold() throws IOException {
    String in = Files.writeString(folder.resolve("in.csv"), "a,b\n1,2\n").toString();
    Run.velk().expect(ExitCode.USAGE);
    Run.velk("mash").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, in).expect(ExitCode.USAGE);
    Run.velk("mask", in, "-").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, "-r", in, in, "-").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, "-j", "0", in, "out").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, "-j", "257", in, "-").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, "--on-error", "keep", in, "-").expect(ExitCode.USAGE);
    Run.velk("mask", "-s", SHORT, "--max-errors", "-1", in, "-").expect(ExitCode.USAGE);
    Run same = Run.velk("mask", "-s", SHORT, in, in).expect(ExitCode.USAGE);
    assertTrue(same.err().contains("take the place of the input"), same.err());
    assertEquals("a,b\n1,2\n", Files.readString(Path.of(in)));
  }

  @Test
  void aNameThatNoFileCanHaveIsTold() {
    Run run = Run.velk("mask", "-s", SHORT, "a\0b", "-").expect(ExitCode.USAGE);
    assertEquals("velk: \"a\\u{0}b\" cannot be the name of a file\n", run.err());
    Run.velk("mask", "-s", SHORT, "-", "a\0b").expect(ExitCode.USAGE);
    Run.velk("mask", "-r", "a\0b", "-", "-").expect(ExitCode.USAGE);
  }

  @Test
  void anEmptyMaskingStringIsTold() throws IOException {
    Path rules = Files.createFile(folder.resolve("rules"));
    for (String[] given : new String[][] {{"-s", ""}, {"-r", rules.toString()}}) {
      Run run = Run.velk("mask", given[0], given[1], "-", "-").expect(ExitCode.USAGE);
      assertEquals("velk: line 1, column 1: the masking string is empty\n", run.err());
    }
  }

  @Test
  void aFileFarTooLongForRulesIsNotReadToItsEnd() throws IOException {
    Path rules = Files.writeString(folder.resolve("rules"), "#".repeat((1 << 20) + 1));
    Run run = Run.velk("mask", "-r", rules.toString(), "-", "-").expect(ExitCode.USAGE);
    assertEquals("velk: " + rules + ": far too long for a masking string\n", run.err());
  }

  @Test
  void theRulesComeFromAFile() throws IOException {
    Path rules = folder.resolve("my rules");
    Files.writeString(rules, "# a comment\nservice=s\na = fixed('ä')  # another one");
    Run run = Run.velk("a\n1\n".getBytes(), 0, "mask", "--rules", rules.toString(), "-", "-", "-q");
    assertEquals("a\nä\n", run.expect(ExitCode.DONE).out());
    Files.write(rules, new byte[] {'a', '\n', (byte) 0xFF});
    Run bad = Run.velk("mask", "-r", rules.toString(), "-", "-").expect(ExitCode.USAGE);
    assertTrue(bad.err().contains("byte 2, line 2"), bad.err());
    Run.velk("mask", "-r", "no such file", "-", "-").expect(ExitCode.INPUT_OUTPUT);
  }

  @Test
  void aKeyThatIsMissingOrUnusableIsAFailureOfTheEngine() throws IOException {
    Path file = Files.writeString(folder.resolve("key"), "short");
    String csv = "a\n1\n";
    Run.mask("service=s key=env:NO_SUCH_KEY a=hash", csv).expect(ExitCode.ENGINE);
    Run.mask("service=s key='file:" + file + "' a=hash", csv).expect(ExitCode.ENGINE);
    Run.mask("service=s key='file:" + file + "x' a=hash", csv).expect(ExitCode.ENGINE);
  }

  @Test
  void aValueThatCannotBeMaskedBecomesNullWhereNothingIsSaid() {
    Run run = Run.mask(SHORT, "a,b\nlong,1\nabc,2\n").expect(ExitCode.FIELD_ERRORS);
    assertEquals("a,b\n,1\nabc,2\n", run.out());
  }

  @Test
  void theMaskingStringSaysWhatBecomesOfAValueInError() {
    String csv = "a,b\nlong,1\nabc,2\n";
    String fixed = SHORT + " on_error=fixed('?')";
    assertEquals("a,b\n?,1\nabc,2\n", Run.mask(fixed, csv).expect(ExitCode.FIELD_ERRORS).out());
    Run stop = Run.mask(SHORT + " on_error=stop", csv).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(stop.err().contains("row 1, column \"a\": error 7502"), stop.err());
  }

  @Test
  void theOptionWinsOverTheMaskingString() {
    String csv = "a,b\n1,1\n4321,2\n";
    for (String said :
        new String[] {"", " on_error=null", " on_error=fixed('?')", " on_error=stop"}) {
      String rules = SHORT + said;
      Run toNull = Run.mask(rules, csv, "--on-error", "null").expect(ExitCode.FIELD_ERRORS);
      assertEquals("a,b\n1,1\n,2\n", toNull.out());
      Run fixed = Run.mask(rules, csv, "--on-error=fixed", "--error-text", "gone");
      assertEquals("a,b\n1,1\ngone,2\n", fixed.expect(ExitCode.FIELD_ERRORS).out());
      Run stop = Run.mask(rules, csv, "--on-error", "stop").expect(ExitCode.INPUT_OUTPUT);
      assertTrue(stop.err().contains("row 2, column \"a\": error 7502"), stop.err());
      assertFalse(stop.err().contains("4321"), stop.err());
    }
  }

  @Test
  void theTextOfTheOptionIsForColumnsOfEveryType() {
    Run run = Run.mask("service=s a=keep a.type=integer", "a\nx\n", "--on-error", "fixed");
    assertEquals("a\n***\n", run.expect(ExitCode.FIELD_ERRORS).out());
  }

  @Test
  void moreThanTheMostErrorsEndTheRun() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b\nlong,1\nlong,2\n");
    Path out = folder.resolve("out.csv");
    String[] command = {"mask", "-s", SHORT, in.toString(), out.toString(), "--max-errors", "1"};
    Run run = Run.velk(command).expect(ExitCode.INPUT_OUTPUT);
    String told =
        "more than 1 value could not be masked; the first: row 1, column \"a\": error 7502: ";
    assertTrue(run.err().startsWith("velk: " + told), run.err());
    assertFalse(Files.exists(out));
    command[command.length - 1] = "2";
    Run.velk(command).expect(ExitCode.FIELD_ERRORS);
    assertEquals("a,b\n,1\n,2\n", Files.readString(out));
  }

  @Test
  void aFileIsMaskedInTheOrderOfItsRows() throws IOException {
    StringBuilder csv = new StringBuilder("a,b\n");
    for (int row = 0; row < 30_000; row++) {
      // Now and then a row that is masked on its own.
      csv.append(row).append(',').append(row % 7001 == 5 ? "x".repeat(20_000) : "x").append('\n');
    }
    Path in = Files.writeString(folder.resolve("in.csv"), csv);
    Path out = folder.resolve("out.csv");
    Run.velk("mask", "-s", "service=s a=keep b=keep", in.toString(), out.toString())
        .expect(ExitCode.DONE);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void everyFileMayHaveANameInAnyLanguage() throws IOException {
    Path all = Files.createDirectory(folder.resolve("Zoë 王小明 😀"));
    Path key = Files.writeString(all.resolve("ключ"), "a key of sixteen bytes");
    Path names = Files.writeString(all.resolve("이름"), "one\ntwo\n");
    Path rules = all.resolve("κανόνες");
    Files.writeString(
        rules, "service=s key='file:" + key + "' a=dict(file='" + names + "') b=hash(length=8)");
    Path in = Files.writeString(all.resolve("入.csv"), "a,b\n1,2\n");
    Path out = all.resolve("出.csv");
    Path report = all.resolve("דוח");
    Run.velk("mask", "-r", rules.toString(), in.toString(), out.toString(), "--report", "" + report)
        .expect(ExitCode.DONE);
    String masked = Files.readString(out);
    assertTrue(masked.matches("a,b\n(one|two),[0-9a-f]{8}\n"), masked);
    assertTrue(Files.readString(report).startsWith(in + " -> " + out), Files.readString(report));
  }

  @Test
  void theOutputAppearsWhenItIsCompleteInPlaceOfAFormerOne() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b\n1,2\n");
    Path out = Files.writeString(folder.resolve("out.csv"), "former");
    Run.velk("mask", "-s", SHORT, in.toString(), out.toString()).expect(ExitCode.DONE);
    assertEquals("a,b\n1,2\n", Files.readString(out));
    try (Stream<Path> files = Files.list(folder)) {
      assertEquals(2, files.count());
    }
  }

  @Test
  void progressIsALineNowAndThenWhereThereIsNoTerminal() {
    Run run = Run.mask(SHORT, "a,b\n1,2\n").expect(ExitCode.DONE);
    assertTrue(run.err().matches("(?s)1 row, \\d+ rows/s\\R.*"), run.err());
    assertFalse(run.err().replace(System.lineSeparator(), "").contains("\r"), run.err());
  }

  @Test
  void aLineOfProgressTellsRowsRateShareAndTimeLeft() {
    java.io.ByteArrayOutputStream err = new java.io.ByteArrayOutputStream();
    Progress.Lines lines = new Progress.Lines(new PrintStream(err, true), 200, 0);
    lines.update(12, 50);
    assertTrue(err.toString().matches("12 rows, \\d+ rows/s, 25%, \\d+ s left\\R"), err.toString());
  }

  @Test
  void progressIsABarOnATerminal() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b\n1,2\n");
    String out = folder.resolve("out.csv").toString();
    Run run = Run.velk(new byte[0], 100, "mask", "-s", SHORT, in.toString(), out);
    run.expect(ExitCode.DONE);
    assertTrue(run.err().startsWith("\r"), run.err());
    // The share, the time gone and left, the rows.
    String bar = "masking 100%.*\\(0:00:\\d\\d / 0:00:00\\) 1 row, \\d+ rows/s";
    assertTrue(run.err().matches("(?s).*" + bar + ".*"), run.err());
  }

  @Test
  void nothingIsToldWhereQuietIsAskedFor() {
    assertEquals("", Run.mask(SHORT, "a,b\nlong,2\n", "--quiet").err());
  }

  @Test
  void anOutputThatFailsIsToldByTheExitCode() {
    byte[] in = "a,b\n1,2\n".getBytes(StandardCharsets.UTF_8);
    OutputStream full =
        new OutputStream() {
          @Override
          public void write(int b) throws IOException {
            throw new IOException("no room");
          }
        };
    ByteArrayOutputStream err = new ByteArrayOutputStream();
    int exitCode = Velk.run(Run.streams(in, full, err, 0), "mask", "-q", "-s", SHORT, "-", "-");
    assertEquals(ExitCode.INPUT_OUTPUT, exitCode);
    assertEquals("velk: no room\n", err.toString(StandardCharsets.UTF_8));
  }

  @Test
  void anErrorThatNobodyForesawIsInternalAndItsMessageIsNotShown() {
    Failure failure = Velk.failure(new IllegalStateException("a value"));
    assertEquals(ExitCode.INTERNAL, failure.exitCode());
    assertTrue(failure.getMessage().startsWith("internal error: java.lang.IllegalState"));
    assertFalse(failure.getMessage().contains("a value"));
  }

  @Test
  void everyExitCodeIsToldByTheHelp() {
    String help = Run.velk("--help").expect(ExitCode.DONE).out();
    String[] paragraphs = help.replaceAll("\\R", "\n").split("\n\n");
    String codes = paragraphs[paragraphs.length - 2] + "\n";
    assertEquals(
        """
        Exit codes:
          0     done
          1     internal error
          2     the command line or the masking string is wrong
          3     done, but some values could not be masked, or are not as they were to be
          4     input or output failed, or --on-error stop or --max-errors ended the run
          5     the libraries or the engine failed; the key is missing or cannot be used
          141   standard output was a pipe, and its reader closed it
        """,
        codes);
  }

  @Test
  void helpAndVersionAreTold() {
    assertTrue(Run.velk("--help").expect(ExitCode.DONE).out().contains("Exit codes:"));
    assertTrue(Run.velk("help", "mask").expect(ExitCode.DONE).out().contains("--on-error"));
    assertTrue(Run.velk("--version").expect(ExitCode.DONE).out().startsWith("velk "));
    assertFalse(Run.velk("--help").out().contains("mask-slice"));
  }
}
