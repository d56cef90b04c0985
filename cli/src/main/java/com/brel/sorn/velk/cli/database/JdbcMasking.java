package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.OnError;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/** Masks rows of a table, and counts what became of their values. */
final class JdbcMasking implements AutoCloseable {
  private static final int KINDS = 4;

  private final JdbcStep step;
  private final Batch batch;
  private long[] counts;

  JdbcMasking(JdbcStep step) {
    this.step = step;
    this.batch = step.step().keep() ? null : step.step().service().batch();
    forget();
  }

  /** Begins to count anew. */
  void forget() {
    counts = new long[step.step().keep() ? 0 : KINDS * step.from().size()];
  }

  /** Of each column what became of its values: masked, null, left equal, errors. */
  List<Long> counts() {
    List<Long> all = new ArrayList<>();
    for (long count : counts) {
      all.add(count);
    }
    return all;
  }

  /**
   * Masks.
   *
   * @param rows as they come from the source; they are left as they are
   * @return rows as the target wants them
   */
  List<Object[]> mask(List<Object[]> rows) {
    if (batch == null || rows.isEmpty()) {
      return rows;
    }
    for (Object[] row : rows) {
      for (int i = 0; i < row.length; i++) {
        batch.add(i, step.isNulled(i) ? null : text(row[i], i));
      }
      batch.endRow();
    }
    batch.mask();
    Map<Long, FieldError> errors = errors();
    List<Object[]> masked = new ArrayList<>();
    for (int i = 0; i < rows.size(); i++) {
      masked.add(row(rows.get(i), i, errors));
    }
    return masked;
  }

  private Map<Long, FieldError> errors() {
    Map<Long, FieldError> errors = new HashMap<>();
    for (FieldError error : batch.errors()) {
      if (step.step().onError().way() != OnError.Way.REPLACEMENT) {
        throw CopyException.failed("table " + step.name() + ", in a piece of it: " + error);
      }
      errors.put(place(error.row(), error.column()), error);
    }
    return errors;
  }

  private long place(long row, int column) {
    return row * step.from().size() + column;
  }

  /** The blanks that fill a column up are no part of a value that is masked. */
  private String text(Object value, int column) {
    String text = step.from().get(column).form().text(value);
    boolean padded = step.from().get(column).column().padded() && step.step().isMasked(column);
    return text != null && padded ? text.replaceFirst(" +$", "") : text;
  }

  private Object[] row(Object[] row, int number, Map<Long, FieldError> errors) {
    Object[] masked = new Object[row.length];
    for (int i = 0; i < row.length; i++) {
      if (step.isNulled(i)) {
        counts[KINDS * i + (Boolean.TRUE.equals(row[i]) ? 0 : 1)]++;
      } else if (!step.step().isMasked(i)) {
        masked[i] = row[i];
        counts[KINDS * i + (row[i] == null ? 1 : 2)] += isEmpty(row[i]) ? 0 : 1;
      } else {
        boolean failed = errors.containsKey(place(number, i));
        String result = failed ? step.step().onError().replacement() : batch.string(number, i);
        count(i, text(row[i], i), result, failed);
        masked[i] = value(i, result);
      }
    }
    return masked;
  }

  private static boolean isEmpty(Object value) {
    return value instanceof String text && text.isEmpty();
  }

  private void count(int column, String before, String after, boolean failed) {
    if (failed) {
      counts[KINDS * column + 3]++;
    } else if (before == null && after == null) {
      counts[KINDS * column + 1]++;
    } else if (!after.equals(before)) {
      counts[KINDS * column]++;
    } else if (!after.isEmpty()) {
      counts[KINDS * column + 2]++;
    }
  }

  private Object value(int column, String result) {
    try {
      return result == null ? null : step.to().get(column).form().value(result);
    } catch (RuntimeException e) {
      throw CopyException.failed(
          "table "
              + step.name()
              + ", column "
              + TableName.quoted(step.from().get(column).column().name())
              + ": a result of the rule is no value of the type "
              + step.to().get(column).column().type());
    }
  }

  @Override
  public void close() {
    if (batch != null) {
      batch.close();
    }
  }
}
