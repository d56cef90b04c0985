package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.io.IOException;
import java.io.InputStream;
import java.lang.reflect.Field;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Masking strings on their way from Java through the engine and back, byte for byte. */
class MaskingStringMessagesTest {
  private static final int FUNCTION_UNKNOWN = 7301;
  private static final String FUNCTIONS =
      "Functions: card, classes, dateshift, dict, email, ff1, fixed, hash, keep, noise, null,"
          + " partial.";

  /** Every code that a string of a few words can be refused with. */
  private static final List<Integer> CODES =
      List.of(
          7204, 7206, 7212, 7215, 7216, 7218, 7223, 7224, 7225, 7226, 7227, 7301, 7302, 7303, 7304,
          7305, 7306, 7307, 7308, 7309, 7313, 7314, 7315, 7316, 7317, 7318, 7322, 7323, 7324, 7325,
          7326, 7327, 7328, 7329, 7330, 7331, 7332);

  @TempDir Path folder;
  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  record Mistake(String string, String message) {
    int code() {
      return Integer.parseInt(message.substring(0, 4));
    }
  }

  @Test
  void allMistakesAreToldAtOnceEachWithItsPlace() {
    VELKException thrown =
        assertThrows(
            VELKException.class,
            () -> engine.parse("service=p\nname = kep\ncity = hash\n$1.type = dat  zürich = keep"));
    assertEquals(7322, thrown.code());
    assertEquals(
        """
        7322 unexpected character where a key stands "ü":
        line 4, column 17 (byte 50)
        $1.type = dat  zürich = keep
                        ^
        A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key\
         between double quotes.""",
        thrown.getMessage().strip());
    thrown =
        assertThrows(
            VELKException.class,
            () -> engine.parse("service=p\n\"zürich\" = kep\ncity = hash\n$1.type = dat"));
    assertEquals(7212, thrown.code());
    assertEquals(
        """
        7212 no rule for a column "$1":
        line 4, column 1 (byte 39)
        $1.type = dat
        ^~~~~~~
        Give the column a rule; keep leaves it as it is.
        Also:
        line 2, column 12 (byte 23): 7301 unknown function "kep"
        line 3, column 8 (byte 34): 7226 no key for a function that needs one "hash\"""",
        thrown.getMessage().strip());
  }

  @Test
  void everyMistakeIsToldWithItsPlace() throws IOException {
    List<Mistake> mistakes = mistakes();
    for (Mistake mistake : mistakes) {
      assertRefused(mistake.string(), mistake.message());
    }
    assertEquals(CODES, mistakes.stream().map(Mistake::code).distinct().sorted().toList());
  }

  /** The file's strings, each with the whole message that it is refused with. */
  private static List<Mistake> mistakes() throws IOException {
    try (InputStream file = MaskingStringMessagesTest.class.getResourceAsStream("messages.txt")) {
      String text = new String(file.readAllBytes(), StandardCharsets.UTF_8);
      return Arrays.stream(text.split("(?m)^--- string\n"))
          .skip(1)
          .map(block -> block.split("\n--- message\n"))
          .map(parts -> new Mistake(parts[0], parts[1].stripTrailing()))
          .toList();
    }
  }

  private void assertRefused(String string, String message) {
    VELKException refusal =
        assertThrows(VELKException.class, () -> engine.parse(string).close(), string);
    assertEquals(message, refusal.getMessage());
    assertEquals(Integer.parseInt(message.substring(0, 4)), refusal.code());
  }

  @Test
  void whatOneCannotSeeIsNamed() {
    assertRefused(
        "service=p name=\u00A0keep",
        """
        7310 unexpected white space "U+00A0":
        line 1, column 16 (byte 16)
        service=p name=\u00A0keep
                       ^
        Replace it by a blank, or quote the value.""");
    assertRefused(
        "service=p \"\uD83D\uDE00\t\" = kep",
        """
        7301 unknown function "kep":
        line 1, column 18 (byte 21)
        service=p "\\u{1F600}\\u{9}" = kep
                                     ^~~
        Did you mean "keep"?\s"""
            + FUNCTIONS);
  }

  @Test
  void aFileThatIsNoListIsToldWithItsLine() throws IOException {
    Path list = Files.writeString(folder.resolve("list"), "one\n\n");
    VELKException refusal =
        assertThrows(
            VELKException.class,
            () -> engine.parse("service=p key=env:K a=dict(file='" + list + "')"));
    String message = refusal.getMessage();
    assertTrue(message.startsWith("7319 not a list \""), message);
    assertTrue(message.endsWith("~\nline 2 is empty\nCorrect the file."), message);
    Files.writeString(list, "one\ntwo\n");
    engine.parse("service=p key=env:K a=dict(file='" + list + "')").close();
  }

  @Test
  void aStringOf1048576BytesIsReadAndALongerOneRefused() {
    String start = "service=p name=keep #";
    assertParsed(start + "x".repeat(1_048_576 - start.length()), "name");
    // The same bytes in fewer units.
    assertParsed(start + "😀".repeat(262_138) + "xxx", "name");
    assertRefused(
        start + "x".repeat(1_048_577 - start.length()),
        """
        7320 the masking string is too long "1048577 bytes":
        line 1, column 1048577 (byte 1048577)
        """
            + ("..." + "x".repeat(60) + "\n")
            + (" ".repeat(62) + "^\n")
            + "Shorten it to 1048576 bytes; comments count as well.");
  }

  @Test
  void aStringOf20000PairsIsReadAndALongerOneRefused() {
    String pairs = "service=p\n" + columns(19_999, "c%d=keep\n");
    assertParsed(pairs, columns(19_999, "c%d ").trim().split(" "));
    assertRefused(
        pairs + "last=keep",
        """
        7321 too many pairs:
        line 20001, column 1 (byte %d)
        last=keep
        ^~~~
        Leave at most 20000, and the other columns to another service."""
            .formatted(pairs.length() + 1));
  }

  @Test
  void aCallOf64ArgumentsIsReadAndALongerOneRefused() {
    String string = "service=p\nname=fixed(" + "a,".repeat(63);
    // As many are read, but one is all that fixed takes.
    VELKException refusal = assertThrows(VELKException.class, () -> engine.parse(string + "last)"));
    assertTrue(refusal.getMessage().startsWith("7302 unknown argument \"a\":\nline 2, column 14 "));
    assertRefused(
        string + "a,last)",
        """
        7312 too many arguments:
        line 2, column 140 (byte 150)
        ...%slast)
        %s^~~~
        Leave at most 64."""
            .formatted("," + "a,".repeat(27), " ".repeat(3 + 55)));
  }

  /** Up to 127 units the bridge converts a string on its stack, longer ones on the heap. */
  @Test
  void stringsOfAboutTheBuffersLengthAreReadToTheirEnd() {
    for (String character : List.of("x", "ü", "日", "😀")) {
      for (int units = 124; units <= 132; units += character.length()) {
        String start = "service=p \"";
        String name = character.repeat((units - start.length() - 6) / character.length());
        String pad = " ".repeat(units - start.length() - name.length() - 6);
        String string = start + name + "\"" + pad + "=keep";
        assertEquals(units, string.length());
        assertParsed(string, name);
      }
    }
  }

  @Test
  void aMistakeBehindOtherCharactersIsToldWhereItIsHoweverLongTheString() {
    for (int units : new int[] {127, 128, 129, 600}) {
      String start = "service=p\n\"日本\"=keep # ";
      String string = start + "ü".repeat(units - start.length() - 10) + "\nname = kep";
      assertEquals(units, string.length() - 1);
      int bytes = string.getBytes(StandardCharsets.UTF_8).length;
      assertRefused(
          string,
          """
          7301 unknown function "kep":
          line 3, column 8 (byte %d)
          name = kep
                 ^~~
          Did you mean "keep"? %s"""
              .formatted(bytes - 2, FUNCTIONS));
    }
  }

  @Test
  void aFailedParseLeavesTheObjectAsItIs() {
    ServiceDefinition target = new ServiceDefinition();
    assertRefused("service=two a=kep", target);
    assertEquals(0, pointer(target));
    assertNull(target.serviceId);

    assertEquals(0, Bridge.VELK.parseVELKSyntaxString("service=one a=keep b=null", target));
    long record = pointer(target);
    assertNotEquals(0, record);
    assertRefused("service=two a=kep", target);
    assertRefused("service=two a=", target);
    assertEquals(record, pointer(target));
    assertEquals("one", target.serviceId);
    Definitions.toJava(target);
    assertEquals(List.of("a", "b"), names(target));
    Definitions.free(target);
  }

  @Test
  void aSecondParseReplacesTheRecordAndTheName() {
    ServiceDefinition target = new ServiceDefinition();
    assertEquals(0, Bridge.VELK.parseVELKSyntaxString("service=one a=keep", target));
    Definitions.toJava(target);
    // The children belong to their objects, so these free them; the record is the target's.
    target.initializationOperands.forEach(operand -> operand.free());
    target.fieldDefinitions.forEach(field -> field.free());
    target.initializationOperands.clear();
    target.fieldDefinitions.clear();
    long first = pointer(target);

    assertEquals(0, Bridge.VELK.parseVELKSyntaxString("service=two b=null c=keep", target));
    assertNotEquals(first, pointer(target));
    assertEquals("two", target.serviceId);
    Definitions.toJava(target);
    assertEquals(List.of("b", "c"), names(target));
    Definitions.free(target);
  }

  private static void assertRefused(String string, ServiceDefinition target) {
    VELKException refusal =
        assertThrows(
            VELKException.class, () -> Bridge.VELK.parseVELKSyntaxString(string, target), string);
    assertTrue(refusal.code() >= FUNCTION_UNKNOWN, refusal.getMessage());
  }

  private void assertParsed(String string, String... columns) {
    try (ParsedService parsed = engine.parse(string)) {
      assertEquals(List.of(columns), parsed.columns().stream().map(ColumnRule::name).toList());
    }
  }

  private static String columns(int count, String format) {
    return IntStream.rangeClosed(1, count)
        .mapToObj(format::formatted)
        .collect(Collectors.joining());
  }

  private static List<String> names(ServiceDefinition definition) {
    return definition.fieldDefinitions.stream().map(field -> field.columnName).toList();
  }

  private static long pointer(ServiceDefinition definition) {
    try {
      Field field = ServiceDefinition.class.getDeclaredField("pointer");
      field.setAccessible(true);
      return field.getLong(definition);
    } catch (ReflectiveOperationException e) {
      throw new AssertionError(e);
    }
  }
}
