package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** How a file is written, as every subcommand is told in the same way. */
class CsvOptionsTest {
  private static final String UNSURE =
      "velk: the first row looks like data: say --header if it names the columns,"
          + " --no-header if it does not\n";

  @TempDir Path folder;

  private static Run on(String csv, String... arguments) {
    return Run.velk(csv.getBytes(StandardCharsets.UTF_8), 0, arguments);
  }

  /** Each subcommand on a file and on standard input: mask, check, preview, init. */
  private static List<Run> all(String rules, String csv, String... options) {
    List<Run> runs = new ArrayList<>();
    for (List<String> command :
        List.of(
            List.of("mask", "-q", "-s", rules, "-", "-"),
            List.of("check", "-s", rules, "-"),
            List.of("preview", "-s", rules, "-"),
            List.of("init", "-"))) {
      List<String> arguments = new ArrayList<>(command);
      arguments.addAll(List.of(options));
      runs.add(on(csv, arguments.toArray(String[]::new)));
    }
    return runs;
  }

  @ParameterizedTest
  @ValueSource(strings = {";", "|", " ", "tab", "TAB", "\t", "a"})
  void theDelimiterIsWhatIsSaid(String delimiter) {
    String d = delimiter.equalsIgnoreCase("tab") ? "\t" : delimiter;
    String csv = "x" + d + "y\n\"1" + d + "\"" + d + "2,3\n";
    String rules = "service=s x=keep y=fixed('Y" + d + "')";
    List<Run> runs = all(rules, csv, "--delimiter", delimiter);
    runs.forEach(run -> assertEquals("", run.expect(ExitCode.DONE).err()));
    String masked = "x" + d + "y\n\"1" + d + "\"" + d + "\"Y" + d + "\"\n";
    assertEquals(masked, runs.get(0).out());
    assertTrue(runs.get(1).out().endsWith("2 columns, each with its rule\n"));
    assertEquals(2, runs.get(2).out().lines().count());
    assertTrue(runs.get(3).out().contains("\nx = null"), runs.get(3).out());
  }

  @ParameterizedTest
  @ValueSource(strings = {"", "ä", "\"", "\n", "\r", "\0", ",,", "tabs", "😀"})
  void noOtherDelimiterIsTaken(String delimiter) {
    for (Run run : all("service=s a=keep", "a\n1\n", "-d", delimiter)) {
      String message = "one character of ASCII that is no quote, or the word tab";
      assertTrue(run.expect(ExitCode.USAGE).err().contains(message), run.err());
      assertEquals("", run.out());
    }
  }

  @Test
  void aFileOfTabsIsKnownByItsName() throws IOException {
    for (String name : List.of("in.tsv", "IN.TSV")) {
      Path in = Files.writeString(folder.resolve(name), "a,1\tb\n1\t2\n");
      String rules = "service=s \"a,1\"=keep b=null";
      Run run = Run.velk("mask", "-q", "-s", rules, in.toString(), "-").expect(ExitCode.DONE);
      assertEquals("a,1\tb\n1\t\n", run.out());
      rules = "service=s a=keep \"1\tb\"=null";
      String[] comma = {"mask", "-q", "-s", rules, "-d", ",", in.toString(), "-", "--no-header"};
      Run.velk(comma).expect(ExitCode.USAGE);
      Files.delete(in);
    }
  }

  @Test
  void aHeaderThatHoldsAnotherDelimiterAloneIsTold() throws IOException {
    String semicolon =
        "velk: warning: the header is one value with \";\" in it: with --delimiter \";\" it would"
            + " be several\n";
    List<Run> runs = all("service=s * = null", "a;b\n1;2\n");
    runs.forEach(run -> assertEquals(semicolon, run.expect(ExitCode.DONE).err()));
    assertTrue(runs.get(1).out().endsWith("\n1 column, each with its rule\n"));
    Run unknown = on("a\tb\n", "check", "-s", "service=s a=keep b=keep", "-");
    String tab = "the header is one value with tab in it: with --delimiter tab it would be several";
    assertTrue(unknown.expect(ExitCode.USAGE).err().contains(tab), unknown.err());
    Path tsv = Files.writeString(folder.resolve("in.tsv"), "a,b\n");
    Run comma = Run.velk("init", tsv.toString()).expect(ExitCode.DONE);
    assertTrue(comma.err().contains("with \",\" in it"), comma.err());
    Run data = on("x;y\nz;1\n", "mask", "-q", "--no-header", "-s", "service=s c1=null", "-", "-");
    assertTrue(data.err().contains("the first row is one value with \";\""), data.err());
    // Who says it knows it, and two columns are no one.
    assertEquals("", on("a;b\n", "init", "-d", ",", "-").err());
    assertEquals("", on("a;b,c\n", "init", "-").err());
  }

  @Test
  void aTableWithoutAHeaderHasNumberedColumns() {
    List<Run> runs = all("service=s c2=fixed('X') c1=keep", "Zoë,1\n,2\n", "--no-header");
    assertEquals("Zoë,X\n,X\n", runs.get(0).expect(ExitCode.DONE).out());
    assertTrue(runs.get(1).expect(ExitCode.DONE).out().contains("\nc2      text  fixed("));
    assertEquals("c1      c2\nZoë     X\n(null)  X\n", runs.get(2).expect(ExitCode.DONE).out());
    assertTrue(runs.get(3).expect(ExitCode.DONE).out().contains("\nc1 = null  # "));
    Run wide = Run.mask("service=s c1=keep c2=keep", "a,b\n1\n", "--no-header");
    String message = "line 2: the row has 1 value, the first one 2";
    assertTrue(wide.expect(ExitCode.INPUT_OUTPUT).err().contains(message), wide.err());
    Run rows = Run.mask("service=s c1=keep", "a\nb\n", "--no-header", "--report-format", "json");
    assertTrue(rows.expect(ExitCode.DONE).err().contains("\"rows\" : 2,"), rows.err());
    Run empty = Run.mask("service=s c1=keep", "", "--no-header").expect(ExitCode.INPUT_OUTPUT);
    assertEquals("velk: the input is empty\n", empty.err());
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "Zoë,17\nIan,4\n",
        "Zoë,-1.5e3\nIan,4%\n",
        "Zoë,+34 600 11-22\nIan,(030) 1\n",
        "Zoë,2001-02-03\nIan,2001-12-31\n",
        "Zoë,2001-02-03T04:05:06Z\nIan,2001-12-31 23:59:59\n",
        "Zoë,31.12.2001\nIan,1.2.1999\n",
        "Zoë,z@example.com\nIan,i@example.org\n",
        "Zoë,17\n,\nIan,\n,4\n",
        // A number without a value in some row, blanks behind the comma.
        "Zoë,17\nIan,n/a\nAnn,4\n",
        "Zoë,17\nIan,\"\"\n",
        "Zoë, 17\nIan, 4\n",
        // Read with the wrong delimiter.
        "Zoë;17\nIan;4\n",
        "Zoë\tz@example.com\nIan\n",
        // Nothing below tells of a name.
        "1,2\n",
        "1,2\n,\n",
        "Zoë,z@example.com\n",
        "Zoë,2001-02-03\nIan,\n",
        // One column is enough, whatever stands in the others.
        "?,17\n5,4\n",
        // However people write numbers, dates, times, accounts and addresses.
        "Zoë,31.12.1999 10:00\nNo,01.01.2000 11:30\n",
        "Zoë,31-DEC-99\nNo,01-JAN-00\n",
        "Zoë,1999-12-31 noted down at the counter\nNo,2000-01-01\n",
        "Zoë,10:30\nNo,11:45\n",
        "Zoë,20200101T101112Z\nNo,20200102T101112Z\n",
        "Zoë,$12.50\nNo,$13\n",
        "Zoë,€ 12\nNo,13 €\n",
        "Zoë,\u221212\nNo,\u221213\n",
        "Zoë,#12\nNo,#13\n",
        "Zoë,'12'\nNo,'13'\n",
        "Zoë,１２\nNo,٣٤\n",
        "Zoë,192.168.1.2:80\nNo,10.0.0.1:81\n",
        "Zoë,DE89370400440532013000\nNo,GB82WEST12345698765432\n",
        "Zoë,Zoë Martín <zoe@example.com>\nNo,No One <no@example.com>\n"
      })
  void aFirstRowThatLooksLikeTheRowsBelowIsRefused(String csv) {
    String rules = "service=s * = keep";
    for (Run run : all(rules, csv)) {
      assertEquals(UNSURE, run.expect(ExitCode.USAGE).err());
      assertEquals("", run.out());
    }
    Run data = Run.mask(rules, csv, "-q", "--no-header");
    assertEquals(csv, data.expect(ExitCode.DONE).out());
    assertEquals(csv, Run.mask(rules, csv, "-q", "--header").expect(ExitCode.DONE).out());
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "name,age\nZoë,17\n",
        "name,2001\nZoë,17 years\n",
        "name,a@b\nZoë,z\n",
        "name,2001\n,17 years\n",
        "name,age\n",
        "name,e-mail\nz@example.com,i@example.org\n",
        "a,-\n1,2\n",
        "q1,v10,_2020,FY2020\n1,2,3,4\n",
        "name,1st line\nZoë,12 High Street\n",
        "name,sales_2020_01\nZoë,17\n",
        "name,@\nZoë,zoe@example.com\n"
      })
  void aFirstRowThatNamesColumnsIsTaken(String csv) {
    Run run = Run.mask("service=s * = keep", csv, "-q");
    assertEquals(csv, run.expect(ExitCode.DONE).out());
  }

  @Test
  void aFirstRowIsNotBoth() {
    for (Run run : all("service=s * = keep", "a\n1\n", "--header", "--no-header")) {
      run.expect(ExitCode.USAGE);
      assertEquals("", run.out());
    }
  }

  @Test
  void theHelpOfEachSubcommandTellsTheseOptions() {
    for (String command : List.of("mask", "check", "preview", "init")) {
      String help = Run.velk("help", command).expect(ExitCode.DONE).out();
      for (String option : List.of("-d, --delimiter", "--header", "--no-header", "--blank-lines")) {
        assertTrue(help.contains("  " + option), help);
      }
      assertTrue(help.replaceAll("\\s+", " ").contains("left out (default: refuse)."), help);
    }
  }

  @Test
  void blankLinesAreRefusedOrSkippedOrNulls() {
    String csv = "a,b\n\n1,2\n\n";
    for (Run run : all("service=s a=keep b=keep", csv, "--blank-lines", "skip")) {
      assertEquals("", run.expect(ExitCode.DONE).err());
    }
    Run skipped = Run.mask("service=s * = keep", csv, "-q", "--blank-lines=skip");
    assertEquals("a,b\n1,2\n", skipped.out());
    Run refused = Run.mask("service=s * = keep", csv, "-q").expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: line 2: the row has 1 value, the header 2: the line is blank; --blank-lines skip"
            + " leaves such lines out\n",
        refused.err());
    Run first = Run.mask("service=s $1=keep", "\na,b\n", "-q").expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: line 2: the row has 2 values, the header 1; perhaps the first line is no header, or"
            + " blank\n",
        first.err());
    String one = "a\nx\n\n";
    assertEquals(one, Run.mask("service=s a=keep", one, "-q").expect(ExitCode.DONE).out());
  }

  @ParameterizedTest
  @ValueSource(strings = {"\n", "\r\n", "\r"})
  void aBlankLineAtTheEndOfALargeFileIsToldInTheBeginning(String end) throws IOException {
    String rows = ("0123456789," + "x".repeat(80) + end).repeat(90_000);
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b" + end + rows + end);
    Path out = folder.resolve("out.csv");
    String[] command = {"mask", "-s", "service=s * = keep", in.toString(), out.toString()};
    Run refused = Run.velk(command).expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: the last line is blank; --blank-lines skip leaves such lines out\n", refused.err());
    assertFalse(Files.exists(out));
    Run skipped =
        Run.velk("mask", "-q", "--blank-lines", "skip", "-s", command[2], command[3], "-");
    assertEquals("a,b" + end + rows, skipped.expect(ExitCode.DONE).out());
    // A line end is no line, and in one column a blank line is a null.
    Files.writeString(in, "a,b" + end + rows);
    Run.velk(command).expect(ExitCode.DONE);
    Files.writeString(in, "a" + end + rows.replace(",", ";") + end);
    Run.velk(command).expect(ExitCode.DONE);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void columnsWithoutANameOfTheirOwnAreKnownByTheirPositions() {
    String csv = "id,,id,\0,$1\n1,2,3,4,x\n";
    String rules = "service=s $1=keep $2=fixed('B') $3=null $4=fixed('D') $5=keep";
    List<Run> runs = all(rules, csv);
    assertEquals("id,,id,\0,$1\n1,B,,D,x\n", runs.get(0).expect(ExitCode.DONE).out());
    assertTrue(runs.get(1).expect(ExitCode.DONE).out().contains("\n$3      text  null\n"));
    assertTrue(runs.get(2).expect(ExitCode.DONE).out().contains("\n1   B  (null)  D      x\n"));
    String init = runs.get(3).expect(ExitCode.DONE).out();
    String started = init.replaceAll("(?m)#.*", "").replaceAll("\\s+", " ");
    assertTrue(started.endsWith("$1 = null $2 = null $3 = null $4 = null $5 = null "), init);
    Run masked = Run.mask(init, csv, "-q").expect(ExitCode.DONE);
    assertEquals("id,,id,\0,$1\n,,,,\n", masked.out());
  }

  @Test
  void suchColumnsAreAllRefusedWithoutThem() {
    Run run = Run.mask("service=s $1=keep b=keep", "a,,b,b\n").expect(ExitCode.INPUT_OUTPUT);
    assertEquals(
        "velk: column 2 of the header has no name; a rule for it says $2\n"
            + "the header names column \"b\" twice; a rule for it says $3\n"
            + "the header names column \"b\" twice; a rule for it says $4\n",
        run.err());
  }

  @Test
  void theMoreExactRuleWinsAndTheCheckTellsIt() {
    String rules = "service=s key=env:MASK_KEY *=null addr_*=hash addr_1=keep addr_1.unique=true";
    String csv = "addr_1,addr_2,note\nx,y,z\n";
    Run check = on(csv, "check", "-s", rules, "-").expect(ExitCode.DONE);
    assertEquals(
        """
        column  type          rule
        addr_1  text, unique  keep
        addr_2  text          hash
        note    text          null
        3 columns, each with its rule
        """,
        check.out());
    String masked = Run.mask(rules, csv, "-q").expect(ExitCode.DONE).out();
    assertTrue(masked.matches("addr_1,addr_2,note\nx,[0-9a-f]+,\n"), masked);
  }

  @Test
  void aHeaderOfThousandsOfColumnsIsMaskedByOnePattern() {
    StringBuilder names = new StringBuilder("n0");
    for (int i = 1; i < 10_000; i++) {
      names.append(",n").append(i);
    }
    String csv = names + "\n" + ",x".repeat(9_999) + "\n";
    Run run = Run.mask("service=s *=null n7=keep", csv, "-q").expect(ExitCode.DONE);
    String row = ",".repeat(7) + "x" + ",".repeat(9_992);
    assertEquals(names + "\n" + row + "\n", run.out());
    Run lacking = Run.mask("service=s n7=keep", csv, "-q").expect(ExitCode.USAGE);
    assertEquals(11, lacking.err().lines().count());
    assertTrue(lacking.err().endsWith("\nand 9989 more\n"), lacking.err());
    assertFalse(lacking.err().contains("n7"), lacking.err());
  }
}
