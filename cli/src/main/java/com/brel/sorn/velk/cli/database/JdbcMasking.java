package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.ColumnResult.Errors;
import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.OnError;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.SortedMap;
import java.util.TreeMap;

/** Masks rows of a table, and counts what became of their values. */
final class JdbcMasking implements AutoCloseable {
  private static final int MASKED = 0;
  private static final int NULL = 1;
  private static final int EQUAL = 2;
  private static final int EMPTY = 3;

  private final JdbcStep step;
  private final Batch batch;
  private long[][] counts;
  private List<SortedMap<Integer, Errors>> errors;

  JdbcMasking(JdbcStep step) {
    this.step = step;
    this.batch = step.step().keep() ? null : step.step().service().batch();
    forget();
  }

  /** Begins to count anew. */
  void forget() {
    int columns = step.step().keep() ? 0 : step.from().size();
    counts = new long[columns][4];
    errors = new ArrayList<>();
    for (int i = 0; i < columns; i++) {
      errors.add(new TreeMap<>());
    }
  }

  /** What became of the values of each column, since counts were begun. */
  List<ColumnResult> columns() {
    List<ColumnResult> all = new ArrayList<>();
    for (int i = 0; i < counts.length; i++) {
      long[] count = counts[i];
      all.add(
          new ColumnResult(count[MASKED], count[NULL], count[EQUAL], count[EMPTY], errors.get(i)));
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
    Set<Long> failed = failed();
    List<Object[]> masked = new ArrayList<>();
    for (int i = 0; i < rows.size(); i++) {
      masked.add(row(rows.get(i), i, failed));
    }
    return masked;
  }

  /** The places of values that could not be masked, and that the rules replace. */
  private Set<Long> failed() {
    Set<Long> failed = new HashSet<>();
    for (FieldError error : batch.errors()) {
      if (step.step().onError().way() != OnError.Way.REPLACEMENT) {
        throw CopyException.failed("table " + step.name() + ", in a piece of it: " + error);
      }
      failed.add(place(error.row(), error.column()));
      errors.get(error.column()).merge(error.code(), new Errors(error.message(), 1), Errors::plus);
    }
    return failed;
  }

  private long place(long row, int column) {
    return row * step.from().size() + column;
  }

  /** The blanks that fill a column up are no part of a value that is masked. */
  private String text(Object value, int column) {
    String text = step.from().get(column).form().text(value);
    boolean padded = step.from().get(column).column().padded() && step.step().isMasked(column);
    return text != null && padded ? text.replaceFirst(" +\\z", "") : text;
  }

  private Object[] row(Object[] row, int number, Set<Long> failed) {
    Object[] masked = new Object[row.length];
    for (int i = 0; i < row.length; i++) {
      if (step.isNulled(i)) {
        counts[i][Boolean.TRUE.equals(row[i]) ? MASKED : NULL]++;
      } else if (!step.step().isMasked(i)) {
        masked[i] = row[i];
        count(i, row[i], row[i]);
      } else if (failed.contains(place(number, i))) {
        masked[i] = value(i, step.step().onError().replacement());
      } else {
        String result = batch.string(number, i);
        count(i, text(row[i], i), result);
        masked[i] = value(i, result);
      }
    }
    return masked;
  }

  private void count(int column, Object before, Object after) {
    boolean equal = Objects.equals(before, after);
    int kind = !equal ? MASKED : before == null ? NULL : "".equals(before) ? EMPTY : EQUAL;
    counts[column][kind]++;
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
