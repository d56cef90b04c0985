package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.Row;
import com.brel.sorn.velk.VELKException;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class FailureTest {
  private static final int PROVIDER_UNKNOWN = 7402;
  private static final int TOO_LONG = 7502;
  private static final String[][] VALUES = {{"secret"}, {"other"}};

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  @Test
  void anyStatusButZeroIsAFailure() {
    assertDoesNotThrow(() -> Bridge.check(0, "Field.toC"));
    for (int status : new int[] {1, -2, Integer.MIN_VALUE}) {
      VELKException failure =
          assertThrows(VELKException.class, () -> Bridge.check(status, "Field.toC"));
      assertEquals(status, failure.code());
      assertTrue(failure.getMessage().contains("Field.toC"), failure.getMessage());
    }
  }

  @Test
  void aBatchThatFailedHasNoResultsAndKeepsNoValues() {
    RowPool pool = new RowPool(List.of(Columns.of("c", Type.text(), Rule.keep())), OnError.UNSAID);
    try {
      assertThrows(IllegalStateException.class, pool::results);
      pool.load(VALUES, 0);
      pool.toC();
      assertThrows(
          VELKException.class,
          () -> Bridge.PROVIDER.serviceProvider0(-1, definition(), pool.rowSet()));
      assertThrows(IllegalStateException.class, pool::results);
      pool.clear();
      assertNoValues(pool);
    } finally {
      pool.free();
    }
  }

  @Test
  void resultsCannotBeReadAgainAfterTheNextBatchBegan() {
    RowPool pool = new RowPool(List.of(Columns.of("c", Type.text(), Rule.keep())), OnError.UNSAID);
    try {
      pool.load(VALUES, 0);
      pool.toC();
      pool.toJava();
      assertEquals("secret", pool.results().value(0, 0));
      pool.load(VALUES, 0);
      assertThrows(IllegalStateException.class, pool::results);
    } finally {
      pool.free();
    }
  }

  @Test
  void aServiceWhoseBatchFailedKeepsNoValuesAndGoesOn() {
    try (MaskingService service =
        engine
            .service("s")
            .onError(OnError.stop())
            .column("c", Type.varchar(3), Rule.keep())
            .open()) {
      assertEquals("abc", service.mask(rows("abc")).value(0, 0));
      assertThrows(VELKException.class, () -> service.mask(rows("abc", "secret")));
      assertNoValues(service.pool());
      assertThrows(IllegalStateException.class, () -> service.pool().results());
      assertEquals("def", service.mask(rows("def")).value(0, 0));
    }
  }

  @Test
  void aServiceThatTheEngineLostFailsItsBatches() {
    MaskingService service = column(engine, Type.text(), Rule.keep());
    Bridge.PROVIDER.terminateProvider0(service.handle());
    VELKException failure = assertThrows(VELKException.class, () -> service.mask(rows("secret")));
    assertEquals(PROVIDER_UNKNOWN, failure.code());
    assertNoValues(service.pool());
    assertThrows(VELKException.class, engine::close);
  }

  @Test
  void aRowInErrorOfWhichNoValueIsHasNoReadableValue() {
    RowPool pool = new RowPool(List.of(Columns.of("c", Type.text(), Rule.keep())), OnError.UNSAID);
    try {
      pool.load(VALUES, 0);
      pool.rowSet().rows[0].hasError = true;
      pool.toC();
      pool.toJava();
      MaskedRows out = pool.results();
      assertEquals(FieldError.ROW, out.error(0, 0).orElseThrow().code());
      assertThrows(VELKException.class, () -> out.value(0, 0));
      assertEquals("other", out.value(1, 0));
    } finally {
      pool.free();
    }
  }

  @Test
  void aRowErrorIsNotPassedOverBesideAFieldThatWasRefusedBeforeItWasSent() {
    RowPool pool = pool(OnError.UNSAID);
    try {
      pool.load(new String[][] {{"a\0b", "secret"}, {"a\0b", "fine"}}, 0);
      pool.rowSet().rows[0].hasError = true;
      pool.toC();
      pool.toJava();
      MaskedRows out = pool.results();
      assertEquals(FieldError.ZERO_CHARACTER, out.error(0, 0).orElseThrow().code());
      assertEquals(FieldError.ROW, out.error(0, 1).orElseThrow().code());
      assertThrows(VELKException.class, () -> out.value(0, 1));
      assertEquals("fine", out.value(1, 1));
    } finally {
      pool.free();
    }
  }

  @Test
  void aReplacementTakesThePlaceOfAWholeRowInError() {
    RowPool pool = pool(OnError.fixed("bad"));
    try {
      pool.load(new String[][] {{"secret", "secret"}}, 0);
      pool.rowSet().rows[0].hasError = true;
      pool.toC();
      pool.toJava();
      assertEquals(List.of("bad", "bad"), pool.results().row(0));
    } finally {
      pool.free();
    }
  }

  @Test
  void aReplacementComesFromTheCallerAndNotFromTheEnginesBuffer() {
    RowPool pool = pool(OnError.fixed("bad"));
    try {
      pool.load(new String[][] {{"secret", "fine"}}, 0);
      Row row = pool.rowSet().rows[0];
      row.hasError = true;
      row.fields[0].errorCode = TOO_LONG;
      pool.toC();
      pool.toJava();
      assertEquals("secret", row.fields[0].source);
      MaskedRows out = pool.results();
      assertEquals(List.of("bad", "fine"), out.row(0));
      assertEquals(TOO_LONG, out.error(0, 0).orElseThrow().code());
      assertEquals(1, out.errors().size());
    } finally {
      pool.free();
    }
  }

  private static RowPool pool(OnError onError) {
    Column first = Columns.of("a", Type.text(), Rule.keep());
    Column second = Columns.of("b", Type.text(), Rule.keep());
    return new RowPool(List.of(first, second), onError);
  }

  private static com.brel.sorn.velk.internal.ServiceDefinition definition() {
    return new com.brel.sorn.velk.internal.ServiceDefinition();
  }

  private static void assertNoValues(RowPool pool) {
    for (Row row : pool.rowSet().rows) {
      for (Field field : row.fields) {
        assertNull(field.source);
      }
    }
  }
}
