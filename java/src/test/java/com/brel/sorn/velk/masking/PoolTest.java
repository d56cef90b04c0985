package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.Row;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class PoolTest {
  private Engine engine;
  private MaskingService service;

  @BeforeEach
  void open() {
    engine = Engine.open();
    service =
        engine
            .service("p")
            .column("a", Type.varchar(3), Rule.keep())
            .column("b", Type.text(), Rule.keep())
            .open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  @Test
  void aBatchOfTheSameShapeUsesTheSameObjectsAndRecords() throws Exception {
    service.mask(List.of(List.of("a", "b"), List.of("c", "d")));
    Row[] rows = service.pool().rowSet().rows;
    List<Long> records = records();
    service.mask(List.of(List.of("e", "f"), List.of("g", "h")));
    assertSame(rows, service.pool().rowSet().rows);
    assertEquals(records, records());
  }

  @Test
  void aSmallerBatchUsesTheSameRecordsAndTheNextLargerOneToo() throws Exception {
    service.mask(List.of(List.of("a", "b"), List.of("c", "d"), List.of("e", "f")));
    List<Long> records = records();
    assertEquals("h", service.mask(List.of(List.of("g", "h"))).value(0, 1));
    assertEquals(1, service.pool().rowSet().rows.length);
    MaskedRows out = service.mask(List.of(List.of("i", "j"), List.of("k", "l"), List.of("m", "n")));
    assertEquals("n", out.value(2, 1));
    assertEquals(3, out.rowCount());
    assertEquals(records, records());
  }

  @Test
  void whatABatchReportedIsGoneBeforeTheNextOne() {
    MaskedRows bad = service.mask(List.of(List.of("too long", "x")));
    assertTrue(bad.hasError(0));
    MaskedRows good = service.mask(List.of(List.of("ok", "y")));
    assertEquals(List.of(), good.errors());
    Row row = service.pool().rowSet().rows[0];
    assertEquals(false, row.hasError);
    assertEquals(0, row.fields[0].errorCode);
    assertNull(row.fields[0].errorMessage);
  }

  @Test
  void errorsAreClearedBeforeABatchIsSentAndNotOnlyByTheEngine() {
    RowPool pool = service.pool();
    service.mask(List.of(List.of("a", "b")));
    Row row = pool.rowSet().rows[0];
    row.hasError = true;
    row.fields[0].errorCode = 7;
    row.fields[0].errorMessage = "of the batch before";
    pool.load(new String[][] {{"c", "d"}}, 0);
    assertEquals(false, row.hasError);
    assertEquals(0, row.fields[0].errorCode);
    assertNull(row.fields[0].errorMessage);
  }

  @Test
  void aShorterValueLeavesNothingOfALongerOneBehind() {
    assertEquals("a long text", service.mask(List.of(List.of("abc", "a long text"))).value(0, 1));
    MaskedRows out = service.mask(List.of(List.of("x", "s")));
    assertEquals("x", out.value(0, 0));
    assertEquals("s", out.value(0, 1));
    List<String> nulls = new ArrayList<>();
    nulls.add(null);
    nulls.add("");
    MaskedRows empty = service.mask(List.of(nulls));
    assertNull(empty.value(0, 0));
    assertEquals("", empty.value(0, 1));
  }

  @Test
  void closingAServiceFreesEveryRecord() throws Exception {
    service.mask(List.of(List.of("a", "b"), List.of("c", "d")));
    for (long record : records()) {
      assertNotEquals(0, record);
    }
    List<Object> objects = objects();
    service.close();
    for (Object object : objects) {
      assertEquals(0, pointer(object));
    }
    assertEquals(0, service.pool().bufferBytes());
  }

  @Test
  void rowsAreReadInTheirOrder() {
    int count = 3000;
    List<List<String>> rows = new ArrayList<>();
    for (int i = 0; i < count; i++) {
      rows.addAll(rows(Integer.toString(i)));
    }
    try (MaskingService one = Columns.column(engine, Type.integer(), Rule.keep())) {
      MaskedRows out = one.mask(rows);
      for (int i = 0; i < count; i++) {
        assertEquals(Integer.toString(i), out.value(i, 0));
      }
    }
  }

  private List<Long> records() {
    return objects().stream().map(PoolTest::pointer).toList();
  }

  /** The row set, its rows and their fields. */
  private List<Object> objects() {
    List<Object> objects = new ArrayList<>();
    objects.add(service.pool().rowSet());
    for (Row row : service.pool().rowSet().rows) {
      objects.add(row);
      objects.addAll(List.of(row.fields));
    }
    return objects;
  }

  /** The address of the object's native record, 0 for none. */
  static long pointer(Object mirror) {
    try {
      var field = mirror.getClass().getDeclaredField("pointer");
      field.setAccessible(true);
      return field.getLong(mirror);
    } catch (ReflectiveOperationException e) {
      throw new AssertionError(e);
    }
  }
}
