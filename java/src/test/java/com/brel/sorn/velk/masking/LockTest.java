package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

@Timeout(60)
class LockTest {
  private static final int THREADS = 4;
  private static final int BATCHES = 50;

  @Test
  void aThreadWaitsWhileAnotherHoldsTheLock() throws Exception {
    try (Engine engine = Engine.open();
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      ExecutorService threads = Executors.newSingleThreadExecutor();
      Bridge.LOCK.lock();
      Future<String> other;
      try {
        other = threads.submit(() -> service.mask(rows("a")).value(0, 0));
        while (!Bridge.LOCK.hasQueuedThreads()) {
          assertFalse(other.isDone(), "the thread did not wait");
        }
        assertFalse(other.isDone());
      } finally {
        Bridge.LOCK.unlock();
      }
      assertEquals("a", other.get());
      threads.shutdown();
    }
  }

  @Test
  void everyCallThatReachesTheEngineWaitsForTheLock() throws Exception {
    try (Engine engine = Engine.open();
        ParsedService parsed = engine.parse("service=s a=keep");
        ParsedService opened = engine.parse("service=s a=keep");
        ParsedService told = engine.parse("service=s on_error=stop a=keep");
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      ServiceBuilder builder = engine.service("s").column("c", Type.text(), Rule.email("x.de"));
      assertWaits(() -> engine.parse("service=s a=keep"));
      assertWaits(builder.key(Columns.KEY)::open);
      ColumnRule column = new ColumnRule("c", Type.text(), Rule.card(), false);
      assertWaits(() -> engine.longestResult(column, Columns.KEY));
      assertWaits(() -> service.maskRow(List.of("a")));
      assertWaits(() -> told.tellErrors());
      assertWaits(opened::open);
      assertWaits(parsed::close);
      assertWaits(service::close);
      assertWaits(engine::close);
      assertWaits(Engine::open);
      assertWaits(Bridge.running::close);
    }
  }

  /** The call does nothing before the lock is free, and has it while it does what it does. */
  private static void assertWaits(Executable call) throws Exception {
    ExecutorService threads = Executors.newSingleThreadExecutor();
    Bridge.LOCK.lock();
    Future<?> other;
    try {
      other =
          threads.submit(
              () -> {
                call.run();
                return null;
              });
      while (!Bridge.LOCK.hasQueuedThreads()) {
        assertFalse(other.isDone(), "the call did not wait");
      }
    } finally {
      Bridge.LOCK.unlock();
    }
    other.get();
    assertFalse(Bridge.LOCK.isLocked());
    threads.shutdown();
  }

  @Test
  void aParsedServiceThatIsClosedWhileItsOpeningWaitsIsNotOpened() throws Exception {
    try (Engine engine = Engine.open()) {
      ParsedService parsed = engine.parse("service=s a=keep");
      ExecutorService threads = Executors.newSingleThreadExecutor();
      Bridge.LOCK.lock();
      Future<MaskingService> opening;
      try {
        opening = threads.submit(parsed::open);
        awaitQueue(1);
        parsed.close();
      } finally {
        Bridge.LOCK.unlock();
      }
      ExecutionException failure = assertThrows(ExecutionException.class, opening::get);
      assertEquals(IllegalStateException.class, failure.getCause().getClass());
      threads.shutdown();
    }
  }

  private interface Executable {
    void run() throws Exception;
  }

  @Test
  void aSmallBatchIsMaskedBetweenThePiecesOfALargeOne(@TempDir Path folder) throws Exception {
    Path file = folder.resolve("trace.json");
    try (Engine engine = Engine.open(new Trace("entry", file));
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      ExecutorService threads = Executors.newFixedThreadPool(2);
      List<List<String>> large = Collections.nCopies(3 * Piece.VALUES, List.of("a"));
      Bridge.LOCK.lock();
      Future<?> first;
      Future<?> second;
      try {
        first = threads.submit(() -> service.mask(large));
        awaitQueue(1);
        second = threads.submit(() -> service.mask(rows("b")));
        awaitQueue(2);
      } finally {
        Bridge.LOCK.unlock();
      }
      second.get();
      first.get();
      threads.shutdown();
    }
    List<Integer> calls =
        TraceFile.read(file).entries().stream()
            .filter(entry -> entry.operation().equals("NativeProvider.serviceProvider0"))
            .map(TraceFile.Entry::thread)
            .toList();
    assertEquals(4, calls.size());
    int other = calls.get(1);
    assertEquals(1, Collections.frequency(calls, other), calls.toString());
  }

  private static void awaitQueue(int threads) {
    while (Bridge.LOCK.getQueueLength() < threads) {
      Thread.onSpinWait();
    }
  }

  @Test
  void theCallersListIsReadBeforeTheLockIsTaken() {
    try (Engine engine = Engine.open();
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      AtomicInteger read = new AtomicInteger();
      Iterable<List<String>> watching =
          () -> {
            assertFalse(Bridge.LOCK.isHeldByCurrentThread());
            read.getAndIncrement();
            return rows("a").iterator();
          };
      assertEquals("a", service.mask(watching).value(0, 0));
      Stream<List<String>> stream =
          Stream.of("a", "b")
              .map(
                  value -> {
                    assertFalse(Bridge.LOCK.isHeldByCurrentThread());
                    read.getAndIncrement();
                    return List.of(value);
                  });
      assertEquals(2, service.mask(stream).filter(row -> !row.hasError()).count());
      assertEquals(3, read.get());
    }
  }

  @Test
  void theLockIsFreeAgainAfterAFailure() {
    try (Engine engine = Engine.open();
        MaskingService service =
            engine
                .service("s")
                .onError(OnError.stop())
                .column("c", Type.varchar(1), Rule.keep())
                .open()) {
      assertThrows(VELKException.class, () -> service.mask(rows("too long")));
      assertFalse(Bridge.LOCK.isLocked());
    }
  }

  @Test
  void batchesOfSeveralThreadsDoNotMix(@TempDir Path folder) throws Exception {
    Path file = folder.resolve("trace.json");
    try (Engine engine = Engine.open(new Trace("entry", file));
        MaskingService shared = column(engine, Type.text(), Rule.keep());
        MaskingService own = column(engine, Type.text(), Rule.keep())) {
      List<Callable<Integer>> work = new ArrayList<>();
      for (int i = 0; i < THREADS; i++) {
        String name = "thread " + i + " ";
        MaskingService service = i == 0 ? own : shared;
        work.add(() -> maskBatches(service, name));
      }
      ExecutorService threads = Executors.newFixedThreadPool(THREADS);
      for (Future<Integer> done : threads.invokeAll(work)) {
        assertEquals(BATCHES, done.get());
      }
      threads.shutdown();
      assertTrue(threads.awaitTermination(10, TimeUnit.SECONDS));
    }
    assertWholeBatches(TraceFile.read(file).entries());
  }

  private static int maskBatches(MaskingService service, String name) {
    int right = 0;
    for (int i = 0; i < BATCHES; i++) {
      MaskedRows out = service.mask(rows(name + i, name + -i));
      right += out.value(0, 0).equals(name + i) && out.value(1, 0).equals(name + -i) ? 1 : 0;
    }
    return right;
  }

  /** From a batch's first call to its last one, only the batch's thread calls. */
  private static void assertWholeBatches(List<TraceFile.Entry> entries) {
    List<String> batch =
        List.of(
            "Field.toC",
            "Row.toC",
            "Field.toC",
            "Row.toC",
            "RowSet.toC",
            "NativeProvider.serviceProvider0",
            "Field.toJava",
            "Row.toJava",
            "Field.toJava",
            "Row.toJava",
            "RowSet.toJava");
    List<TraceFile.Entry> calls =
        entries.stream().filter(entry -> batch.contains(entry.operation())).toList();
    assertEquals(THREADS * BATCHES * batch.size(), calls.size());
    for (int i = 0; i < calls.size(); i++) {
      int start = i - i % batch.size();
      assertEquals(batch.get(i - start), calls.get(i).operation());
      assertEquals(calls.get(start).thread(), calls.get(i).thread());
    }
  }
}
