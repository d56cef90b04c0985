package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.io.IOException;
import java.io.InterruptedIOException;
import java.nio.ByteBuffer;
import java.nio.channels.WritableByteChannel;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Deque;
import java.util.List;
import java.util.Queue;
import java.util.concurrent.ConcurrentLinkedDeque;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import org.jspecify.annotations.Nullable;

/** One table on its way: blocks are read in order, masked by whoever is free, written in order. */
final class CsvRun implements AutoCloseable {
  private final CsvMasking settings;
  private final CsvFormat format;
  private final CsvReader.Start start;
  private final WritableByteChannel out;
  private final AtomicBoolean stopped = new AtomicBoolean();
  private final List<CsvWorker> workers = new ArrayList<>();

  /** The one that worked last is the next: what a large row took, one of them has. */
  private final Deque<CsvWorker> idle = new ConcurrentLinkedDeque<>();

  private final List<CsvSlot> slots = new ArrayList<>();
  private final @Nullable ExecutorService threads;

  /** Blocks that were read and not yet written, in order. */
  private final Queue<Pending> pending = new ArrayDeque<>();

  private final int ahead;
  private final int count;
  private CsvCounts total;
  private long bytes;
  private long lines;

  private record Pending(CsvSlot slot, Future<?> end) {}

  CsvRun(CsvMasking settings, CsvFormat format, CsvReader.Start start, WritableByteChannel out) {
    this.settings = settings;
    this.format = format;
    this.start = start;
    this.out = out;
    this.bytes = start.bytes();
    // A single block has nothing to share.
    count = start.isWhole() ? 1 : settings.threads();
    // While all are masked there is one to be written next, and one that is being read.
    ahead = count == 1 ? 1 : count + 1;
    slots.add(start.first());
    for (int i = 1; i <= ahead; i++) {
      slots.add(new CsvSlot());
    }
    threads = count == 1 ? null : Executors.newFixedThreadPool(count, CsvRun::newThread);
  }

  private static Thread newThread(Runnable task) {
    Thread thread = new Thread(task, "velk-csv");
    thread.setDaemon(true);
    return thread;
  }

  /**
   * Masks the table.
   *
   * @param table for each of its columns that of the service
   */
  CsvReport run(int[] table) throws IOException {
    openLanes(table);
    CsvSlot slot = start.first();
    boolean any = start.any();
    for (int next = 1; any; next++) {
      if (threads == null || slot.isLarge()) {
        maskAlone(slot);
      } else {
        submit(threads, slot);
      }
      CsvSlot before = slot;
      slot = slots.get(next % slots.size());
      any = read(slot, before);
      if (before.isLarge()) {
        before.close();
      }
    }
    writeAll();
    return total.report();
  }

  /** What was read before leaves first, however many threads there are. */
  private boolean read(CsvSlot slot, CsvSlot before) throws IOException {
    try {
      return start.source().read(slot, before);
    } catch (IOException | RuntimeException e) {
      writeAll();
      throw e;
    }
  }

  /** Nothing is written before. */
  private void openLanes(int[] table) throws IOException {
    List<Column> columns = settings.service().running();
    List<Column> all = Arrays.stream(table).mapToObj(columns::get).toList();
    CsvFingerprints fingerprints = CsvFingerprints.of(all, format.number());
    startWorkers(table, fingerprints);
    total =
        new CsvCounts(
            all,
            fingerprints == null
                ? null
                : new RepeatCounter(fingerprints.columns(), settings.mostFingerprints));
    start.first().hasHeader = format.header();
    if (bytes > 0) {
      write(start.first().text.room(0).slice(0, (int) bytes));
    }
  }

  private void startWorkers(int[] table, @Nullable CsvFingerprints fingerprints) {
    for (int i = 0; i < count; i++) {
      Lane lane = settings.service().openLane(table, settings.onError());
      CsvWorker worker = new CsvWorker(lane, format.number(), fingerprints, stopped);
      workers.add(worker);
      idle.push(worker);
    }
  }

  private void submit(ExecutorService executor, CsvSlot slot) throws IOException {
    pending.add(new Pending(slot, executor.submit(() -> mask(slot))));
    if (pending.size() == ahead) {
      writeNext();
    }
  }

  /**
   * Masks a block on the caller's thread, once all before it were written: so a failure is the
   * caller's own, and of large rows there is one at a time, in the memory of one thread.
   */
  private void maskAlone(CsvSlot slot) throws IOException {
    writeAll();
    mask(slot);
    write(slot);
  }

  private void mask(CsvSlot slot) {
    CsvWorker worker = idle.pop();
    try {
      worker.mask(slot);
    } finally {
      idle.push(worker);
    }
  }

  private void writeAll() throws IOException {
    while (!pending.isEmpty()) {
      writeNext();
    }
  }

  private void writeNext() throws IOException {
    Pending block = pending.remove();
    await(block.end());
    write(block.slot());
  }

  /** Writes a block that was masked, unless anything is wrong in it. */
  private void write(CsvSlot slot) throws IOException {
    FieldError first = slot.counts.first;
    if (first != null && settings.onError().way() != OnError.Way.REPLACEMENT) {
      throw stop(first);
    }
    if (slot.fault.number() != 0) {
      throw slot.fault.in(bytes, lines, total.width());
    }
    total.add(slot.counts);
    // A report is made anew for each, which a wide table without a listener is spared.
    if (settings.listener() != null) {
      settings.listener().accept(total.report());
    }
    write(slot.written());
    bytes += slot.bytes;
    lines += slot.lines;
  }

  private VELKException stop(FieldError error) {
    int row = (int) Math.min(total.rows + error.row(), Integer.MAX_VALUE);
    FieldError placed =
        new FieldError(row, error.column(), error.columnName(), error.code(), error.message());
    return new VELKException(placed.toString(), error.code());
  }

  private void write(ByteBuffer block) throws IOException {
    while (block.hasRemaining()) {
      out.write(block);
    }
  }

  /**
   * An interrupt ends the run whether or not the block is done: a future that is would ignore it.
   */
  private static void await(Future<?> end) throws IOException {
    try {
      if (Thread.interrupted()) {
        throw new InterruptedException();
      }
      end.get();
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new InterruptedIOException("interrupted while a block was being masked");
    } catch (ExecutionException e) {
      if (e.getCause() instanceof Error error) {
        throw error;
      }
      throw (RuntimeException) e.getCause();
    }
  }

  /** Waits for those that still mask, then wipes and frees everything. */
  @Override
  public void close() {
    stopped.set(true);
    if (threads != null) {
      threads.shutdownNow();
      awaitThreads(threads);
    }
    slots.forEach(CsvSlot::close);
    VELKException failure = null;
    for (CsvWorker worker : workers) {
      try {
        worker.close();
      } catch (VELKException e) {
        failure = e;
      }
    }
    if (failure != null) {
      throw failure;
    }
  }

  /** A thread that masks uses the memory that is to be freed, whoever interrupts this one. */
  private static void awaitThreads(ExecutorService threads) {
    boolean interrupted = false;
    for (boolean ended = false; !ended; ) {
      try {
        ended = threads.awaitTermination(1, TimeUnit.MINUTES);
      } catch (InterruptedException e) {
        interrupted = true;
      }
    }
    if (interrupted) {
      Thread.currentThread().interrupt();
    }
  }
}
