package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.time.LocalDate;
import java.util.Arrays;
import java.util.List;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** Each misuse is a Java exception, and nothing native was called: the trace knows of no call. */
class MisuseTest {
  @TempDir Path folder;
  private Path file;
  private Engine engine;
  private MaskingService service;

  @BeforeEach
  void open() {
    file = folder.resolve("trace.json");
    engine = Engine.open(new Trace("entry", file));
    service = column(engine, Type.text(), Rule.keep());
  }

  @AfterEach
  void noBatchWasEverSent() throws Exception {
    engine.close();
    TraceFile trace = TraceFile.read(file);
    assertEquals(1, trace.count("NativeProvider.initializeProvider0"));
    assertEquals(1, trace.count("NativeProvider.terminateProvider0"));
    assertEquals(0, trace.count("Field.toC"));
    assertEquals(0, trace.count("NativeProvider.serviceProvider0"));
  }

  @Test
  void anEmptyRowSetIsRefused() {
    assertSays("at least one row", () -> service.mask(List.of()));
  }

  @Test
  void aRowOfAnotherWidthIsRefused() {
    List<List<String>> rows = List.of(List.of("a"), List.of("b", "c"));
    assertSays("row 2 has 2 values, the service has 1", () -> service.mask(rows));
    assertSays("row 1 has 0 values", () -> service.mask(List.of(List.of())));
  }

  @Test
  @SuppressWarnings({"unchecked", "rawtypes"})
  void aValueThatIsNoStringIsRefused() {
    List rows = List.of(List.of("a"), List.of(7));
    assertSays("row 2, column \"c\": a java.lang.Integer", () -> service.mask(rows));
  }

  @Test
  void nullInThePlaceOfAnArgumentIsRefusedByItsName() {
    ServiceBuilder builder = engine.service("s");
    assertNames("rows", () -> service.mask((List<List<String>>) null));
    assertNames("rows", () -> service.mask((Stream<List<String>>) null));
    assertNames("row 2", () -> service.mask(Arrays.asList(List.of("a"), null)));
    assertNames("row", () -> service.maskRow(null));
    assertNames("trace", () -> Engine.open(null));
    assertNames("maskingString", () -> engine.parse(null));
    assertNames("id", () -> engine.service(null));
    assertNames("place", () -> builder.key(null));
    assertNames("choice", () -> builder.onError(null));
    assertNames("column", () -> builder.column(null));
    assertNames("name", () -> builder.column(null, Type.text(), Rule.keep()));
    assertNames("type", () -> builder.column("b", null, Rule.keep()));
    assertNames("rule", () -> builder.uniqueColumn("b", Type.text(), null));
    assertNames("mask", () -> new Trace(null, file));
    assertNames("file", () -> new Trace("all", null));
    assertNames("text", () -> OnError.fixed(null));
    assertNames("text", () -> Rule.fixed(null));
    assertNames("mark", () -> Rule.partial(0, 0, null));
    assertNames("domain", () -> Rule.email(null));
    assertNames("list", () -> Rule.dict((String) null));
    assertNames("file", () -> Rule.dict((Path) null));
    assertNames("min", () -> Rule.dateShift(1, null, LocalDate.MAX));
    assertNames("max", () -> Rule.dateShift(1, LocalDate.MIN, null));
    assertNames("alphabet", () -> Rule.ff1(null));
    assertNames("name", () -> Rule.function(null, ""));
    assertNames("arguments", () -> Rule.function("keep", null));
    assertNames("scope", () -> Rule.hash().scope(null));
    assertNames("column", () -> Rule.dateShift(1).by(null));
  }

  @Test
  void aClosedServiceMasksNoMore() {
    service.close();
    assertStateSays("\"one\" is closed", () -> service.mask(rows("a")));
  }

  @Test
  void aClosedEngineNeitherMasksNorStartsServices() {
    ServiceBuilder builder = engine.service("late").column("c", Type.text(), Rule.keep());
    engine.close();
    assertStateSays("\"one\" is closed", () -> service.mask(rows("a")));
    assertStateSays("the engine is closed", builder::open);
  }

  @Test
  void aSecondEngineIsRefused() {
    assertStateSays("open already", Engine::open);
  }

  @Test
  void aServiceWithoutColumnsIsRefused() {
    assertStateSays("has no columns", () -> engine.service("empty").open());
  }

  @Test
  void aServiceNameThatIsNoneIsRefused() {
    for (String id : List.of("", "ten-letter", "spa ce", "ü", "a\0")) {
      assertSays("no service id", () -> engine.service(id));
    }
  }

  @Test
  void aKeyInPlainTextIsRefusedAndNotRepeated() {
    ServiceBuilder builder = engine.service("s");
    for (String key : List.of("", "env:", "file:", "hunter2hunter2hunter2", "ENV:KEY")) {
      Exception refusal = assertThrows(IllegalArgumentException.class, () -> builder.key(key));
      assertTrue(!refusal.getMessage().contains("hunter2"), refusal.getMessage());
    }
    assertSays("place of the key", () -> builder.key("file:/a\0b"));
  }

  @Test
  void aColumnNameThatIsNoneOrTakenIsRefused() {
    ServiceBuilder builder = engine.service("s").column("a", Type.text(), Rule.keep());
    assertSays("column name is empty", () -> builder.column("", Type.text(), Rule.keep()));
    assertSays("contains U+0000", () -> builder.column("a\0", Type.text(), Rule.keep()));
    assertSays("already", () -> builder.uniqueColumn("a", Type.date(), Rule.keep()));
  }

  @Test
  void moreColumnsThanARecordCanCountAreRefused() {
    ServiceBuilder builder = engine.service("wide");
    IntStream.rangeClosed(1, 65_535)
        .forEach(i -> builder.column("c" + i, Type.text(), Rule.keep()));
    assertSays("at most 65535", () -> builder.column("one more", Type.text(), Rule.keep()));
  }

  @Test
  void aTraceThatCannotBeAskedForIsRefused() {
    assertSays("trace mask is empty", () -> new Trace("", Path.of("trace.json")));
    assertSays("trace mask contains", () -> new Trace("\0", Path.of("trace.json")));
  }

  private static void assertNames(String name, Executable misuse) {
    assertEquals(name, assertThrows(NullPointerException.class, misuse).getMessage());
  }

  private static void assertSays(String part, Executable misuse) {
    String message = assertThrows(IllegalArgumentException.class, misuse).getMessage();
    assertTrue(message.contains(part), message);
  }

  private static void assertStateSays(String part, Executable misuse) {
    String message = assertThrows(IllegalStateException.class, misuse).getMessage();
    assertTrue(message.contains(part), message);
  }
}
