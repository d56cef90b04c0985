package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
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

  @BeforeAll
  static void watch() {
    NativeHelpers.watch();
  }

  @AfterEach
  void letEveryScopeOpen() {
    NativeHelpers.failTraceScope(0, 0);
  }

  @Test
  void theFailureOfAnyCallIsToldAndLeavesNothingBehind() {
    Set<String> failed = new TreeSet<>();
    long before = NativeHelpers.bridgeBlocks();
    int number = 0;
    do {
      number++;
      NativeHelpers.failTraceScope(number, STATUS);
      VELKException failure = failureOfARun();
      if (failure == null) {
        break;
      }
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
      try {
        engine.close();
      } catch (VELKException e) {
        failure = failure == null ? e : failure;
      }
    }
    assertNull(Bridge.running);
    return failure;
  }

  private static MaskedRows maskOrKeepNothing(MaskingService service) {
    try {
      return service.mask(rows("secret", "other"));
    } catch (VELKException e) {
      assertThrows(IllegalStateException.class, () -> service.pool().results());
      for (Row row : service.pool().rowSet().rows) {
        for (Field field : row.fields) {
          assertNull(field.source);
        }
      }
      throw e;
    }
  }

  @Test
  void aTraceThatFailsAsTheFrameworkStartsEndsTheFramework() {
    int number = 0;
    String failed = "";
    while (!failed.startsWith("initializeFramework0")) {
      NativeHelpers.failTraceScope(++number, STATUS);
      failed = assertThrows(VELKException.class, Engine::open).getMessage();
    }
    NativeHelpers.failTraceScope(0, 0);
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
