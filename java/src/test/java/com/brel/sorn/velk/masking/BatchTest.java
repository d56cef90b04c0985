package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.brel.sorn.velk.VELKException;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** A batch gives what the natives of single values give. */
class BatchTest {
  private static final Path PROCESS = Path.of("/proc/self/mem");

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private MaskingService service(String rules) {
    return engine.parse("service=s key=env:MASK_KEY " + rules).open();
  }

  private static byte[] utf8(String text) {
    return text.getBytes(StandardCharsets.UTF_8);
  }

  private static void fill(Batch batch, List<List<String>> rows) {
    for (List<String> row : rows) {
      for (int column = 0; column < row.size(); column++) {
        batch.add(column, row.get(column));
      }
      batch.endRow();
    }
  }

  @ParameterizedTest
  @ValueSource(strings = {"", "null", "fixed"})
  void randomTablesAreMaskedAsTheNativesMaskThem(String choice) {
    OnError onError =
        switch (choice) {
          case "null" -> OnError.nullValue();
          case "fixed" -> OnError.fixed("?");
          default -> OnError.UNSAID;
        };
    int errors = 0;
    for (int seed = 0; seed < 40; seed++) {
      RandomTable table = new RandomTable(seed);
      try (MaskingService service = table.service(engine, onError);
          Batch batch = service.batch()) {
        for (int again = 0; again < 3; again++) {
          List<List<String>> rows = table.rows(table.upTo(again == 0 ? 3000 : 20), width(service));
          MaskedRows expected = service.mask(rows);
          fill(batch, rows);
          batch.mask();
          assertSame(expected, batch, onError);
          errors += expected.errors().size();
        }
      }
    }
    assertTrue(errors > 1000, "only " + errors + " errors");
  }

  private static int width(MaskingService service) {
    return service.columns().size();
  }

  private static void assertSame(MaskedRows expected, Batch batch, OnError onError) {
    assertEquals(expected.rowCount(), batch.rows());
    assertEquals(codes(expected.errors()), codes(batch.errors()));
    for (int row = 0; row < batch.rows(); row++) {
      for (int column = 0; column < expected.columnNames().size(); column++) {
        if (expected.error(row, column).isPresent() && onError.way() == OnError.Way.ERROR) {
          int r = row;
          int c = column;
          assertThrows(VELKException.class, () -> batch.string(r, c));
        } else {
          assertEquals(expected.value(row, column), batch.string(row, column));
        }
      }
    }
  }

  private static List<String> codes(List<FieldError> errors) {
    return errors.stream().map(e -> e.row() + " " + e.columnName() + " " + e.code()).toList();
  }

  @Test
  void theTextOfAnErrorIsThatOfTheNatives() {
    try (MaskingService service = engine.service("s").column("d", Type.date(), Rule.keep()).open();
        Batch batch = service.batch()) {
      batch.add(0, "29 February");
      batch.endRow();
      batch.mask();
      assertEquals(service.mask(Columns.rows("29 February")).errors(), batch.errors());
      assertEquals(1, batch.errors().size());
    }
  }

  @Test
  void whatIsKeptMayBeLeftOut() {
    try (MaskingService service = service("a=keep b=hash c=keep d=card(keep_first=6)");
        Batch whole = service.batch();
        Batch some = service.batch(List.of(3, 1))) {
      fill(whole, List.of(List.of("x", "Ada", "y", "none")));
      fill(some, List.of(List.of("none", "Ada")));
      whole.mask();
      some.mask();
      assertEquals(whole.string(0, 1), some.string(0, 1));
      FieldError error = whole.errors().get(0);
      assertEquals(
          List.of(new FieldError(0, 0, "d", error.code(), error.message())), some.errors());
    }
  }

  @Test
  void whatTheEngineIsToBeShownMayNot() {
    try (MaskingService service = service("a=keep b=hash c=keep")) {
      for (List<Integer> some : List.of(List.of(0), List.of(0, 2), List.<Integer>of())) {
        assertThrows(IllegalArgumentException.class, () -> service.batch(some));
      }
      assertThrows(IllegalArgumentException.class, () -> service.batch(List.of(1, 1)));
      assertThrows(IndexOutOfBoundsException.class, () -> service.batch(List.of(1, 3)));
    }
    try (MaskingService service = service("a=keep b=hash c=keep\non_null=mask")) {
      assertThrows(IllegalArgumentException.class, () -> service.batch(List.of(1)));
    }
    try (MaskingService service = service("a=keep b=dateshift(days=9,by=a) b.type=date")) {
      assertThrows(IllegalArgumentException.class, () -> service.batch(List.of(1)));
    }
  }

  @Test
  void valuesGoInAndOutAsBytes() {
    try (MaskingService service =
            service("a=keep b=partial(keep_first=1,keep_last=0,with='*',hide_least=1)");
        Batch batch = service.batch()) {
      byte[] text = utf8("--Änne--");
      batch.add(0, text, 2, 7);
      batch.add(1, text, 2, 7);
      batch.endRow();
      batch.addNull(1);
      batch.add(0, new byte[0], 0, 0);
      batch.endRow();
      batch.mask();
      byte[] target = new byte[9];
      assertEquals(5, batch.copyUtf8(0, 0, target, 4));
      assertArrayEquals(utf8("\0\0\0\0Änne"), target);
      assertEquals("Ä***", batch.string(0, 1));
      assertEquals(5, batch.length(0, 1));
      assertEquals("", batch.string(1, 0));
      assertFalse(batch.isNull(1, 0));
      assertTrue(batch.isNull(1, 1));
      assertNull(batch.string(1, 1));
      assertEquals(0, batch.copyUtf8(1, 1, target, 9));
    }
  }

  @Test
  void aColumnIsCopiedAsAWhole() {
    try (MaskingService service = service("name=keep born=noise(percent=9) born.type=integer");
        Batch batch = service.batch()) {
      fill(batch, List.of(row("Zo\u00eb", "no"), row(null, "1"), row("", null), row("Ada", "2")));
      assertThrows(
          IllegalStateException.class, () -> batch.copyUtf8(0, new int[5], new boolean[4]));
      batch.mask();
      int[] offsets = {-1, -1, -1, -1, -1, 99};
      boolean[] nulls = {true, false, true, true, true};
      assertArrayEquals(utf8("Zo\u00ebAda"), batch.copyUtf8(0, offsets, nulls));
      assertArrayEquals(new int[] {0, 4, 4, 4, 7, 99}, offsets);
      assertArrayEquals(new boolean[] {false, true, false, false, true}, nulls);
      byte[] numbers = batch.copyUtf8(1, offsets, nulls);
      assertArrayEquals(new boolean[] {true, false, true, false, true}, nulls);
      assertEquals(batch.string(3, 1), new String(numbers, offsets[3], offsets[4] - offsets[3]));
      assertThrows(
          IndexOutOfBoundsException.class, () -> batch.copyUtf8(2, offsets, nulls), "column");
      assertThrows(
          IndexOutOfBoundsException.class, () -> batch.copyUtf8(0, new int[4], nulls), "offsets");
      assertThrows(
          IndexOutOfBoundsException.class, () -> batch.copyUtf8(0, offsets, new boolean[3]));
    }
  }

  @Test
  void aColumnOfNullsIsCopied() {
    try (MaskingService service = service("name=keep");
        Batch batch = service.batch()) {
      fill(batch, List.of(row((String) null)));
      batch.mask();
      assertArrayEquals(new byte[0], batch.copyUtf8(0, new int[2], new boolean[1]));
    }
  }

  private static List<String> row(String... values) {
    return Arrays.asList(values);
  }

  @Test
  void whatIsNoTextIsAnErrorOfItsField() {
    try (MaskingService service = service("a=keep b=hash");
        Batch batch = service.batch()) {
      batch.add(0, new byte[] {(byte) 0xC3}, 0, 1);
      batch.add(1, new byte[] {'a', 0}, 0, 2);
      batch.endRow();
      batch.add(0, "\uD83D");
      batch.add(1, "\uDE00 and more");
      batch.endRow();
      batch.mask();
      assertEquals(List.of("0 a -105", "0 b -101", "1 a -102", "1 b -102"), codes(batch.errors()));
      assertEquals("the value is not UTF-8", batch.error(0, 0).get().message());
      VELKException failure = assertThrows(VELKException.class, () -> batch.isNull(0, 0));
      assertEquals(VELKException.Kind.VALUE, failure.kind());
    }
  }

  @Test
  void aTextThatIsNoneHasTheErrorOfTheNatives() {
    List<List<String>> rows =
        List.of(List.of("\0\uD83D", "\uD83D\0"), List.of("\uDE00\uD83D", "\uD83D\uDE00\0"));
    try (MaskingService service = service("a=keep b=hash");
        Batch batch = service.batch()) {
      fill(batch, rows);
      batch.mask();
      assertEquals(service.mask(rows).errors(), batch.errors());
      assertEquals(4, batch.errors().size());
    }
  }

  @Test
  void manyBatchesLeaveNothingBehind() {
    assumeTrue(Memory.isTold());
    try (MaskingService service = service("a=hash b=keep")) {
      long before = 0;
      for (int i = 0; i < 300; i++) {
        try (Batch batch = service.batch()) {
          fill(batch, List.of(List.of("x".repeat(1 << 20), "y".repeat(1 << 20))));
          batch.mask();
        }
        before = i == 150 ? Memory.outsideTheHeap() : before;
      }
      long grown = Memory.outsideTheHeap() - before;
      // Each holds some 10 MB while it is open.
      assertTrue(grown < 40 << 20, grown + " bytes");
    }
  }

  @ParameterizedTest
  @ValueSource(booleans = {true, false})
  void onlyAnEngineOfOneThreadIsCalledUnderTheLock(boolean allowsThreads) throws Exception {
    CountDownLatch ready = new CountDownLatch(1);
    CountDownLatch go = new CountDownLatch(1);
    CountDownLatch done = new CountDownLatch(1);
    ExecutorService thread = Executors.newSingleThreadExecutor();
    try (MaskingService service = service("a=hash")) {
      Future<String> masked =
          thread.submit(
              () -> {
                try (Batch batch = service.batch()) {
                  assertTrue(batch.lane().allowsThreads);
                  batch.lane().allowsThreads = allowsThreads;
                  fill(batch, Columns.rows("x"));
                  ready.countDown();
                  go.await();
                  batch.mask();
                  done.countDown();
                  return batch.string(0, 0);
                }
              });
      ready.await();
      Bridge.LOCK.lock();
      try {
        go.countDown();
        assertEquals(allowsThreads, done.await(allowsThreads ? 60 : 1, TimeUnit.SECONDS));
      } finally {
        Bridge.LOCK.unlock();
      }
      assertEquals(service.mask(Columns.rows("x")).value(0, 0), masked.get(1, TimeUnit.MINUTES));
    } finally {
      thread.shutdown();
    }
  }

  @Test
  void anErrorThatStopsTheBatchLeavesNothingToBeRead() {
    try (MaskingService service = service("on_error=stop a=keep a.type='varchar(2)'");
        Batch batch = service.batch()) {
      fill(batch, Columns.rows("ok", "long"));
      VELKException failure = assertThrows(VELKException.class, batch::mask);
      assertTrue(failure.getMessage().startsWith("row 2, column \"a\": 75"), failure.getMessage());
      assertThrows(IllegalStateException.class, () -> batch.string(0, 0));
      assertEquals(0, batch.rows());
      fill(batch, Columns.rows("ok"));
      batch.mask();
      assertEquals("ok", batch.string(0, 0));
    }
  }

  @Test
  void aDateBesideAKeptColumnIsMovedByIt() {
    String rules = "id=keep name=keep day=dateshift(days=90,by=id) day.type=date";
    List<List<String>> rows =
        List.of(List.of("7", "Anna", "2024-01-01"), List.of("8", "Bert", "2024-01-01"));
    try (MaskingService service = service(rules);
        Batch batch = service.batch()) {
      fill(batch, rows);
      batch.mask();
      assertSame(service.mask(rows), batch, OnError.UNSAID);
    }
  }

  @Test
  void aTableThatIsKeptAsAWholeNeedsNoEngine() {
    try (MaskingService service = service("a=keep b=keep");
        Batch batch = service.batch()) {
      List<List<String>> rows = List.of(Arrays.asList("1", null), List.of("2\0", "x"));
      fill(batch, rows);
      batch.mask();
      assertSame(service.mask(rows), batch, OnError.UNSAID);
    }
  }

  @Test
  void misuseIsToldBeforeAnythingIsCalled() throws Exception {
    try (MaskingService service = service("a=keep b=hash");
        Batch batch = service.batch()) {
      assertThrows(IllegalStateException.class, batch::mask);
      assertThrows(IllegalStateException.class, () -> batch.string(0, 0));
      assertThrows(IllegalStateException.class, batch::endRow);
      assertThrows(IndexOutOfBoundsException.class, () -> batch.add(2, "x"));
      assertThrows(IndexOutOfBoundsException.class, () -> batch.addNull(-1));
      assertThrows(IndexOutOfBoundsException.class, () -> batch.add(0, new byte[3], 2, 4));
      assertThrows(NullPointerException.class, () -> batch.add(0, null, 0, 0));
      batch.add(0, "1");
      assertThrows(IllegalStateException.class, () -> batch.add(0, "2"));
      assertThrows(IllegalStateException.class, batch::endRow);
      assertThrows(IllegalStateException.class, batch::mask);
      batch.add(1, "2");
      batch.endRow();
      assertThrows(IllegalStateException.class, () -> batch.error(0, 0));
      batch.mask();
      assertThrows(IllegalStateException.class, batch::mask);
      assertThrows(IllegalStateException.class, batch::endRow);
      assertThrows(IndexOutOfBoundsException.class, () -> batch.string(1, 0));
      assertThrows(IndexOutOfBoundsException.class, () -> batch.error(0, 2));
      assertThrows(IndexOutOfBoundsException.class, () -> batch.copyUtf8(0, 0, new byte[0], 0));
      assertEquals("1", batch.string(0, 0));
      Callable<Throwable> other = () -> assertThrows(IllegalStateException.class, batch::rows);
      inThread(other);
    }
  }

  @Test
  void aBatchThatAnotherThreadTakesOverIsThatThreads() throws Exception {
    try (MaskingService service = service("a=hash b=keep")) {
      Batch batch = service.batch();
      batch.add(0, "Ada");
      batch.add(1, "kept");
      Callable<?> rest =
          () -> {
            batch.takeOver();
            batch.endRow();
            batch.mask();
            assertEquals("kept", batch.string(0, 1));
            return null;
          };
      inThread(rest);
      assertThrows(IllegalStateException.class, batch::rows);
      assertThrows(IllegalStateException.class, batch::close);
      batch.takeOver();
      batch.close();
    }
  }

  @Test
  void aBatchThatIsClosedIsOfNoUse() {
    try (MaskingService service = service("a=keep")) {
      Batch batch = service.batch();
      fill(batch, Columns.rows("1"));
      batch.mask();
      batch.close();
      batch.close();
      assertThrows(IllegalStateException.class, () -> batch.add(0, "1"));
      assertThrows(IllegalStateException.class, () -> batch.string(0, 0));
      assertThrows(IllegalStateException.class, batch::mask);
    }
  }

  private static void inThread(Callable<?> step) throws Exception {
    ExecutorService thread = Executors.newSingleThreadExecutor();
    try {
      thread.submit(step).get(1, TimeUnit.MINUTES);
    } finally {
      thread.shutdown();
    }
  }

  @Test
  void twoHundredBatchesStandInTheMemoryOfTheFirst() {
    try (MaskingService service = service("a=hash b=keep c=classes");
        Batch batch = service.batch()) {
      long[] first = null;
      for (int i = 0; i < 200; i++) {
        for (int row = 0; row < 500 - i % 7; row++) {
          fill(batch, List.of(List.of("value " + i, "kept", "ABC-12")));
        }
        batch.mask();
        first = first == null ? batch.memory() : first;
        assertArrayEquals(first, batch.memory());
      }
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "it has no file of a process's memory")
  void closingWipesWhatWasGivenAndWhatCameOut() throws IOException {
    try (MaskingService service = service("a=classes b=keep")) {
      Batch batch = service.batch();
      fill(batch, List.of(List.of("Secret-".repeat(99), "Secret-".repeat(99))));
      batch.mask();
      long[] memory = batch.memory();
      // The first result is masked; the second and both inputs are not.
      assertTrue(countSecrets(memory) >= 3);
      batch.close();
      assertEquals(0, countSecrets(memory));
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "it has no file of a process's memory")
  void aBatchThatFailsIsWiped() throws IOException {
    try (MaskingService service = service("on_error=stop a=keep b=keep b.type='varchar(2)'");
        Batch batch = service.batch()) {
      fill(batch, List.of(List.of("Secret-".repeat(99), "ok")));
      batch.mask();
      long[] memory = batch.memory();
      assertTrue(countSecrets(memory) >= 2);
      fill(batch, List.of(List.of("Secret-".repeat(99), "long")));
      assertThrows(VELKException.class, batch::mask);
      assertEquals(0, countSecrets(memory));
    }
  }

  /** How many of these places hold the secret; what is not there any more does not. */
  private static int countSecrets(long[] places) throws IOException {
    int count = 0;
    try (RandomAccessFile memory = new RandomAccessFile(PROCESS.toFile(), "r")) {
      for (long place : places) {
        byte[] bytes = new byte[600];
        try {
          memory.seek(place);
          memory.readFully(bytes);
        } catch (IOException e) {
          continue;
        }
        count += new String(bytes, StandardCharsets.ISO_8859_1).contains("Secret-") ? 1 : 0;
      }
    }
    return count;
  }

  @Test
  void aServiceThatIsClosedEndsItsBatches() {
    MaskingService service = service("a=hash");
    Batch batch = service.batch();
    fill(batch, Columns.rows("x"));
    service.close();
    assertThrows(IllegalStateException.class, batch::mask);
    assertThrows(IllegalStateException.class, service::batch);
    batch.close();
  }

  @Test
  void anEngineThatIsClosedEndsTheBatchesOfItsServices() {
    Batch batch = service("a=hash").batch();
    fill(batch, Columns.rows("x"));
    engine.close();
    assertThrows(IllegalStateException.class, batch::mask);
    batch.close();
    engine = Engine.open();
  }

  @Test
  void batchesOfSeveralThreadsGiveTheSame() throws Exception {
    try (MaskingService service = service("a=hash b=ff1(alphabet=digits) c=keep")) {
      List<List<String>> rows = new RandomTable(1).rows(2000, 3);
      MaskedRows expected = service.mask(rows);
      ExecutorService threads = Executors.newFixedThreadPool(4);
      List<Future<?>> ends = new ArrayList<>();
      for (int i = 0; i < 4; i++) {
        ends.add(threads.submit(() -> maskTwice(service, rows, expected)));
      }
      for (Future<?> end : ends) {
        end.get(2, TimeUnit.MINUTES);
      }
      threads.shutdown();
    }
  }

  private static void maskTwice(
      MaskingService service, List<List<String>> rows, MaskedRows expected) {
    try (Batch batch = service.batch()) {
      for (int i = 0; i < 2; i++) {
        fill(batch, rows);
        batch.mask();
        assertSame(expected, batch, OnError.UNSAID);
      }
    }
  }
}
