package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.Part;
import com.brel.sorn.velk.cli.database.Marks.Mark;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.io.InterruptedIOException;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.Queue;
import java.util.concurrent.Callable;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

/** All pieces of a copy on their way, several at a time, level by level. */
final class PieceRun implements AutoCloseable {
  /** Something that a worker does. */
  private interface Task {
    void run(Worker worker) throws IOException, SQLException;
  }

  private final Plan plan;
  private final CopySettings settings;
  private final DatabaseCopy.Listener listener;
  private final List<Worker> workers = new ArrayList<>();
  private final ExecutorService threads;
  private final List<Future<Void>> opening = new ArrayList<>();
  private long rows;
  private long pages;
  private volatile boolean stopped;
  private Beside<Void> ending;

  /** Begins to open the sessions. */
  PieceRun(
      Engine engine,
      CopySettings settings,
      Plan plan,
      String snapshot,
      byte[] checksumKey,
      DatabaseCopy.Listener listener) {
    this.plan = plan;
    this.settings = settings;
    this.listener = listener;
    threads = Executors.newFixedThreadPool(settings.jobs());
    for (int i = 0; i < settings.jobs(); i++) {
      opening.add(submit(() -> add(Worker.open(settings, snapshot, plan, checksumKey, engine))));
    }
  }

  /**
   * Copies what is not done.
   *
   * @param done the marks of pieces that are done; they are compared with the snapshot first, and
   *     what differs is done again
   */
  void run(List<Mark> done) throws IOException, SQLException {
    await(opening);
    for (Worker worker : workers) {
      worker.join();
    }
    Map<TableName, NavigableMap<Long, Mark>> kept = new ConcurrentHashMap<>();
    Queue<Task> comparisons = new ConcurrentLinkedQueue<>();
    Map<TableName, Step> steps = new HashMap<>();
    plan.steps()
        .forEach(step -> step.source().parts().forEach(part -> steps.put(part.name(), step)));
    for (Mark mark : done) {
      Step step = steps.get(mark.piece().part());
      if (step != null) {
        comparisons.add(worker -> compare(worker, step, mark, kept));
      }
    }
    work(comparisons);
    for (List<Step> level : plan.levels()) {
      Queue<Task> copies = new ConcurrentLinkedQueue<>();
      for (Step step : level) {
        for (Piece piece : left(step, kept)) {
          copies.add(worker -> tell(worker.copy(step, piece), piece, step));
        }
      }
      work(copies);
    }
  }

  private void compare(
      Worker worker, Step step, Mark mark, Map<TableName, NavigableMap<Long, Mark>> kept)
      throws IOException, SQLException {
    if (worker.isAsRead(step, mark)) {
      kept.computeIfAbsent(mark.piece().part(), part -> new ConcurrentSkipListMap<>())
          .put(mark.piece().from(), mark);
      tell(mark.rows(), mark.piece(), step);
      return;
    }
    if (!plan.unordered() && worker.isReferredTo(step)) {
      throw CopyException.failed(
          "table "
              + step.source().name()
              + " has changed in the source and others refer to it: only a"
              + " user who may set session_replication_role can go on; begin anew with an empty target");
    }
    worker.undo(step, mark);
  }

  private synchronized void tell(long more, Piece piece, Step step) {
    rows += more;
    long size =
        step.source().parts().stream()
            .filter(part -> part.name().equals(piece.part()))
            .mapToLong(Part::pages)
            .sum();
    pages += Math.max(0, Math.min(piece.to(), size) - piece.from());
    listener.done(rows, pages);
  }

  /**
   * The pieces of a table that have no mark. The last one is open: nothing is behind it. None goes
   * beyond the beginning of one that has a mark, which may be that of a user whose pieces were
   * shorter.
   *
   * @param kept the marks by the part and the page where their piece begins
   */
  private List<Piece> left(Step step, Map<TableName, NavigableMap<Long, Mark>> kept) {
    List<Piece> left = new ArrayList<>();
    for (Part part : step.source().parts()) {
      NavigableMap<Long, Mark> marks =
          kept.getOrDefault(part.name(), Collections.emptyNavigableMap());
      long from = 0;
      for (boolean open = false; !open; ) {
        Mark mark = marks.get(from);
        long end = from + (isWhole(step) ? Piece.OPEN - from : settings.pages());
        Long next = marks.higherKey(from);
        long last = end >= part.pages() ? Piece.OPEN : end;
        Piece piece =
            mark != null
                ? mark.piece()
                : new Piece(part.name(), from, next == null ? last : Math.min(last, next));
        if (mark == null) {
          left.add(piece);
        }
        open = piece.isOpen();
        from = piece.to();
      }
    }
    return left;
  }

  /** Rows that refer to others of their table are written at once where keys are checked. */
  private boolean isWhole(Step step) {
    TableName name = step.source().name();
    return !plan.unordered()
        && plan.foreignKeys().stream()
            .anyMatch(key -> key.child().equals(name) && key.parent().equals(name));
  }

  private Void add(Worker worker) {
    synchronized (workers) {
      workers.add(worker);
    }
    return null;
  }

  /** Has all tasks done; the first failure keeps the others from being begun. */
  private void work(Queue<Task> tasks) throws IOException, SQLException {
    Queue<Worker> free = new ConcurrentLinkedQueue<>(workers);
    each(
        workers.size(),
        () -> {
          Worker worker = free.remove();
          for (Task task = tasks.poll(); task != null && !stopped; task = tasks.poll()) {
            task.run(worker);
          }
          return null;
        });
  }

  /** Has something done so many times at once; all have ended when this does. */
  private void each(int times, Callable<Void> task) throws IOException, SQLException {
    List<Future<Void>> ends = new ArrayList<>();
    for (int i = 0; i < times; i++) {
      ends.add(submit(task));
    }
    await(ends);
  }

  private Future<Void> submit(Callable<Void> task) {
    return threads.submit(() -> stoppingOthers(task));
  }

  private static void await(List<Future<Void>> ends) throws IOException, SQLException {
    Throwable failure = null;
    for (Future<Void> end : ends) {
      try {
        end.get();
      } catch (ExecutionException e) {
        failure = failure == null ? e.getCause() : failure;
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        throw new InterruptedIOException("interrupted while pieces were copied");
      }
    }
    throwAny(failure);
  }

  private Void stoppingOthers(Callable<Void> task) throws Exception {
    try {
      return task.call();
    } catch (Exception | Error e) {
      stopped = true;
      throw e;
    }
  }

  private static void throwAny(Throwable failure) throws IOException, SQLException {
    if (failure instanceof IOException e) {
      throw e;
    }
    if (failure instanceof SQLException e) {
      throw e;
    }
    if (failure instanceof Error e) {
      throw e;
    }
    if (failure != null) {
      throw (RuntimeException) failure;
    }
  }

  /** Begins to end the sessions; nothing can be copied any more. */
  void end() {
    if (ending == null) {
      stopped = true;
      threads.shutdown();
      ending = Beside.begin(this::closeAll);
    }
  }

  private Void closeAll() {
    try {
      await(opening);
    } catch (IOException | SQLException | RuntimeException e) {
      // Whoever wanted the sessions has heard of it.
    }
    workers.forEach(Worker::close);
    return null;
  }

  /** Returns when the sessions have ended. */
  @Override
  public void close() {
    end();
    ending.await();
  }
}
