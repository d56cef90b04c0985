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
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** What the bridge allocates, counted call by call. */
@Tag("native-helpers")
class MemoryTest {
  private static final String STRING =
      """
      service=people key=env:MASK_KEY on_error=null
      name=classes name.type=varchar(40) "order no"=hash(length=12) "order no".unique=true
      email=email(domain=example.com)
      """;
  private static final String KEYLESS = "service=people key=env:NO_SUCH_MASK_KEY name=classes";

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
  void ofALargeBatchThereIsLeftWhatAPieceTakesAndOfItsServiceNothing() {
    try (Engine engine = Engine.open()) {
      long before = NativeHelpers.bridgeBlocks();
      try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
        long open = NativeHelpers.bridgeBlocks();
        service.mask(batchOfOneColumn(5 * Piece.VALUES + 1, "a"));
        // A row set; the rows of a piece, each with a field and its buffer.
        assertEquals(open + 1 + 3 * Piece.VALUES, NativeHelpers.bridgeBlocks());
        service.mask(batchOfOneColumn(20, "x".repeat(Piece.BYTES)));
        assertEquals(open, NativeHelpers.bridgeBlocks());
        service.mask(batchOfOneColumn(3, "a"));
        assertEquals(open + 1 + 3 * 3, NativeHelpers.bridgeBlocks());
      }
      assertEquals(before, NativeHelpers.bridgeBlocks());
    }
  }

  @Test
  void whatWasParsedAndNeverOpenedIsFreedWithTheEngine() {
    Runnable run =
        () -> {
          try (Engine engine = Engine.open()) {
            engine.parse(STRING);
            engine.parse(STRING).tellErrors();
          }
        };
    assertLeft(2, run);
  }

  /** The engine is asked once for each rule, which costs the array of pairs of one string. */
  @Test
  void anAnswerOfTheEngineIsKept() {
    try (Engine engine = Engine.open()) {
      Runnable run =
          () ->
              engine
                  .service("s")
                  .key(KEY)
                  .column("a", Type.text(), Rule.email("example.com"))
                  .column("b", Type.varchar(300), Rule.email("example.com"))
                  .open()
                  .close();
      long before = NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks();
      run.run();
      assertEquals(before + 1, NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks());
      assertLeft(0, run);
    }
  }

  private static List<List<String>> batchOfOneColumn(int rows, String value) {
    return Collections.nCopies(rows, List.of(value));
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
  void aMaskingStringLeavesNothingBehindButItsArrayOfPairs() {
    try (Engine engine = Engine.open()) {
      assertLeft(1, () -> engine.parse(STRING).close());
      assertLeft(1, () -> maskOnce(engine.parse(STRING)));
      assertLeft(1, () -> maskOnce(engine.parse(STRING).tellErrors()));
      assertLeft(1, () -> assertThrows(VELKException.class, engine.parse(KEYLESS)::open));
    }
  }

  /** Of a refused string the service's record stays, and the array of pairs if it came so far. */
  @Test
  void aRefusedMaskingStringLeavesItsServiceRecordBehindAndNoMoreThanThat() {
    try (Engine engine = Engine.open()) {
      String noText = STRING + " open='";
      assertLeft(1, () -> assertThrows(VELKException.class, () -> engine.parse(noText)));
      String noService = STRING + " note=hsah";
      assertLeft(2, () -> assertThrows(VELKException.class, () -> engine.parse(noService)));
    }
  }

  @Test
  void aMaskingStringThatNeverReachesTheBridgeLeavesNothingBehind() {
    try (Engine engine = Engine.open()) {
      assertLeft(
          0, () -> assertThrows(IllegalArgumentException.class, () -> engine.parse(STRING + "\0")));
    }
  }

  /** So many blocks are left by each run, whoever allocated them and whoever was to free them. */
  private static void assertLeft(long blocks, Runnable run) {
    run.run(); // what is made once and kept
    for (int i = 0; i < 50; i++) {
      long allocations = NativeHelpers.bridgeAllocations() + NativeHelpers.engineAllocations();
      long before = NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks();
      run.run();
      assertEquals(before + blocks, NativeHelpers.bridgeBlocks() + NativeHelpers.engineBlocks());
      long made = NativeHelpers.bridgeAllocations() + NativeHelpers.engineAllocations();
      assertTrue(blocks == 0 || made > allocations + blocks, "the counters see the run");
    }
  }

  private static void maskOnce(ParsedService parsed) {
    try (MaskingService service = parsed.open()) {
      service.mask(List.of(Arrays.asList("Zoë", null, "note"), List.of("x".repeat(41), "", "")));
    }
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
