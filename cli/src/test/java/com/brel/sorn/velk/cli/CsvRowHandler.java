package com.brel.sorn.velk.cli;

import de.siegmar.fastcsv.reader.AbstractBaseCsvCallbackHandler;
import java.util.ArrayList;
import java.util.List;

/** Collects the fields of a row, and which of them were quoted. */
final class CsvRowHandler extends AbstractBaseCsvCallbackHandler<CsvRow> {
  private final List<String> values = new ArrayList<>();
  private boolean[] quoted = new boolean[16];

  @Override
  protected void handleBegin(long line) {
    values.clear();
  }

  @Override
  protected void handleField(int index, char[] buffer, int offset, int length, boolean isQuoted) {
    if (index == quoted.length) {
      quoted = java.util.Arrays.copyOf(quoted, 2 * index);
    }
    quoted[index] = isQuoted;
    values.add(length == 0 && !isQuoted ? null : new String(buffer, offset, length));
  }

  /** An empty line is a row of one null. */
  @Override
  protected void handleEmpty() {
    values.add(null);
    quoted[0] = false;
  }

  @Override
  protected CsvRow buildRecord() {
    boolean[] flags = java.util.Arrays.copyOf(quoted, values.size());
    return new CsvRow(getStartingLineNumber(), values.toArray(String[]::new), flags, LineEnd.NONE);
  }
}
