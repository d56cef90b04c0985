package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.OnError;
import com.brel.sorn.velk.masking.ParsedService;
import java.util.List;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.spark.SparkEnv;
import org.apache.spark.TaskContext;
import org.apache.spark.storage.BlockManagerId;

/**
 * A batch that lives as long as a task, or until its user ends it. A task's rows may be asked for
 * by a thread that it has started, while its own thread ends it: users hold this object's monitor
 * from {@link #batch} on.
 */
final class TaskBatch {
  private static final AtomicInteger OPEN = new AtomicInteger();

  private final String maskingString;
  private final List<String> names;
  private final List<Integer> shown;
  private MaskingService service;
  private Batch batch;
  private boolean opened;
  private boolean ended;

  /**
   * Describes a batch.
   *
   * @param names the columns that the string has rules for
   * @param shown which of them the batch has
   */
  TaskBatch(String maskingString, List<String> names, List<Integer> shown) {
    this.maskingString = maskingString;
    this.names = names;
    this.shown = shown;
  }

  /**
   * The batch, made at its first use in the task, and ended with it.
   *
   * @throws VELKException if the engine does not start the service: of a missing key the message
   *     names the executor
   * @throws IllegalStateException if it has ended
   */
  synchronized Batch batch() {
    if (ended) {
      throw new IllegalStateException("the task has ended, and its batch with it");
    }
    if (batch == null) {
      open();
    }
    batch.takeOver();
    return batch;
  }

  private void open() {
    TaskContext task = TaskContext.get();
    if (task != null) {
      task.addTaskCompletionListener(
          context -> {
            end();
            return null;
          });
    }
    OPEN.incrementAndGet();
    opened = true;
    try (ParsedService table = ProcessEngine.table(maskingString, names)) {
      open(table);
    }
  }

  private void open(ParsedService table) {
    String key = table.key().map(place -> ", key=" + place).orElse("");
    if (table.onError().way() == OnError.Way.FAILURE) {
      table.tellErrors(); // The task knows which row it is.
    }
    try {
      service = table.open();
      batch = service.batch(shown);
    } catch (VELKException e) {
      throw new VELKException(place() + key + ": " + e.getMessage(), e.code());
    }
  }

  /** Ends it for good; what is asked of it from here on fails. */
  synchronized void end() {
    if (ended) {
      return;
    }
    ended = true;
    try {
      close();
    } finally {
      OPEN.addAndGet(opened ? -1 : 0);
    }
  }

  private void close() {
    try {
      if (batch != null) {
        batch.takeOver();
        batch.close();
      }
    } finally {
      if (service != null) {
        service.close();
      }
    }
  }

  /** Which executor this is, for messages that the driver shows. */
  static String place() {
    BlockManagerId id = SparkEnv.get().blockManager().blockManagerId();
    return "executor " + id.executorId() + " on host " + id.host();
  }

  /** How many are open in this process; for tests. */
  static int count() {
    return OPEN.get();
  }
}
