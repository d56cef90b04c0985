package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.KEY;
import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.mask;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class MaskingTest {
  private static final int TOO_LONG = 7502;
  private static final int NOT_OF_TYPE = 7503;

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "Zoë Martín",
        "Αλέξανδρος",
        "Наталья",
        "محمد الأحمد",
        "דוד לוי",
        "प्रिया शर्मा",
        "王小明",
        "김민준",
        "สมชาย",
        "🦊🐓 👩‍🚀",
        "𝒮arah"
      })
  void everyScriptComesBackAsItWentIn(String text) {
    assertEquals(text, mask(engine, Type.text(), Rule.keep(), text));
    assertEquals(text, mask(engine, Type.varchar(20), Rule.keep(), text));
  }

  @Test
  void theRulesMask() {
    assertNull(mask(engine, Type.text(), Rule.nullValue(), "a"));
    assertEquals("it's gone", mask(engine, Type.text(), Rule.fixed("it's gone"), "a"));
    assertEquals(
        "############1881", mask(engine, Type.text(), Rule.partial(0, 4, "#"), "4012888888881881"));
    assertEquals("a****f", mask(engine, Type.varchar(6), Rule.partial(1, 1), "abcdef"));
    assertEquals("****", mask(engine, Type.varchar(4), Rule.partial(1, 1), "abcd"));
    assertEquals("a**d", mask(engine, Type.varchar(4), Rule.partial(1, 1).hideLeast(2), "abcd"));
    assertTrue(mask(engine, Type.text(), Rule.hash(12), "a").matches("[0-9a-f]{12}"));
    String masked = mask(engine, Type.varchar(9), Rule.classes(), "Anna-2024");
    assertTrue(masked.matches("[A-Z][a-z]{3}-[0-9]{4}"), masked);
    assertNotEquals("Anna-2024", masked);
  }

  @Test
  void aResultLongerThanItsInputFits() {
    assertEquals(64, mask(engine, Type.text(), Rule.hash(64), "a").length());
    assertEquals(32, mask(engine, Type.text(), Rule.hash(), "a").length());
    assertEquals("😀".repeat(9), mask(engine, Type.text(), Rule.fixed("😀".repeat(9)), "a"));
    assertEquals("😀".repeat(9), mask(engine, Type.varchar(9), Rule.fixed("😀".repeat(9)), "a"));
  }

  @Test
  void aLongTextIsNotCut() {
    String text = "wörd😀 ".repeat(20_000);
    assertEquals(text, mask(engine, Type.text(), Rule.keep(), text));
  }

  @Test
  void theSameValueIsMaskedAlikeAndAnotherKeyOtherwise(@TempDir Path folder) throws Exception {
    Path key = Files.writeString(folder.resolve("key"), "another key for the tests\n");
    String first = mask(engine, Type.text(), Rule.hash(), "Anna");
    assertEquals(first, mask(engine, Type.varchar(40), Rule.hash(), "Anna"));
    try (MaskingService other =
        engine.service("other").key("file:" + key).column("c", Type.text(), Rule.hash()).open()) {
      assertNotEquals(first, other.mask(rows("Anna")).value(0, 0));
    }
  }

  @Test
  void aScopeSeparatesMappings() {
    String first = mask(engine, Type.text(), Rule.hash().scope("one"), "Anna");
    assertEquals(first, mask(engine, Type.text(), Rule.hash().scope("one"), "Anna"));
    assertNotEquals(first, mask(engine, Type.text(), Rule.hash().scope("two"), "Anna"));
  }

  @Test
  void nullStaysNullAndEmptyStaysEmpty() {
    try (MaskingService service = column(engine, Type.varchar(5), Rule.classes())) {
      MaskedRows out = service.mask(rows(null, ""));
      assertNull(out.value(0, 0));
      assertEquals("", out.value(1, 0));
      assertEquals(List.of(), out.errors());
    }
  }

  @Test
  void nullsAreMaskedWhereThatIsSaid() {
    try (MaskingService service =
        engine.service("n").maskNulls().column("c", Type.text(), Rule.fixed("gone")).open()) {
      assertEquals("gone", service.mask(rows((String) null)).value(0, 0));
    }
  }

  @ParameterizedTest
  @CsvSource({"5, 0", "6, 1", "11, 1", "12, 1", "500, 1"})
  void whatExceedsTheLimitInCodePointsIsAnErrorOfItsField(int length, int errors) {
    for (String character : List.of("x", "😀")) {
      try (MaskingService service = column(engine, Type.varchar(5), Rule.keep())) {
        String value = character.repeat(length);
        MaskedRows out = service.mask(rows("ok", value, "fine"));
        assertEquals(List.of("ok", "fine"), List.of(out.value(0, 0), out.value(2, 0)));
        assertEquals(errors, out.errors().size());
        if (errors == 0) {
          assertEquals(value, out.value(1, 0));
        } else {
          assertThrows(VELKException.class, () -> out.value(1, 0));
        }
      }
    }
  }

  @Test
  void aValueThatIsCutOnItsWayInIsStillTooLong() {
    try (MaskingService service = column(engine, Type.varchar(5), Rule.keep())) {
      MaskedRows out = service.mask(rows("x".repeat(6), "x".repeat(500)));
      assertEquals(TOO_LONG, out.error(0, 0).orElseThrow().code());
      assertEquals(TOO_LONG, out.error(1, 0).orElseThrow().code());
    }
  }

  @Test
  void anErrorNamesItsFieldAndHidesItsValue() {
    try (MaskingService service =
        engine
            .service("people")
            .key(KEY)
            .column("id", Type.integer(), Rule.keep())
            .column("name", Type.varchar(3), Rule.keep())
            .open()) {
      MaskedRows out = service.mask(List.of(List.of("1", "Ann"), List.of("x2", "Johannes")));
      assertFalse(out.hasError(0));
      assertTrue(out.hasError(1));
      List<FieldError> errors = out.errors();
      assertEquals(2, errors.size());
      assertEquals(errors.get(0), out.error(1, 0).orElseThrow());
      FieldError tooLong = errors.get(1);
      assertEquals(1, tooLong.row());
      assertEquals(1, tooLong.column());
      assertEquals("name", tooLong.columnName());
      assertEquals(NOT_OF_TYPE, errors.get(0).code());
      assertEquals(TOO_LONG, tooLong.code());
      assertTrue(tooLong.message().contains("7502"), tooLong.message());
      VELKException failure = assertThrows(VELKException.class, () -> out.value(1, 1));
      assertEquals(TOO_LONG, failure.code());
      assertFalse(failure.getMessage().contains("Johannes"));
    }
  }

  @Test
  void aZeroCharacterIsAnErrorOfItsField() {
    refusedAlone("a\0b", FieldError.ZERO_CHARACTER);
    refusedAlone("\0", FieldError.ZERO_CHARACTER);
  }

  @Test
  void halfASurrogatePairIsAnErrorOfItsField() {
    refusedAlone("\uD83D", FieldError.LONE_SURROGATE);
    refusedAlone("a\uDE00b", FieldError.LONE_SURROGATE);
  }

  private void refusedAlone(String value, int code) {
    try (MaskingService service =
        engine
            .service("two")
            .maskNulls()
            .column("a", Type.text(), Rule.keep())
            .column("b", Type.text(), Rule.fixed("masked"))
            .open()) {
      MaskedRows out = service.mask(List.of(List.of("kept", value), List.of("also", "x")));
      assertEquals("kept", out.value(0, 0));
      assertEquals("also", out.value(1, 0));
      assertEquals("masked", out.value(1, 1));
      assertEquals(List.of(out.error(0, 1).orElseThrow()), out.errors());
      assertEquals(code, out.error(0, 1).orElseThrow().code());
      assertEquals(code, assertThrows(VELKException.class, () -> out.value(0, 1)).code());
    }
  }

  @Test
  void aValueThatCannotBeSentNeverReachesTheEngine(@TempDir Path folder) throws Exception {
    engine.close();
    Path file = folder.resolve("trace.json");
    engine = Engine.open(Trace.all(file));
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      service.mask(rows("a\0b"));
    }
    engine.close();
    List<String> sizes =
        Files.readAllLines(file).stream().filter(line -> line.contains("jSourceSize")).toList();
    assertEquals(1, sizes.size());
    assertTrue(sizes.get(0).matches(".*\"jSourceSize\":2\\b.*"), sizes.get(0));
  }

  @Test
  void aReplacementTakesThePlaceOfAValueWithAnError() {
    List<List<String>> rows = rows("ok", "too long", "\0");
    try (MaskingService nulls = onError(OnError.nullValue());
        MaskingService texts = onError(OnError.fixed("bad"))) {
      MaskedRows out = nulls.mask(rows);
      assertEquals(Arrays.asList("ok", null, null), values(out));
      assertEquals(2, out.errors().size());
      assertEquals(List.of("ok", "bad", "bad"), values(texts.mask(rows)));
    }
  }

  @Test
  void aReplacementFitsIntoATextColumn() {
    try (MaskingService service =
        engine
            .service("r")
            .onError(OnError.fixed("a replacement"))
            .column("c", Type.text(), Rule.keep())
            .column("d", Type.varchar(13), Rule.keep())
            .open()) {
      MaskedRows out = service.mask(List.of(List.of("\uD800", "more than 13 characters")));
      assertEquals("a replacement", out.value(0, 0));
      assertEquals("a replacement", out.value(0, 1));
    }
  }

  @Test
  void anErrorStopsTheBatchWhereThatIsSaid() {
    try (MaskingService service = onError(OnError.stop())) {
      VELKException tooLong =
          assertThrows(VELKException.class, () -> service.mask(rows("ok", "too long")));
      assertEquals(TOO_LONG, tooLong.code());
      VELKException refused = assertThrows(VELKException.class, () -> service.mask(rows("\0")));
      assertEquals(FieldError.ZERO_CHARACTER, refused.code());
      assertEquals(List.of("ok"), values(service.mask(rows("ok"))));
    }
  }

  private MaskingService onError(OnError choice) {
    return engine.service("e").onError(choice).column("c", Type.varchar(4), Rule.keep()).open();
  }

  private static List<String> values(MaskedRows out) {
    List<String> values = new ArrayList<>();
    for (int row = 0; row < out.rowCount(); row++) {
      values.add(out.value(row, 0));
    }
    return values;
  }

  @Test
  void theResultsOfABatchOutliveItsServiceAndLaterBatches() {
    MaskedRows first;
    try (MaskingService service = column(engine, Type.varchar(3), Rule.keep())) {
      first = service.mask(rows("one", "three"));
      service.mask(rows("two", "ten"));
    }
    engine.close();
    assertEquals("one", first.value(0, 0));
    assertEquals(TOO_LONG, first.error(1, 0).orElseThrow().code());
    assertEquals(2, first.rowCount());
    assertEquals(List.of("c"), first.columnNames());
  }

  @Test
  void aValueIsReadByTheNameOfItsColumnAndARowAsAWhole() {
    try (MaskingService service =
        engine
            .service("two")
            .column("a", Type.varchar(2), Rule.keep())
            .column("b", Type.text(), Rule.nullValue())
            .open()) {
      MaskedRows out = service.mask(List.of(List.of("x", "y"), List.of("long", "y")));
      assertEquals("x", out.value(0, "a"));
      assertNull(out.value(0, "b"));
      assertEquals(Arrays.asList("x", null), out.row(0));
      assertThrows(UnsupportedOperationException.class, () -> out.row(0).set(0, "z"));
      assertThrows(IllegalArgumentException.class, () -> out.value(0, "c"));
      assertThrows(VELKException.class, () -> out.value(1, "a"));
      assertThrows(VELKException.class, () -> out.row(1));
      assertThrows(IndexOutOfBoundsException.class, () -> out.row(2));
    }
  }

  @Test
  void anErrorsTextCountsItsRowFromOne() {
    try (MaskingService service = column(engine, Type.varchar(2), Rule.keep())) {
      FieldError error = service.mask(rows("ok", "long")).errors().get(0);
      assertEquals(1, error.row());
      assertTrue(error.toString().startsWith("row 2, column \"c\": 7502 "), error.toString());
    }
  }

  @Test
  void aRowOrColumnThatIsNotThereIsRefused() {
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      MaskedRows out = service.mask(rows("a"));
      assertThrows(IndexOutOfBoundsException.class, () -> out.value(1, 0));
      assertThrows(IndexOutOfBoundsException.class, () -> out.value(0, 1));
      assertThrows(IndexOutOfBoundsException.class, () -> out.value(0, -1));
      assertThrows(IndexOutOfBoundsException.class, () -> out.hasError(-1));
    }
  }
}
