package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.KEY;
import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** What the bridge allocates, counted call by call. */
@Tag("native-helpers")
class MemoryTest {
  @BeforeAll
  static void watch() {
    NativeHelpers.watch();
  }

  @Test
  void theCounterSeesWhatTheBridgeAllocates() {
    try (Engine engine = Engine.open();
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      long before = NativeHelpers.bridgeBlocks();
      service.mask(rows("a", "b"));
      // A row set; two rows; two fields, each with a buffer.
      assertEquals(before + 1 + 2 + 2 * 2, NativeHelpers.bridgeBlocks());
    }
  }

  @Test
  void theSteadyStateAllocatesNothing() {
    try (Engine engine = Engine.open();
        MaskingService service = people(engine)) {
      service.mask(batch(20, "a first value"));
      long before = NativeHelpers.bridgeAllocations();
      for (int i = 0; i < 200; i++) {
        service.mask(batch(20 - i % 7, "value " + i));
      }
      assertEquals(before, NativeHelpers.bridgeAllocations());
    }
  }

  @Test
  void everyRecordIsFreedExactlyOnce() {
    long allocations = NativeHelpers.bridgeAllocations();
    long before = NativeHelpers.bridgeBlocks();
    for (int i = 0; i < 10; i++) {
      try (Engine engine = Engine.open(new Trace("0", Path.of("-")));
          MaskingService first = people(engine);
          MaskingService second = people(engine)) {
        first.mask(batch(5, "short"));
        first.mask(batch(9, "longer than the one before"));
        second.mask(rowsWithErrors());
      }
    }
    assertTrue(NativeHelpers.bridgeAllocations() > allocations);
    assertEquals(before, NativeHelpers.bridgeBlocks());
  }

  @Test
  void whatDoesNotStartLeavesNoRecordBehind() {
    long before = NativeHelpers.bridgeBlocks();
    Trace bad = new Trace("everything", Path.of("-"));
    assertThrows(VELKException.class, () -> Engine.open(bad));
    assertEquals(before, NativeHelpers.bridgeBlocks());
    try (Engine engine = Engine.open()) {
      long open = NativeHelpers.bridgeBlocks();
      ServiceBuilder keyless = engine.service("s").column("c", Type.text(), Rule.hash());
      assertThrows(VELKException.class, keyless::open);
      assertEquals(open, NativeHelpers.bridgeBlocks());
    }
    assertEquals(before, NativeHelpers.bridgeBlocks());
  }

  @Test
  void theEngineKeepsNothingOfABatch() {
    try (Engine engine = Engine.open();
        MaskingService service = people(engine)) {
      service.mask(rowsWithErrors());
      long allocations = NativeHelpers.engineAllocations();
      long before = NativeHelpers.engineBlocks();
      for (int i = 0; i < 200; i++) {
        service.mask(rowsWithErrors());
        assertEquals(before, NativeHelpers.engineBlocks());
      }
      assertTrue(NativeHelpers.engineAllocations() > allocations);
    }
  }

  @Test
  void theEngineKeepsNothingOfARun() {
    runOnce();
    long before = NativeHelpers.engineBlocks();
    for (int i = 0; i < 20; i++) {
      runOnce();
      assertEquals(before, NativeHelpers.engineBlocks());
    }
  }

  @Test
  void ofAMaskingStringNothingStaysButTheArrayOfItsPairs() {
    String text = "service=s on_error=stop key=env:MASK_KEY a=fixed('x') b=hash(length=8)";
    try (Engine engine = Engine.open()) {
      readThreeTimes(engine, text);
      // Blocks change sides: what the adapter allocates, the bridge frees.
      long before = NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks();
      for (int i = 1; i <= 20; i++) {
        readThreeTimes(engine, text);
        // The bridge leaves an array to the adapter each time.
        long now = NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks();
        assertEquals(3 * i, now - before);
      }
    }
  }

  /** Dropped unopened, opened as it is, and opened with an operand taken out. */
  private static void readThreeTimes(Engine engine, String text) {
    engine.parse(text).close();
    engine.parse(text).open().close();
    engine.parse(text).tellErrors().open().close();
  }

  private static void runOnce() {
    try (Engine engine = Engine.open();
        MaskingService service = people(engine)) {
      service.mask(rowsWithErrors());
    }
  }

  private static MaskingService people(Engine engine) {
    return engine
        .service("people")
        .key(KEY)
        .column("name", Type.varchar(40), Rule.classes())
        .column("mail", Type.text(), Rule.hash(12))
        .uniqueColumn("note", Type.text(), Rule.partial(1, 1))
        .open();
  }

  private static List<List<String>> batch(int rows, String value) {
    List<List<String>> batch = new ArrayList<>();
    for (int i = 0; i < rows; i++) {
      batch.add(Arrays.asList(value, i % 3 == 0 ? null : value, ""));
    }
    return batch;
  }

  private static List<List<String>> rowsWithErrors() {
    return List.of(List.of("x".repeat(41), "a\0", "\uD800"), List.of("fine", "fine", "fine"));
  }
}
