package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.io.Serializable;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.Optional;
import org.apache.spark.TaskContext;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;
import org.apache.spark.unsafe.types.UTF8String;

/** Masks values one by one, as Spark holds them, in a task: the code that it generates calls it. */
public final class ValueMasking implements Serializable {
  private static final long serialVersionUID = 1L;

  private final String maskingString;
  private final Form form;
  private final boolean tries;
  private transient TaskBatch task;

  ValueMasking(String maskingString, Form form, boolean tries) {
    this.maskingString = maskingString;
    this.form = form;
    this.tries = tries;
  }

  /**
   * Masks a value.
   *
   * @param value the value as Spark holds it, null for null
   * @return the masked one, null where there is none; of {@code velk_try_mask} a row of that and
   *     the error's code
   */
  public Object mask(Object value) {
    if (value == null) {
      return tries ? tried(null, null) : null;
    }
    if (TaskContext.get() == null) {
      return maskOutsideOfTasks(value);
    }
    if (task == null) {
      task = new TaskBatch(maskingString, List.of(ValueRule.COLUMN));
    }
    return mask(task, value);
  }

  /**
   * A driver does so for the keys of the small side of a join; nothing tells it when it is done.
   */
  private Object maskOutsideOfTasks(Object value) {
    TaskBatch once = new TaskBatch(maskingString, List.of(ValueRule.COLUMN));
    try {
      return mask(once, value);
    } finally {
      once.end();
    }
  }

  private Object mask(TaskBatch task, Object value) {
    synchronized (task) {
      Batch batch = task.batch();
      add(batch, value);
      batch.endRow();
      ProcessEngine.mask(batch);
      return result(batch);
    }
  }

  private void add(Batch batch, Object value) {
    if (value instanceof UTF8String text) {
      byte[] bytes = text.getBytes();
      batch.add(0, bytes, 0, bytes.length);
    } else {
      batch.add(0, form.text(value));
    }
  }

  private Object result(Batch batch) {
    Optional<FieldError> error = batch.error(0, 0);
    if (error.isPresent()) {
      return tries ? tried(null, error.get().code()) : null;
    }
    if (batch.isNull(0, 0)) {
      return tries ? tried(null, null) : null;
    }
    byte[] text = new byte[batch.length(0, 0)];
    batch.copyUtf8(0, 0, text, 0);
    Object value =
        form.isText()
            ? UTF8String.fromBytes(text)
            : form.value(new String(text, StandardCharsets.US_ASCII));
    if (!tries) {
      return value;
    }
    return tried(value, value == null ? MaskingErrors.OUT_OF_RANGE : null);
  }

  private static Object tried(Object value, Integer code) {
    return new GenericInternalRow(new Object[] {value, code});
  }
}
