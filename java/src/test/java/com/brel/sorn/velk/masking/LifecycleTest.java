package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.KEY;
import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class LifecycleTest {
  private static final int FRAMEWORK_ALREADY_STARTED = 7101;
  private static final int FRAMEWORK_NOT_STARTED = 7102;
  private static final int TRACE_MASK_UNKNOWN = 7110;
  private static final int TRACE_NOT_WRITTEN = 7112;
  private static final int KEY_MISSING = 7226;
  private static final int FUNCTION_UNKNOWN = 7301;
  private static final int PROVIDER_UNKNOWN = 7402;

  @TempDir Path folder;

  @Test
  void theEngineTellsWhichItIsAndWhereItCameFrom() {
    try (Engine engine = Engine.open()) {
      EngineLibrary library = engine.library();
      assertTrue(
          library.identification().startsWith("VELK reference engine "), library.identification());
      assertEquals(EngineLibrary.Source.PROPERTY, library.source());
      assertTrue(Files.exists(library.directory().resolve(System.mapLibraryName("VELKJNI"))));
    }
  }

  @Test
  void theEngineOpensAgainAfterItWasClosed() {
    for (int i = 0; i < 5; i++) {
      try (Engine engine = Engine.open();
          MaskingService service = column(engine, Type.text(), Rule.keep())) {
        assertEquals("a", service.mask(rows("a")).value(0, 0));
      }
      assertNull(Bridge.running);
    }
  }

  @Test
  void closingTheEngineClosesItsServicesTheLatestFirst() throws Exception {
    Path file = folder.resolve("trace.json");
    Engine engine = Engine.open(Trace.all(file));
    MaskingService first = column(engine, Type.text(), Rule.keep());
    MaskingService second = column(engine, Type.text(), Rule.keep());
    engine.close();
    assertThrows(IllegalStateException.class, () -> first.mask(rows("a")));
    assertThrows(IllegalStateException.class, () -> second.mask(rows("a")));
    TraceFile trace = TraceFile.read(file);
    assertEquals(2, trace.count("NativeProvider.terminateProvider0"));
    assertEquals(1, trace.count("VELK.terminateFramework0"));
    assertEquals(
        "VELK.terminateFramework0", trace.entries().get(trace.entries().size() - 1).operation());
  }

  @Test
  void servicesAreClosedTheLatestFirst() {
    try (Engine engine = Engine.open()) {
      MaskingService first = column(engine, Type.text(), Rule.keep());
      MaskingService second = column(engine, Type.text(), Rule.keep());
      MaskingService third = column(engine, Type.text(), Rule.keep());
      assertEquals(List.of(third, second, first), engine.latestFirst());
      second.close();
      assertEquals(List.of(third, first), engine.latestFirst());
    }
  }

  @Test
  void aProviderWithoutAHandleIsNoneThatStarted() {
    assertEquals(7, MaskingService.requireStarted("s", 7));
    VELKException refusal =
        assertThrows(VELKException.class, () -> MaskingService.requireStarted("s", 0));
    assertEquals(0, refusal.code());
    assertEquals("the engine started no provider for \"s\"", refusal.getMessage());
  }

  @Test
  void aUniqueColumnIsToldToTheEngine() throws Exception {
    for (boolean replaced : new boolean[] {false, true}) {
      Path file = folder.resolve("trace.json");
      try (Engine engine = Engine.open(Trace.all(file))) {
        ServiceBuilder builder = engine.service("u").column("a", Type.text(), Rule.keep());
        if (replaced) {
          builder.onError(OnError.fixed("x"));
        }
        builder.uniqueColumn("b", Type.varchar(9), Rule.keep()).open();
      }
      List<String> names =
          Files.readAllLines(file).stream()
              .filter(line -> line.contains("\"InitializationOperand.toC\""))
              .filter(line -> line.contains("\"unique\""))
              .toList();
      assertEquals(1, names.size());
    }
  }

  @Test
  void anEngineClosesWhatWasParsedAndNeverOpened() throws Exception {
    Path file = folder.resolve("trace.json");
    Engine engine = Engine.open(Trace.all(file));
    ParsedService never = engine.parse("service=s a=keep");
    ParsedService opened = engine.parse("service=t a=keep");
    MaskingService service = opened.open();
    engine.parse("service=u a=keep").close();
    engine.close();
    assertThrows(IllegalStateException.class, never::tellErrors);
    assertThrows(IllegalStateException.class, never::open);
    assertThrows(IllegalStateException.class, () -> service.mask(rows("a")));
    assertEquals(1, TraceFile.read(file).count("NativeProvider.terminateProvider0"));
  }

  @Test
  void theTraceFileMayHaveANameInAnyLanguage() throws Exception {
    Path file = folder.resolve("Spur 王小明 😀.json");
    try (Engine engine = Engine.open(Trace.all(file))) {
      assertEquals("a", Columns.mask(engine, Type.text(), Rule.keep(), "a"));
    }
    assertEquals(1, TraceFile.read(file).count("VELK.terminateFramework0"));
  }

  @Test
  void closingTwiceDoesNothingMore() throws Exception {
    Path file = folder.resolve("trace.json");
    Engine engine = Engine.open(Trace.all(file));
    MaskingService service = column(engine, Type.text(), Rule.keep());
    service.close();
    service.close();
    engine.close();
    service.close();
    engine.close();
    assertEquals(1, TraceFile.read(file).count("NativeProvider.terminateProvider0"));
  }

  @Test
  void closingAnEngineOfThePastLeavesTheNextOneOpen() {
    Engine past = Engine.open();
    past.close();
    try (Engine engine = Engine.open()) {
      past.close();
      assertEquals("a", Columns.mask(engine, Type.text(), Rule.keep(), "a"));
    }
  }

  @Test
  void severalServicesRunSideBySide() {
    try (Engine engine = Engine.open();
        MaskingService fixed = column(engine, Type.text(), Rule.fixed("x"))) {
      MaskingService kept = column(engine, Type.text(), Rule.keep());
      assertEquals("a", kept.mask(rows("a")).value(0, 0));
      assertEquals("x", fixed.mask(rows("a")).value(0, 0));
      kept.close();
      assertEquals("x", fixed.mask(rows("b")).value(0, 0));
    }
  }

  @Test
  void oneDescriptionStartsAsManyServicesAsWanted() {
    try (Engine engine = Engine.open()) {
      ServiceBuilder builder = engine.service("s").column("c", Type.text(), Rule.keep());
      try (MaskingService one = builder.open();
          MaskingService two = builder.column("d", Type.text(), Rule.keep()).open()) {
        assertEquals("a", one.mask(rows("a")).value(0, 0));
        assertEquals("b", two.mask(List.of(List.of("a", "b"))).value(0, 1));
      }
    }
  }

  @Test
  void theEnginesRefusalOfAServiceIsToldAndLeavesTheEngineOpen() {
    try (Engine engine = Engine.open()) {
      ServiceBuilder keyless = engine.service("s").column("c", Type.text(), Rule.classes());
      assertEquals(KEY_MISSING, assertThrows(VELKException.class, keyless::open).code());
      ServiceBuilder unknown =
          engine.service("s").key(KEY).column("mail", Type.text(), Rule.function("emial", ""));
      VELKException refusal = assertThrows(VELKException.class, unknown::open);
      assertEquals(FUNCTION_UNKNOWN, refusal.code());
      assertTrue(refusal.getMessage().contains("emial"), refusal.getMessage());
      assertTrue(refusal.getMessage().contains("mail"), refusal.getMessage());
      assertEquals("a", Columns.mask(engine, Type.text(), Rule.keep(), "a"));
    }
  }

  @Test
  void aFrameworkThatDoesNotStartLeavesNothingBehind() {
    Trace trace = new Trace("everything", folder.resolve("trace.json"));
    VELKException refusal = assertThrows(VELKException.class, () -> Engine.open(trace));
    assertEquals(TRACE_MASK_UNKNOWN, refusal.code());
    Engine.open().close();
  }

  @Test
  void aServiceThatTheEngineCannotEndIsReleasedWithTheEngine() {
    Engine engine = Engine.open();
    MaskingService service = column(engine, Type.text(), Rule.keep());
    Bridge.PROVIDER.terminateProvider0(service.handle());
    assertEquals(PROVIDER_UNKNOWN, assertThrows(VELKException.class, service::close).code());
    assertThrows(IllegalStateException.class, () -> service.mask(rows("a")));
    assertEquals(PROVIDER_UNKNOWN, assertThrows(VELKException.class, engine::close).code());
    service.close();
    Engine.open().close();
  }

  @Test
  void anEngineWhoseTraceCouldNotBeWrittenSaysSoAndIsClosed() {
    Engine engine = Engine.open(Trace.all(TraceFile.onFullDisk()));
    assertEquals("a", Columns.mask(engine, Type.text(), Rule.keep(), "a"));
    VELKException failure = assertThrows(VELKException.class, engine::close);
    assertEquals(TRACE_NOT_WRITTEN, failure.code());
    assertNull(Bridge.running);
    engine.close();
    Engine.open().close();
  }

  @Test
  void everyFailureOfACloseIsTold() {
    Engine engine = Engine.open(Trace.all(TraceFile.onFullDisk()));
    MaskingService service = column(engine, Type.text(), Rule.keep());
    Bridge.PROVIDER.terminateProvider0(service.handle());
    VELKException failure = assertThrows(VELKException.class, engine::close);
    assertEquals(PROVIDER_UNKNOWN, failure.code());
    assertEquals(1, failure.getSuppressed().length);
    assertEquals(TRACE_NOT_WRITTEN, ((VELKException) failure.getSuppressed()[0]).code());
    Engine.open().close();
  }

  @Test
  void anEngineThatCannotBeEndedStaysOpen() {
    Engine engine = Engine.open();
    Bridge.VELK.terminateFramework0();
    VELKException failure = assertThrows(VELKException.class, engine::close);
    assertEquals(FRAMEWORK_NOT_STARTED, failure.code());
    assertThrows(IllegalStateException.class, Engine::open);
    Bridge.VELK.initializeFramework0(null);
    engine.close();
  }

  @Test
  void aFrameworkThatRunsAlreadyIsTold() {
    Engine engine = Engine.open();
    Bridge.running = null;
    assertEquals(FRAMEWORK_ALREADY_STARTED, assertThrows(VELKException.class, Engine::open).code());
    Bridge.VELK.init0();
    Bridge.running = engine;
    engine.close();
  }
}
