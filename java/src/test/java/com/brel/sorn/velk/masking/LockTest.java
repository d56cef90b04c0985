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
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
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
  void theCallersListIsReadBeforeTheLockIsTaken() {
    try (Engine engine = Engine.open();
        MaskingService service = column(engine, Type.text(), Rule.keep())) {
      List<List<String>> watching =
          new ArrayList<>(rows("a")) {
            private static final long serialVersionUID = 1L;

            @Override
            public List<String> get(int index) {
              assertFalse(Bridge.LOCK.isHeldByCurrentThread());
              return super.get(index);
            }
          };
      assertEquals("a", service.mask(watching).value(0, 0));
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
