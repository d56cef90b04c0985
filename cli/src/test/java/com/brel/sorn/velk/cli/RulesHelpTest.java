package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The subcommands that help to write a masking string: check, preview and init. */
class RulesHelpTest {
  @TempDir Path folder;

  private static Run on(String csv, String... arguments) {
    return Run.velk(csv.getBytes(StandardCharsets.UTF_8), 0, arguments);
  }

  @Test
  void aGoodMaskingStringPassesTheCheckWithoutItsKey() {
    Run run = on("a,b\n1,2\n", "check", "-s", "service=s key=env:NO_SUCH_KEY b=hash a=keep", "-");
    assertEquals(
        """
        column  type  rule
        a       text  keep
        b       text  hash
        2 columns, each with its rule
        """,
        run.expect(ExitCode.DONE).out());
  }

  @Test
  void theCheckTellsEveryUnknownColumnAndEveryColumnWithoutARule() {
    Run run = on("a,b,c\n", "check", "-s", "service=s a=keep A=keep d=keep", "-");
    run.expect(ExitCode.USAGE);
    for (String expected :
        List.of(
            "error: there is a rule for column \"A\" (line 1, column 18), and no such column",
            "error: there is a rule for column \"d\" (line 1, column 25), and no such column",
            "error: there is no rule for column \"b\"",
            "error: there is no rule for column \"c\"")) {
      assertTrue(run.err().contains(expected), run.err());
    }
  }

  @Test
  void aLossyFunctionOnAUniqueColumnIsAWarningAndStrictlyAnError() {
    String rules = "service=s key=env:MASK_KEY a=hash a.unique=true b=keep b.unique=true";
    Run run = on("a,b\n", "check", "-s", rules, "-").expect(ExitCode.DONE);
    assertTrue(run.err().startsWith("warning: column \"a\" is to stay unique"), run.err());
    assertFalse(run.err().contains("\"b\""), run.err());
    Run strict = on("a,b\n", "check", "--strict", "-s", rules, "-").expect(ExitCode.USAGE);
    assertTrue(strict.err().startsWith("error: column \"a\" is to stay unique"), strict.err());
    on("b\n", "check", "--strict", "-s", "service=s b=keep b.unique=true", "-").expect(0);
  }

  @Test
  void aWrongStringFailsTheCheckWithItsPlace() {
    Run run = on("a\n", "check", "-s", "service=s a=", "-").expect(ExitCode.USAGE);
    assertTrue(run.err().contains("line 1, column 13"), run.err());
  }

  @Test
  void aPreviewShowsMaskedRowsAndNoOriginals() {
    String csv = "name,note\nZoë,a\n,\"\"\nlast,b\n";
    String rules = "service=s name=fixed('X') note=keep";
    Run run = on(csv, "preview", "-n", "2", "-s", rules, "-").expect(ExitCode.DONE);
    assertEquals("name    note\nX       a\n(null)  \"\"\n", run.out());
    assertFalse((run.out() + run.err()).contains("Zoë"));
  }

  @Test
  void aPreviewShowsOriginalsWhereTheyAreAskedFor() {
    String rules = "service=s name=fixed('X')";
    Run run = on("name\nZoë\n", "preview", "--show-original", "-s", rules, "-");
    assertEquals("          name\noriginal  Zoë\nmasked    X\n", run.expect(ExitCode.DONE).out());
  }

  @Test
  void aPreviewShowsErrorsByTheirCode() {
    String rules = "service=s a=keep a.type=varchar(2)";
    Run run = on("a\nabc\n", "preview", "-s", rules, "-").expect(ExitCode.FIELD_ERRORS);
    assertEquals("a\n(error 7502)\n", run.out());
  }

  @Test
  void aPreviewShowsTenRowsUnlessToldOtherwise() {
    Run run = on("a\n" + "x\n".repeat(20), "preview", "-s", "service=s a=keep", "-");
    assertEquals(11, run.expect(ExitCode.DONE).out().lines().count());
    on("a\n", "preview", "-n", "0", "-s", "service=s a=keep", "-").expect(ExitCode.USAGE);
  }

  @Test
  void aPreviewEscapesWhatWouldDisturbATerminal() {
    Run run = on("a\n\"\u001B[2J\n\u202Ex\"\n", "preview", "-s", "service=s a=keep", "-");
    assertEquals("a\n\\u{1B}[2J\\n\\u{202E}x\n", run.expect(ExitCode.DONE).out());
  }

  @Test
  void theRulesToStartFromAreALineForEachColumnAndAllNull() {
    Run run = on("name,born\nZoë,2001-02-03\n", "init", "-").expect(ExitCode.DONE);
    List<String> lines = run.out().lines().filter(line -> line.contains("= null")).toList();
    assertEquals("name = null  # name = classes", lines.get(0));
    assertEquals("born = null  # born = dateshift(days=30)  born.type = date", lines.get(1));
    assertEquals(2, lines.size());
  }

  @Test
  void theRulesToStartFromPassTheCheckWhateverTheHeader() throws IOException {
    for (String header :
        List.of(
            "a,b",
            "service,key,on_error,on_null",
            "order no,e-mail,naïve,名前",
            "\"with \"\"quotes\"\"\",\"two\nlines\",back\\slash,\"a,b\"",
            "a.b,a.type,x=y,#1,\"tab\there\"",
            "1,-,_, ")) {
      Path csv = Files.writeString(folder.resolve("in.csv"), header + "\n");
      Path rules = folder.resolve("rules");
      Run.velk("init", "--header", "--force", csv.toString(), rules.toString())
          .expect(ExitCode.DONE);
      Run.velk("check", "--header", "--strict", "-r", rules.toString(), csv.toString())
          .expect(ExitCode.DONE);
    }
  }

  @Test
  void theRulesToStartFromPassTheCheckWithNaughtyNames() throws IOException {
    List<String> names =
        Naughty.strings().stream().filter(name -> !name.isEmpty()).distinct().toList();
    // Two files, as a masking string has 64 KiB at most.
    for (List<String> half : List.of(names.subList(0, 200), names.subList(200, names.size()))) {
      Path csv = Files.writeString(folder.resolve("in.csv"), Naughty.row(half));
      Path rules = folder.resolve("rules");
      Run.velk("init", "--header", "--force", csv.toString(), rules.toString())
          .expect(ExitCode.DONE);
      Run run = Run.velk("check", "--header", "--strict", "-r", rules.toString(), csv.toString());
      String told = run.expect(ExitCode.DONE).out();
      assertTrue(told.endsWith("\n" + half.size() + " columns, each with its rule\n"), told);
    }
  }

  @Test
  void everySuggestionIsARuleThatMasksItsColumn() throws IOException {
    String csv =
        "id,first_name,last_name,city,street,mail,card,born,seen,salary,phone,note\n"
            + "17,Zoë,Martín,Málaga,Main St 1,z@example.com,4012888888881881,2001-02-03,"
            + "2024-01-02 03:04:05,1234.50,+34 600,text\n";
    String rules = on(csv, "init", "-").expect(ExitCode.DONE).out();
    String suggested = rules.replaceAll("(?m)^\\S+ *= null  # ", "");
    assertEquals(12, suggested.lines().filter(line -> line.matches("\\w+ = \\w+.*")).count() - 2);
    String masked = Run.mask(suggested, csv, "-q").expect(ExitCode.DONE).out();
    String[] before = csv.split("\n")[1].split(",");
    String[] after = masked.split("\n")[1].split(",");
    for (int i = 0; i < before.length; i++) {
      assertFalse(before[i].equals(after[i]), before[i]);
    }
  }

  @Test
  void aRulesFileIsNotWrittenOverUnlessForced() throws IOException {
    Path csv = Files.writeString(folder.resolve("in.csv"), "a\n");
    Path rules = Files.writeString(folder.resolve("rules"), "mine");
    Run.velk("init", csv.toString(), rules.toString()).expect(ExitCode.INPUT_OUTPUT);
    assertEquals("mine", Files.readString(rules));
    Run.velk("init", "--force", csv.toString(), rules.toString()).expect(ExitCode.DONE);
    assertTrue(Files.readString(rules).contains("a = null"));
  }

  @Test
  void theRulesNeverTakeThePlaceOfTheFileThatIsRead() throws IOException {
    Path csv = Files.writeString(folder.resolve("in.csv"), "a\n");
    Run run = Run.velk("init", "--force", csv.toString(), csv.toString()).expect(ExitCode.USAGE);
    assertEquals("velk: the rules file would take the place of the input\n", run.err());
    assertEquals("a\n", Files.readString(csv));
  }

  @Test
  void theRulesToStartFromHoldNoValueOfTheFile() {
    Run run = on("mail\nzoe@example.org\n", "init", "-").expect(ExitCode.DONE);
    assertFalse(run.out().contains("zoe"), run.out());
  }
}
