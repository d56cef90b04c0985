package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.FieldDefinition;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class MaskingStringTest {
  private static final int FUNCTION_UNKNOWN = 7301;
  private static final int KEY_VARIABLE_UNSET = 7228;
  private static final int VALUE_TOO_LONG = 7502;

  @TempDir Path folder;

  @Test
  void aServiceIsMadeFromAMaskingString() {
    try (Engine engine = Engine.open();
        MaskingService service =
            engine.parse("service=people key=env:MASK_KEY a=hash(length=12) b=keep").open()) {
      MaskedRows masked = service.mask(List.of(List.of("x", "y")));
      assertEquals(List.of("a", "b"), masked.columnNames());
      assertTrue(masked.value(0, 0).matches("[0-9a-f]{12}"), masked.value(0, 0));
      assertEquals("y", masked.value(0, 1));
    }
  }

  @Test
  void aMaskingStringMasksLikeTheSameServiceBuiltInJava() {
    List<List<String>> values = rows("Zoë", "4012 8888", "", "a😀b");
    try (Engine engine = Engine.open();
        MaskingService built = Columns.column(engine, Type.varchar(9), Rule.classes());
        MaskingService parsed =
            engine.parse("service=one key=env:MASK_KEY c=classes c.type=varchar(9)").open()) {
      for (int row = 0; row < values.size(); row++) {
        assertEquals(built.mask(values).value(row, 0), parsed.mask(values).value(row, 0));
      }
      assertNotEquals("Zoë", parsed.mask(values).value(0, 0));
    }
  }

  @Test
  void aListIsReadOnceHoweverOftenItIsAskedForAndWhateverBecomesOfItsFile() throws IOException {
    Path list = Files.writeString(folder.resolve("list"), "one\ntwo\n");
    String text = "service=p key=env:MASK_KEY a=dict(file='" + list + "')";
    try (Engine engine = Engine.open();
        ParsedService parsed = engine.parse(text)) {
      Files.writeString(list, "three, which is longer\nfour\n");
      try (MaskingService service = parsed.open()) {
        String masked = service.mask(List.of(List.of("x"))).value(0, 0);
        assertTrue(List.of("one", "two").contains(masked), masked);
      }
    }
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      nullValues = "-",
      value = {
        "keep      | -                 | text         | Zoë",
        "null      | -                 | text         | Zoë",
        "fixed     | gone😀            | text         | Zoë",
        "partial   | keep_first=1      | varchar(9)   | Zoë",
        "classes   | scope=people      | char(9)      | Zoë",
        "hash      | -                 | text         | Zoë",
        "card      | keep_first=6      | text         | 4012 8888 8888 1881",
        "email     | domain=x.de       | text         | zoe@example.com",
        "dict      | list=first_names  | varchar(20)  | Zoë",
        "dateshift | days=9            | date         | 2024-02-29",
        "dateshift | days=9            | timestamp    | 2024-02-29 12:00:00.5",
        "noise     | percent=9         | decimal(9,2) | -12.50",
        "noise     | percent=9         | integer      | 1250",
        "ff1       | alphabet=letters  | text         | Wolfgang"
      })
  void everyFunctionMasksAlikeFromAStringAndFromJava(
      String function, String arguments, String type, String value) {
    String said = arguments == null ? "" : arguments;
    Type declared =
        switch (type) {
          case "varchar(9)" -> Type.varchar(9);
          case "varchar(20)" -> Type.varchar(20);
          case "char(9)" -> Type.character(9);
          case "date" -> Type.date();
          case "timestamp" -> Type.timestamp();
          case "decimal(9,2)" -> Type.decimal(9, 2);
          case "integer" -> Type.integer();
          default -> Type.text();
        };
    Rule rule = Rule.function(function, said);
    String string = "service=s key=env:MASK_KEY c=%s(%s) c.type=%s".formatted(function, said, type);
    try (Engine engine = Engine.open();
        MaskingService built = Columns.column(engine, declared, rule);
        MaskingService parsed = engine.parse(string).open()) {
      String masked = built.mask(rows(value)).value(0, 0);
      assertEquals(masked, parsed.mask(rows(value)).value(0, 0));
      assertEquals(function.equals("keep"), value.equals(masked));
    }
  }

  @Test
  void whatAStringSaysCanBeRead() {
    String text =
        """
        service=people  key=env:MASK_KEY  on_error=fixed('it''s wrong')
        "order no" = hash(length=12)  "order no".type = varchar(20)  "order no".unique = true
        note = null
        """;
    try (Engine engine = Engine.open();
        ParsedService service = engine.parse(text)) {
      assertEquals("people", service.id());
      assertEquals(Optional.of("env:MASK_KEY"), service.key());
      assertEquals("it's wrong", service.onError().replacement());
      ColumnRule order = service.columns().get(0);
      assertEquals(new ColumnRule("order no", Type.varchar(20), Rule.hash(12), true), order);
      ColumnRule note = service.columns().get(1);
      assertEquals(new ColumnRule("note", Type.text(), Rule.nullValue(), false), note);
    }
  }

  @Test
  void aStringIsReadBackOnceAndTheParsedRecordsServeTheProvider() throws Exception {
    Path file = folder.resolve("trace.json");
    try (Engine engine = Engine.open(Trace.all(file));
        MaskingService service = engine.parse("service=s a=keep b=null").open()) {
      assertEquals("x", service.mask(List.of(List.of("x", "y"))).value(0, 0));
    }
    TraceFile trace = TraceFile.read(file);
    assertEquals(1, trace.count("VELK.parseVELKSyntaxString"));
    assertEquals(1, trace.count("ServiceDefinition.toJava"));
    assertEquals(4, trace.count("InitializationOperand.toJava"));
    assertEquals(2, trace.count("FieldDefinition.toJava"));
    assertEquals(0, trace.count("ServiceDefinition.toC"));
    assertEquals(0, trace.count("FieldDefinition.toC"));
  }

  @Test
  void anErrorOfAStringIsToldWithItsPlaceAndLeavesTheEngineOpen() {
    try (Engine engine = Engine.open()) {
      String text = "service=s key=env:MASK_KEY\nemail = emial(domain=example.com)";
      VELKException refusal = assertThrows(VELKException.class, () -> engine.parse(text));
      assertEquals(FUNCTION_UNKNOWN, refusal.code());
      String message = refusal.getMessage();
      assertTrue(message.contains("7301 unknown function \"emial\""), message);
      assertTrue(message.contains("line 2, column 9"), message);
      assertTrue(message.contains("email = emial(domain=example.com)"), message);
      assertTrue(message.contains("Did you mean \"email\"?"), message);
      engine.parse("service=s a=keep").open().close();
    }
  }

  @Test
  void aStringThatCannotBeSentIsRefusedBeforeAnyNativeCall() throws Exception {
    Path file = folder.resolve("trace.json");
    try (Engine engine = Engine.open(Trace.all(file))) {
      for (String text :
          List.of(
              "service=s\nä=\0",
              "service=s\r\nä=\0",
              "service=s\rä=\0",
              "service=s\nä=\uD83D",
              "service=s\n😀=\uDE00x")) {
        IllegalArgumentException refusal =
            assertThrows(IllegalArgumentException.class, () -> engine.parse(text));
        assertTrue(refusal.getMessage().startsWith("line 2, column 3 of "), refusal.getMessage());
      }
    }
    assertEquals(0, TraceFile.read(file).count("VELK.parseVELKSyntaxString"));
  }

  @Test
  void anEmptyStringIsRefusedInWords() {
    try (Engine engine = Engine.open()) {
      IllegalArgumentException refusal =
          assertThrows(IllegalArgumentException.class, () -> engine.parse(""));
      assertEquals("line 1, column 1: the masking string is empty", refusal.getMessage());
    }
  }

  @Test
  void aStringThatComesBackWithoutIdOrColumnsIsRefused() {
    ServiceDefinition definition = new ServiceDefinition();
    definition.fieldDefinitions.add(new FieldDefinition());
    assertIncomplete(definition);
    definition.serviceId = "";
    assertIncomplete(definition);
    definition.serviceId = "s";
    ParsedService.requireComplete(definition);
    definition.fieldDefinitions.clear();
    assertIncomplete(definition);
  }

  private static void assertIncomplete(ServiceDefinition definition) {
    VELKException refusal =
        assertThrows(VELKException.class, () -> ParsedService.requireComplete(definition));
    assertEquals(ParsedService.INCOMPLETE, refusal.code());
  }

  @Test
  void aMissingKeyIsNoErrorUntilTheServiceIsOpened() {
    try (Engine engine = Engine.open();
        ParsedService service = engine.parse("service=s key=env:NO_SUCH_MASK_KEY a=hash")) {
      VELKException refusal = assertThrows(VELKException.class, service::open);
      assertEquals(KEY_VARIABLE_UNSET, refusal.code());
    }
  }

  @Test
  void aColumnsLimitComesFromTheString() {
    try (Engine engine = Engine.open();
        MaskingService service = engine.parse("service=s a=keep a.type=varchar(3)").open()) {
      MaskedRows masked = service.mask(rows("äöü", "a😀b", "1234", "x".repeat(5000)));
      assertEquals("äöü", masked.value(0, 0));
      assertEquals("a😀b", masked.value(1, 0));
      assertEquals(VALUE_TOO_LONG, masked.error(2, 0).orElseThrow().code());
      assertEquals(VALUE_TOO_LONG, masked.error(3, 0).orElseThrow().code());
    }
  }

  @Test
  void aResultLongerThanItsValueFitsATextColumn() {
    try (Engine engine = Engine.open();
        MaskingService service =
            engine.parse("service=s key=env:MASK_KEY a=hash(length=64) b=fixed('😀😀😀')").open()) {
      MaskedRows masked = service.mask(List.of(List.of("x", "y")));
      assertEquals(64, masked.value(0, 0).length());
      assertEquals("😀😀😀", masked.value(0, 1));
    }
  }

  @Test
  void theStringsOwnChoiceForErrorsIsFollowed() {
    String column = " c=keep c.type=varchar(3)";
    try (Engine engine = Engine.open();
        MaskingService fixed =
            engine.parse("service=s on_error=fixed(\"a\\u{1F600}\")" + column).open();
        MaskingService none = engine.parse("service=s on_error=null" + column).open();
        MaskingService stop = engine.parse("service=s on_error=stop" + column).open()) {
      assertEquals("a😀", fixed.mask(rows("long")).value(0, 0));
      assertEquals("abc", fixed.mask(rows("abc")).value(0, 0));
      assertEquals("a😀", fixed.mask(rows("\0")).value(0, 0));
      MaskedRows nulls = none.mask(rows("long", "abc"));
      assertNull(nulls.value(0, 0));
      assertEquals(VALUE_TOO_LONG, nulls.error(0, 0).orElseThrow().code());
      assertEquals("abc", nulls.value(1, 0));
      assertThrows(VELKException.class, () -> stop.mask(rows("long")));
    }
  }

  @Test
  void theStringsOwnChoiceForNullsIsFollowed() {
    String columns = " a=fixed('gone') b=classes b.type=varchar(3) c=keep";
    List<List<String>> nulls = List.of(Arrays.asList(null, null, null));
    try (Engine engine = Engine.open();
        MaskingService keep = engine.parse("service=s key=env:MASK_KEY" + columns).open();
        MaskingService mask =
            engine.parse("service=s key=env:MASK_KEY on_null=mask" + columns).open()) {
      assertEquals(Arrays.asList(null, null, null), keep.mask(nulls).row(0));
      assertEquals(Arrays.asList("gone", null, null), mask.mask(nulls).row(0));
    }
  }

  @Test
  void theStringsOwnChoiceForErrorsCanBeSetAside() {
    for (String choice : List.of("null", "stop", "fixed('x')")) {
      try (Engine engine = Engine.open();
          ParsedService parsed =
              engine.parse("service=s on_error=" + choice + " c=keep c.type=varchar(3)");
          MaskingService service = parsed.tellErrors().open()) {
        MaskedRows masked = service.mask(rows("long", "abc"));
        assertEquals(VALUE_TOO_LONG, masked.error(0, 0).orElseThrow().code());
        assertThrows(VELKException.class, () -> masked.value(0, 0));
        assertEquals("abc", masked.value(1, 0));
      }
    }
  }

  @Test
  void aChoiceForErrorsReadsAsItIsWritten() {
    assertEquals(OnError.Way.FAILURE, OnError.parse("stop").way());
    assertEquals(OnError.Way.REPLACEMENT, OnError.parse("null").way());
    assertNull(OnError.parse("null").replacement());
    assertEquals("it's", OnError.parse("fixed( 'it''s' )").replacement());
    assertEquals("a\"\n😀", OnError.parse("fixed(\"a\\\"\\n\\u{1F600}\")").replacement());
    assertEquals("bare", OnError.parse("fixed(bare)").replacement());
    assertEquals("(\n)", OnError.parse("fixed('(\n)')").replacement());
    assertEquals("a\r\t\\b", OnError.parse("fixed(\"a\\r\\t\\\\b\")").replacement());
  }

  @Test
  void aChoiceForErrorsThatNobodyKnowsIsRefused() {
    for (String text :
        List.of("", "nul", "STOP", "keep", "fixed", "fixed()", "fixed('a)", "x('a')")) {
      VELKException refusal = assertThrows(VELKException.class, () -> OnError.parse(text));
      assertEquals(ParsedService.INCOMPLETE, refusal.code(), text);
    }
  }

  @Test
  void aParsedServiceIsOpenedOnceAndClosingItLeavesTheServiceOpen() {
    try (Engine engine = Engine.open()) {
      ParsedService parsed = engine.parse("service=s a=keep");
      MaskingService service = parsed.open();
      assertThrows(IllegalStateException.class, parsed::open);
      assertThrows(IllegalStateException.class, parsed::tellErrors);
      parsed.close();
      assertEquals("a", service.mask(rows("a")).value(0, 0));
    }
  }

  @Test
  void closingTheEngineClosesWhatWasParsedAndNeverOpened() {
    Engine engine = Engine.open();
    ParsedService parsed = engine.parse("service=s a=keep");
    engine.close();
    assertThrows(IllegalStateException.class, parsed::open);
    assertThrows(IllegalStateException.class, () -> engine.parse("service=s a=keep"));
    parsed.close();
  }
}
