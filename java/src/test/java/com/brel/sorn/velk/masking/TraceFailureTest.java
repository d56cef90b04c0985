package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.Row;
import com.brel.sorn.velk.VELKException;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** A native whose trace scope does not open does nothing: every such failure must be told. */
@Tag("native-helpers")
class TraceFailureTest {
  private static final int STATUS = 4711;
  private static final int PROVIDER_UNKNOWN = 7402;
  private static final int TRACE_NOT_WRITTEN = 7112;

  @BeforeAll
  static void watch() {
    NativeHelpers.watch();
  }

  @AfterEach
  void letEveryScopeOpen() {
    NativeHelpers.letEveryTraceScopeOpen();
  }

  @Test
  void theFailureOfAnyCallIsToldAndLeavesNothingBehind() {
    Set<String> failed = new TreeSet<>();
    long before = NativeHelpers.bridgeBlocks();
    int number = 0;
    do {
      number++;
      NativeHelpers.failTraceScope(number, 1, STATUS);
      VELKException failure = failureOfARun();
      if (failure == null) {
        break;
      }
      assertNull(Bridge.running);
      failed.add(failure.getMessage().split(" ")[0]);
      assertTrue(Set.of(STATUS, PROVIDER_UNKNOWN).contains(failure.code()), failure.toString());
      assertEquals(before, NativeHelpers.bridgeBlocks(), failure.toString());
    } while (true);
    assertTrue(NativeHelpers.failureIsPending(), "a failure passed unnoticed");
    assertTrue(
        failed.containsAll(
            Set.of(
                "initializeFramework0",
                "InitializationOperand.toC",
                "FieldDefinition.toC",
                "ServiceDefinition.toC",
                "FrameworkDefinition.toC",
                "Field.toC",
                "Row.toC",
                "RowSet.toC",
                "serviceProvider0",
                "Field.toJava",
                "Row.toJava",
                "RowSet.toJava",
                "terminateProvider0",
                "terminateFramework0",
                "destroy0")),
        failed.toString());
  }

  @Test
  void aTraceThatGoesOnFailingIsToldAndLeavesNothingBehindOnceItIsOver() {
    long before = NativeHelpers.bridgeBlocks();
    for (int count : new int[] {2, 3, Integer.MAX_VALUE}) {
      int number = 0;
      do {
        number++;
        NativeHelpers.failTraceScope(number, count, STATUS);
        if (failureOfARun() == null) {
          break;
        }
        NativeHelpers.letEveryTraceScopeOpen();
        maskAgain();
        assertEquals(before, NativeHelpers.bridgeBlocks(), count + " from " + number + " on");
      } while (true);
      assertTrue(NativeHelpers.failureIsPending(), "a failure passed unnoticed");
      NativeHelpers.letEveryTraceScopeOpen();
    }
  }

  /** An engine that could not be ended is closed now; then everything works as ever. */
  private static void maskAgain() {
    if (Bridge.running != null) {
      closeOrFail(Bridge.running);
    }
    try (Engine engine = Engine.open()) {
      assertEquals("again", Columns.mask(engine, Type.text(), Rule.keep(), "again"));
    }
    assertNull(Bridge.running);
    assertNull(Bridge.leftOver);
  }

  /** Opens, masks and closes; a close that failed is repeated. */
  private static VELKException failureOfARun() {
    VELKException failure = null;
    Engine engine = null;
    try {
      engine = Engine.open();
      MaskingService service = Columns.column(engine, Type.text(), Rule.keep());
      assertEquals("secret", maskOrKeepNothing(service).value(0, 0));
      service.close();
    } catch (VELKException e) {
      failure = e;
    }
    for (int attempt = 0; attempt < 2 && engine != null; attempt++) {
      VELKException next = closeOrFail(engine);
      failure = failure == null ? next : failure;
    }
    return failure;
  }

  private static VELKException closeOrFail(Engine engine) {
    try {
      engine.close();
      return null;
    } catch (VELKException e) {
      return e;
    }
  }

  private static MaskedRows maskOrKeepNothing(MaskingService service) {
    try {
      return service.mask(rows("secret", "other"));
    } catch (VELKException e) {
      assertThrows(IllegalStateException.class, () -> service.pool().results());
      for (Row row : service.pool().rowSet().rows) {
        for (Field field : row.fields) {
          assertNull(field.source);
          assertFalse(NativeHelpers.holdsValue(PoolTest.pointer(field)), e.toString());
        }
      }
      throw e;
    }
  }

  @Test
  void aFrameworkThatCannotBeEndedAfterAFailedStartIsEndedByTheNextOpening() {
    int number = scopeThatStartsTheFramework();
    // The scope of its start, and those of both tries to end it.
    NativeHelpers.failTraceScope(number, 3, STATUS);
    VELKException failure = assertThrows(VELKException.class, Engine::open);
    assertTrue(failure.getMessage().startsWith("initializeFramework0"), failure.getMessage());
    assertEquals(1, failure.getSuppressed().length);
    assertNotNull(Bridge.leftOver);
    assertFalse(NativeHelpers.failureIsPending());
    maskAgain();
  }

  @Test
  void theStatusOfAFailedTraceIsNotTakenForAnotherServicesHandle() {
    try (Engine engine = Engine.open()) {
      MaskingService first = Columns.column(engine, Type.text(), Rule.fixed("x"));
      ServiceBuilder builder = engine.service("second").column("c", Type.text(), Rule.keep());
      long before = NativeHelpers.bridgeBlocks();
      // The scopes of the field's, the two operands' and the service's records go before.
      NativeHelpers.failTraceScope(5, 1, first.handle());
      VELKException refusal = assertThrows(VELKException.class, builder::open);
      assertEquals(first.handle(), refusal.code());
      assertTrue(refusal.getMessage().startsWith("initializeProvider0"), refusal.getMessage());
      assertEquals(before, NativeHelpers.bridgeBlocks());
      assertThrows(IllegalStateException.class, () -> first.mask(rows("a")));
      first.close();
      assertEquals("a", Columns.mask(engine, Type.text(), Rule.keep(), "a"));
    }
  }

  @Test
  void aFailureOfTheReleaseDoesNotHideTheOneBeforeIt() {
    Engine engine = Engine.open(Trace.all(TraceFile.onFullDisk()));
    // The scopes of both calls that end the framework go before.
    NativeHelpers.failTraceScope(3, 1, STATUS);
    VELKException failure = assertThrows(VELKException.class, engine::close);
    assertEquals(TRACE_NOT_WRITTEN, failure.code());
    assertEquals(1, failure.getSuppressed().length);
    assertTrue(failure.getSuppressed()[0].getMessage().startsWith("destroy0"), failure.toString());
    assertNull(Bridge.running);
  }

  @Test
  void aTraceThatCouldNotBeWrittenLeavesNoRecordBehind() {
    long before = NativeHelpers.bridgeBlocks();
    Engine engine = Engine.open(Trace.all(TraceFile.onFullDisk()));
    Columns.column(engine, Type.text(), Rule.keep()).mask(rows("a"));
    assertThrows(VELKException.class, engine::close);
    assertEquals(before, NativeHelpers.bridgeBlocks());
  }

  private static int scopeThatStartsTheFramework() {
    int number = 0;
    String failed = "";
    while (!failed.startsWith("initializeFramework0")) {
      NativeHelpers.failTraceScope(++number, 1, STATUS);
      failed = assertThrows(VELKException.class, Engine::open).getMessage();
      assertTrue(number < 20, failed);
    }
    return number;
  }

  @Test
  void aTraceThatFailsAsTheFrameworkStartsEndsTheFramework() {
    scopeThatStartsTheFramework();
    NativeHelpers.letEveryTraceScopeOpen();
    try (Engine engine = Engine.open()) {
      assertEquals(
          List.of(),
          List.copyOf(
              engine
                  .service("s")
                  .column("c", Type.text(), Rule.keep())
                  .open()
                  .mask(rows("a"))
                  .errors()));
    }
  }
}
