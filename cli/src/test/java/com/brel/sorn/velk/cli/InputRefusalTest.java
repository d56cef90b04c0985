package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Input that is no good ends the run with exit code 4, its place told and no output left. */
class InputRefusalTest {
  private static final String RULES = "service=s a=keep b=keep";

  /** UTF-16 units. */
  private static final int LONGEST_VALUE = 1 << 22;

  @TempDir Path folder;

  @Test
  void anEmptyFileHasNoHeader() throws IOException {
    assertRefused("", "the input is empty");
    assertRefused("\uFEFF", "the input is empty");
  }

  @Test
  void aFileOfAHeaderAloneIsMasked() {
    assertEquals("a,b\n", Run.mask(RULES, "a,b\n").expect(ExitCode.DONE).out());
  }

  @Test
  void aRowThatIsTooShortIsToldWithItsLine() throws IOException {
    assertRefused("a,b\n\"1\n1\",2\n3\n", "line 4: the row has 1 value, the header 2");
  }

  @Test
  void aRowThatIsTooLongIsToldWithItsLine() throws IOException {
    assertRefused("a,b\n1,2,3\n", "line 2: the row has 3 values, the header 2");
  }

  @Test
  void anEmptyLineIsARowThatIsTooShort() throws IOException {
    assertRefused(
        "a,b\n1,2\n\n",
        "line 3: the row has 1 value, the header 2: the line is blank; --blank-lines skip");
  }

  @Test
  void aQuoteThatIsNeverClosedIsTold() throws IOException {
    String place = "line 3: a quote is opened and never closed";
    assertRefused("a,b\n1,2\n3,\"4\n5,6\n", place);
    assertRefused("a,b\n1,2\n3,\"4", place);
    assertRefused("a,b\n1,2\n3,\"", place);
    assertRefused("a,b\n1,2\n3,\"x\"\"", place);
    assertRefused("a,\"b", "line 1: a quote is opened and never closed");
  }

  @Test
  void aValueOfMoreCharactersThanFitIsTold() throws IOException {
    String value = "x".repeat(LONGEST_VALUE + 1);
    assertRefused(
        "a,b\n1," + value + "\n",
        "line 2: a value has more than 4194304 characters; perhaps a quote is not closed");
  }

  @Test
  void aRowOfMoreCharactersThanFitIsTold() throws IOException {
    String value = "x".repeat(LONGEST_VALUE - 9);
    String rest = "x".repeat(9);
    assertRefused(
        "a,b\n1,2\n" + value + "," + value + "," + rest + "," + rest + ",1\n",
        "line 3: the row has more than 8388608 characters; perhaps a quote is not closed");
  }

  @Test
  void aCharacterBehindAClosingQuoteIsTold() throws IOException {
    assertRefused("a,b\n\"1\"x,2\n", "line 2: a character stands behind a closing quote");
  }

  @Test
  void aHeaderWithoutANameOrWithOneTwiceIsRefused() throws IOException {
    assertRefused("a,\n1,2\n", "column 2 of the header has no name");
    assertRefused("a,a\n1,2\n", "the header names column \"a\" twice");
    assertRefused("a,b\0\n1,2\n", "column 2 of the header has U+0000 in its name");
  }

  @ParameterizedTest
  @CsvSource({
    "80, 9, 3", // a byte that starts nothing
    "C3, 9, 3", // a sequence that breaks off
    "C0 AF, 9, 3", // longer than need be
    "ED A0 80, 9, 3", // half a surrogate pair
    "F4 90 80 80, 9, 3", // behind the last code point
    "31 2C 32 0A E2 82, 13, 4"
  })
  void illFormedTextIsToldWithItsByteAndLine(String hex, int offset, int line) throws IOException {
    byte[] start = "a,b\nä,2\n".getBytes(StandardCharsets.UTF_8);
    String[] digits = hex.split(" ");
    byte[] bytes = java.util.Arrays.copyOf(start, start.length + digits.length);
    for (int i = 0; i < digits.length; i++) {
      bytes[start.length + i] = (byte) Integer.parseInt(digits[i], 16);
    }
    assertRefused(bytes, "byte " + offset + ", line " + line + ": the text is not UTF-8");
  }

  @Test
  void illFormedTextFarBehindTheStartIsToldToTheByte() throws IOException {
    byte[] good = ("a,b\n" + "ä,2\n".repeat(100_000)).getBytes(StandardCharsets.UTF_8);
    byte[] bytes = java.util.Arrays.copyOf(good, good.length + 1);
    bytes[good.length] = (byte) 0xFF;
    assertRefused(bytes, "byte " + good.length + ", line 100002: the text is not UTF-8");
  }

  @ParameterizedTest
  @ValueSource(strings = {"missing.csv", "."})
  void anInputThatCannotBeReadIsTold(String name) throws IOException {
    Path in = folder.resolve(name);
    Run run = Run.velk("mask", "-s", RULES, in.toString(), folder.resolve("out").toString());
    run.expect(ExitCode.INPUT_OUTPUT);
    String reason = name.equals(".") ? "it is a directory" : "there is no such file or directory";
    assertEquals("velk: " + in + ": " + reason + "\n", run.err());
    assertEquals(List.of(), left());
  }

  @Test
  void anOutputThatCannotBeWrittenIsTold() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b\n1,2\n");
    Path out = folder.resolve("no/such/folder/out.csv");
    Run run = Run.velk("mask", "-s", RULES, in.toString(), out.toString());
    assertEquals(
        "velk: " + out + ": there is no such file or directory\n",
        run.expect(ExitCode.INPUT_OUTPUT).err());
    Run.velk("mask", "-s", RULES, in.toString(), folder.toString()).expect(ExitCode.INPUT_OUTPUT);
  }

  @Test
  void aFormerOutputOutlivesARunThatFails() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), "a,b\n1,2,3\n");
    Path out = Files.writeString(folder.resolve("out.csv"), "former");
    Run.velk("mask", "-s", RULES, in.toString(), out.toString()).expect(ExitCode.INPUT_OUTPUT);
    assertEquals("former", Files.readString(out));
    assertEquals(List.of("in.csv", "out.csv"), left());
  }

  private void assertRefused(String csv, String message) throws IOException {
    assertRefused(csv.getBytes(StandardCharsets.UTF_8), message);
  }

  private void assertRefused(byte[] csv, String message) throws IOException {
    Path in = Files.write(folder.resolve("in.csv"), csv);
    Path out = folder.resolve("out.csv");
    Run run = Run.velk("mask", "-s", RULES, in.toString(), out.toString());
    run.expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains(message), run.err());
    assertEquals(List.of("in.csv"), left());
  }

  private List<String> left() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.map(file -> file.getFileName().toString()).sorted().toList();
    }
  }
}
