package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.util.List;

/** Columns of a part of a table that the engine is shown, and the batch that takes them there. */
final class ShownColumns {
  /** Is told of a value that could not be masked. */
  interface Report {
    void error(int row, int column, int code, String reason);
  }

  private final TaskBatch task;
  private final List<Integer> indexes;

  /** Whether the masking has no other ones. */
  private final boolean whole;

  /** Null where the engine is shown no value. */
  private final MaskedColumn[] columns;

  /**
   * Describes the columns.
   *
   * @param indexes which columns of the masking these are
   * @param all all of the masking, null for those whose values go round the engine
   */
  ShownColumns(TableMasking masking, List<Integer> indexes, MaskedColumn[] all) {
    this.indexes = indexes;
    this.whole = indexes.size() == all.length;
    this.task = new TaskBatch(masking.maskingString(), masking.names(), indexes);
    this.columns = indexes.stream().map(index -> all[index]).toArray(MaskedColumn[]::new);
  }

  void end() {
    task.end();
  }

  /**
   * Masks rows, and has the columns read what became of them.
   *
   * @return false if the engine refuses a whole row, of which these are not all columns: nothing is
   *     read then
   */
  boolean mask(HeldRows rows, Report report) {
    synchronized (task) {
      Batch batch = task.batch();
      for (int row = 0; row < rows.count(); row++) {
        rows.at(row);
        add(batch);
      }
      ProcessEngine.mask(batch);
      List<FieldError> errors = batch.errors();
      if (!whole && errors.stream().anyMatch(error -> error.code() == FieldError.ROW)) {
        return false;
      }
      read(batch, errors, report);
      return true;
    }
  }

  /** Adds the row at hand. */
  private void add(Batch batch) {
    for (int i = 0; i < columns.length; i++) {
      if (columns[i] == null) {
        batch.addNull(i);
      } else {
        columns[i].add(batch, i);
      }
    }
    batch.endRow();
  }

  private void read(Batch batch, List<FieldError> errors, Report report) {
    Integer[][] codes = new Integer[columns.length][];
    for (FieldError error : errors) {
      report.error(error.row(), indexes.get(error.column()), error.code(), error.message());
      if (codes[error.column()] == null) {
        codes[error.column()] = new Integer[batch.rows()];
      }
      codes[error.column()][error.row()] = error.code();
    }
    for (int i = 0; i < columns.length; i++) {
      int column = indexes.get(i);
      if (columns[i] != null) {
        String reason = "the column's type cannot hold the masked value";
        int code = MaskingErrors.OUT_OF_RANGE;
        columns[i].read(batch, i, codes[i], row -> report.error(row, column, code, reason));
      }
    }
  }
}
