package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;
import picocli.CommandLine;

/** What the command says of its arguments, and shows of what it is given. */
class CommandLineTest {
  private static final String HOSTILE = "a\nvelk: all is well\u001B[31m\u202Eb.csv";
  private static final String SHOWN = "a\\nvelk: all is well\\u{1B}[31m\\u{202E}b.csv";

  @TempDir Path folder;

  /** The words of every command, that of a command within another behind it. */
  static Stream<List<String>> commands() {
    return words(new CommandLine(new Velk.Whole()), List.of());
  }

  private static Stream<List<String>> words(CommandLine command, List<String> before) {
    Stream<List<String>> inside =
        command.getSubcommands().entrySet().stream()
            .filter(entry -> !entry.getValue().getCommandSpec().usageMessage().hidden())
            .flatMap(
                entry ->
                    words(
                        entry.getValue(),
                        Stream.concat(before.stream(), Stream.of(entry.getKey())).toList()));
    return Stream.concat(Stream.of(before), inside);
  }

  @ParameterizedTest
  @MethodSource("commands")
  void helpAsksForNothingElse(List<String> words) {
    String usage =
        "Usage: " + String.join(" ", Stream.concat(Stream.of("velk"), words.stream()).toList());
    for (String option : List.of("-h", "--help")) {
      Run run = Run.velk(Stream.concat(words.stream(), Stream.of(option)).toArray(String[]::new));
      assertTrue(run.expect(ExitCode.DONE).out().contains(usage), run.out());
      assertEquals("", run.err());
    }
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "",
        "mask",
        "mask a b",
        "mask -s x -r y a b",
        "mask -s x a b c",
        "mask --report-format xml -s x a b",
        "mask --jobs many -s x a b",
        "mask --no-such-option -s x a b",
        "mask --repotr x -s x a b",
        "masc",
        "key",
        "preview -s x -n",
        "init"
      })
  void whatIsWrongIsSaidInThreeLinesAtMost(String words) {
    String[] arguments = words.isEmpty() ? new String[0] : words.split(" ");
    Run run = Run.velk(arguments).expect(ExitCode.USAGE);
    List<String> lines = run.err().lines().toList();
    assertTrue(lines.size() <= 3, run.err());
    assertTrue(lines.get(0).startsWith("velk: "), run.err());
    assertTrue(lines.get(lines.size() - 1).matches("Try: velk( \\w+)? --help"), run.err());
    assertEquals("", run.out());
  }

  @Test
  void whatWasMeantIsSuggested() {
    assertEquals(
        """
        velk: Unmatched argument at index 0: 'masc'
        Did you mean: velk mask?
        Try: velk --help
        """,
        Run.velk("masc").err());
  }

  @Test
  void anArgumentIsShownAsText() {
    Run run = Run.velk("mask", "-s", "x", "a", "b", "\u001B[31m\nvelk: done\u202E").expect(2);
    assertEquals(
        "velk: Unmatched argument at index 5: '\\u{1B}[31m\\nvelk: done\\u{202E}'",
        run.err().lines().findFirst().orElse(""));
    assertFalse(run.err().contains("\u001B"));
  }

  @Test
  void theTextOfAnErrorNeedsItsPolicy() {
    String refused = "velk: --error-text is the text of --on-error fixed, which is not given\n";
    String rules = "service=s a=keep a.type=integer";
    for (String[] policy : new String[][] {{}, {"--on-error", "null"}, {"--on-error", "stop"}}) {
      String[] options = Arrays.copyOf(policy, policy.length + 2);
      options[policy.length] = "--error-text";
      options[policy.length + 1] = "x";
      Run run = Run.mask(rules, "a\nz\n", options).expect(ExitCode.USAGE);
      assertEquals(refused, run.err());
      assertEquals("", run.out());
    }
    Run fixed = Run.mask(rules, "a\nz\n", "--on-error", "fixed", "--error-text", "x");
    assertEquals("a\nx\n", fixed.expect(ExitCode.FIELD_ERRORS).out());
    Run unsaid = Run.mask(rules, "a\nz\n", "--on-error", "fixed");
    assertEquals("a\n***\n", unsaid.expect(ExitCode.FIELD_ERRORS).out());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "no file of Windows has such a name")
  void namesOfFilesAreShownAsText() throws IOException {
    Path in = folder.resolve(HOSTILE);
    String shown = folder.resolve(SHOWN).toString();
    String missing = "velk: " + shown + ": there is no such file or directory\n";
    Path out = folder.resolve("out" + HOSTILE);
    String[] mask = {"mask", "-s", "service=s a=keep", in.toString(), out.toString()};
    assertEquals(missing, Run.velk(mask).expect(ExitCode.INPUT_OUTPUT).err());
    Run rules = Run.velk("mask", "-r", in.toString(), "x", "y").expect(ExitCode.INPUT_OUTPUT);
    assertEquals(missing.replaceFirst("velk: ", "velk: cannot read "), rules.err());
    Files.writeString(in, "a\nx\n");
    String report = Run.velk(mask).expect(ExitCode.DONE).err();
    String output = folder.resolve("out" + SHOWN).toString();
    assertTrue(report.contains(shown + " -> " + output + ": 1 row, "), report);
    assertTrue(report.chars().noneMatch(c -> c == 0x1B || c == 0x202E), report);
    String[] json = Arrays.copyOf(mask, mask.length + 1);
    json[mask.length] = "--report-format=json";
    Run machine = Run.velk(json).expect(ExitCode.DONE);
    assertEquals(in.toString(), machine.report().get("input").asText());
    assertTrue(machine.err().chars().noneMatch(c -> c == 0x1B || c == 0x202E), machine.err());
    Run full = Run.velk("key", "new", in.toString()).expect(ExitCode.INPUT_OUTPUT);
    assertEquals("velk: " + shown + ": it exists already\n", full.err());
  }

  @Test
  void aHeaderThatTurnsTheDirectionOfWritingIsEscapedInTheRules() throws IOException {
    String name = "a\u202Eb\u2066c\u200F";
    Path in = Files.writeString(folder.resolve("in.csv"), name + "\nx\n");
    String rules = Run.velk("init", in.toString()).expect(ExitCode.DONE).out();
    assertTrue(rules.contains("\"a\\u{202e}b\\u{2066}c\\u{200f}\" = null"), rules);
    assertTrue(rules.codePoints().noneMatch(c -> Character.getType(c) == Character.FORMAT), rules);
    Path file = Files.writeString(folder.resolve("rules"), rules);
    Run masked = Run.velk("mask", "-q", "-r", file.toString(), in.toString(), "-");
    assertEquals(name + "\n\n", masked.expect(ExitCode.DONE).out());
    Run preview = Run.velk("preview", "-r", file.toString(), in.toString());
    assertTrue(preview.out().startsWith("a\\u{202E}b\\u{2066}c\\u{200F}\n"), preview.out());
  }

  @ParameterizedTest
  @ValueSource(ints = {200, 100, 80, 70, 60, 40, 20})
  void aReportFitsItsTerminal(int width) {
    String long1 = "a_column_of_a_long_name_indeed";
    String rules = "service=s key=env:MASK_KEY " + long1 + "=classes(scope='of a long name, too')";
    byte[] in = (long1 + "\nx\n").getBytes(StandardCharsets.UTF_8);
    Run run = Run.velk(in, width, "mask", "-s", rules, "-", "-").expect(ExitCode.DONE);
    String report = run.err().substring(run.err().indexOf("key fingerprint"));
    for (String line : report.lines().skip(1).toList()) {
      assertTrue(line.length() <= width, width + ": " + line);
    }
    assertEquals(width < 64, report.contains("  nulls kept: 0\n"), report);
    Run file = Run.velk(in, 0, "mask", "-s", rules, "-", "-").expect(ExitCode.DONE);
    assertTrue(file.err().contains(long1 + "  classes("), file.err());
  }
}
