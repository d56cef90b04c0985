package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.FieldError;
import com.brel.sorn.velk.masking.MaskedRows;
import com.brel.sorn.velk.masking.MaskingService;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;

/** Takes rows from a source to a sink, batch by batch, and counts what becomes of them. */
final class RowMasker {
  /** Values of a batch: enough to make its calls count little, few enough to be small. */
  private static final int BATCH_VALUES = 8192;

  /**
   * UTF-16 units of a row that goes alone. The engine's buffers grow with the values that stood at
   * their place and never shrink: so only those of the first row ever become large.
   */
  private static final int LARGE_ROW = 1 << 14;

  /** UTF-16 units of a batch, or little more. */
  private static final long BATCH_UNITS = 1 << 20;

  /** What is told after each batch. */
  interface Listener {
    void batchDone(Report report);
  }

  private final Header header;
  private final int[] ruleOf;
  private final MaskingService service;
  private final ErrorPolicy policy;
  private final Report report;
  private final long firstRow;
  private final int batchRows;

  /**
   * @param ruleOf for each column of the file, the number of the service's column
   * @param firstRow the number of the first row
   */
  RowMasker(
      Header header,
      int[] ruleOf,
      MaskingService service,
      ErrorPolicy policy,
      Report report,
      long firstRow) {
    this.header = header;
    this.ruleOf = ruleOf;
    this.service = service;
    this.policy = policy;
    this.report = report;
    this.firstRow = firstRow;
    this.batchRows = Math.max(1, BATCH_VALUES / ruleOf.length);
  }

  void run(CsvSource source, CsvSink sink, Listener listener) throws IOException {
    List<CsvRow> batch = new ArrayList<>();
    long units = 0;
    for (CsvRow row = source.next(); row != null; row = source.next()) {
      long size = header.check(row).size();
      boolean full = batch.size() == batchRows || units + size > BATCH_UNITS;
      if (!batch.isEmpty() && (full || size > LARGE_ROW)) {
        write(batch, sink, listener);
        units = 0;
      }
      batch.add(row);
      units = size > LARGE_ROW ? BATCH_UNITS : units + size;
    }
    if (!batch.isEmpty()) {
      write(batch, sink, listener);
    }
    sink.flush();
  }

  private void write(List<CsvRow> batch, CsvSink sink, Listener listener) throws IOException {
    MaskedRows masked = service.mask(batch.stream().map(row -> inOrder(ruleOf, row)).toList());
    for (int i = 0; i < batch.size(); i++) {
      CsvRow row = batch.get(i);
      sink.write(result(masked, i, row), row.quoted(), row.end());
      report.rows++;
    }
    batch.clear();
    policy.check(report.errorCount());
    listener.batchDone(report);
  }

  /** The values of a row in the order of the rules. */
  static List<String> inOrder(int[] ruleOf, CsvRow row) {
    String[] values = new String[ruleOf.length];
    for (int column = 0; column < ruleOf.length; column++) {
      values[ruleOf[column]] = row.values()[column];
    }
    return Arrays.asList(values);
  }

  /** The masked values of a row, in the order of the file. */
  private String[] result(MaskedRows masked, int index, CsvRow row) {
    String[] values = new String[ruleOf.length];
    for (int column = 0; column < ruleOf.length; column++) {
      Optional<FieldError> error = masked.error(index, ruleOf[column]);
      if (error.isPresent()) {
        values[column] = replace(column, error.get());
      } else {
        values[column] = masked.value(index, ruleOf[column]);
        report.count(column, row.values()[column], values[column]);
      }
    }
    return values;
  }

  private String replace(int column, FieldError error) {
    long row = firstRow + report.rows;
    if (policy.way() == ErrorPolicy.Way.STOP) {
      throw Failure.inputOutput(
          "row "
              + row
              + ", column "
              + Show.quoted(error.columnName())
              + ": error "
              + error.code()
              + ": "
              + Show.message(error));
    }
    report.count(column, error, row);
    return policy.replacement();
  }
}
