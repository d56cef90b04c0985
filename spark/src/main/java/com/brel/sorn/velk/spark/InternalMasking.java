package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import java.io.Serializable;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.stream.IntStream;
import org.apache.spark.TaskContext;
import org.apache.spark.unsafe.types.UTF8String;

/** Masks what Spark holds, one by one, in a task: the code that it generates calls it. */
public abstract class InternalMasking implements Serializable {
  private static final long serialVersionUID = 1L;

  private final String maskingString;

  @SuppressWarnings("serial") // A list that was copied can be serialized.
  private final List<String> names;

  private transient TaskBatch task;

  InternalMasking(String maskingString, List<String> names) {
    this.maskingString = maskingString;
    this.names = List.copyOf(names);
  }

  /**
   * Masks a value or a row.
   *
   * @param value the value as Spark holds it, null for null
   * @return the masked one, null where there is none
   */
  public final Object mask(Object value) {
    if (value == null) {
      return none();
    }
    if (TaskContext.get() == null) {
      return maskOutsideOfTasks(value);
    }
    if (task == null) {
      task = newBatch();
    }
    return mask(task, value);
  }

  /**
   * A driver does so for the keys of the small side of a join; nothing tells it when it is done.
   */
  private Object maskOutsideOfTasks(Object value) {
    TaskBatch once = newBatch();
    try {
      return mask(once, value);
    } finally {
      once.end();
    }
  }

  private TaskBatch newBatch() {
    return new TaskBatch(maskingString, names, IntStream.range(0, names.size()).boxed().toList());
  }

  private Object mask(TaskBatch task, Object value) {
    synchronized (task) {
      Batch batch = task.batch();
      add(batch, value);
      batch.endRow();
      ProcessEngine.mask(batch);
      return result(batch, value);
    }
  }

  /** What null becomes. */
  abstract Object none();

  /** Adds the only row of a batch. */
  abstract void add(Batch batch, Object value);

  /** What the batch made of its only row. */
  abstract Object result(Batch batch, Object value);

  static void add(Batch batch, int column, Form form, Object value) {
    if (value instanceof UTF8String text) {
      byte[] bytes = text.getBytes();
      batch.add(column, bytes, 0, bytes.length);
    } else {
      batch.add(column, form.text(value));
    }
  }

  /** A result that is not null; null where the type cannot hold it. */
  static Object read(Batch batch, int column, Form form) {
    byte[] text = new byte[batch.length(0, column)];
    batch.copyUtf8(0, column, text, 0);
    if (form.isText()) {
      return UTF8String.fromBytes(text);
    }
    return form.value(new String(text, StandardCharsets.US_ASCII));
  }
}
