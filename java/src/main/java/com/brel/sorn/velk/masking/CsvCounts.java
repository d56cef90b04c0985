package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.SortedMap;
import java.util.TreeMap;
import org.jspecify.annotations.Nullable;

/** What became of the values of a block, or of all blocks so far. */
final class CsvCounts {
  private static final int PER_COLUMN = 4;

  private final List<Column> columns;

  /** By column and code; most columns have none. */
  private final Map<Integer, SortedMap<Integer, CsvReport.Errors>> errors = new HashMap<>();

  /** Masked, nulls kept, left equal, empty kept of each column. */
  final long[] counts;

  long rows;

  /** Of a block, what tells the values of columns apart that are to stay unique. */
  long @Nullable [] fingerprints;

  /** Of all blocks so far: null where no column is to stay unique. */
  private final @Nullable RepeatCounter repeats;

  /** The first value with an error; its row is one of the block. */
  @Nullable FieldError first;

  CsvCounts(List<Column> columns) {
    this(columns, null);
  }

  CsvCounts(List<Column> columns, @Nullable RepeatCounter repeats) {
    this.columns = columns;
    this.repeats = repeats;
    this.counts = new long[PER_COLUMN * columns.size()];
  }

  int width() {
    return columns.size();
  }

  /** Takes the counts and the errors of the lane's block, on the thread that masked it. */
  void read(Lane lane) {
    NativeBulk.counts(lane.handle(), counts);
    int[] found = new int[3 * lane.check(NativeBulk.errorCount(lane.handle()))];
    NativeBulk.errors(lane.handle(), found);
    for (int i = 0; i < found.length; i += 3) {
      add(lane, found[i], found[i + 1], found[i + 2]);
    }
  }

  private void add(Lane lane, int row, int column, int code) {
    SortedMap<Integer, CsvReport.Errors> known = of(column);
    CsvReport.Errors former = known.get(code);
    String text = former == null ? lane.explain(column, code) : former.text();
    if (first == null) {
      first = new FieldError(row, column, columns.get(column).name(), code, text);
    }
    if (former == null) {
      known.put(code, new CsvReport.Errors(text, 1, new ArrayList<>(rowsOf(row))));
      return;
    }
    if (former.firstRows().size() < CsvReport.ROWS_TOLD) {
      former.firstRows().add((long) row);
    }
    known.put(code, new CsvReport.Errors(text, former.count() + 1, former.firstRows()));
  }

  private static List<Long> rowsOf(int row) {
    return List.of((long) row);
  }

  private SortedMap<Integer, CsvReport.Errors> of(int column) {
    return errors.computeIfAbsent(column, unused -> new TreeMap<>());
  }

  /** Adds the block that follows. */
  void add(CsvCounts next) {
    Arrays.setAll(counts, i -> counts[i] + next.counts[i]);
    next.errors.forEach(
        (column, codes) ->
            codes.forEach((code, more) -> of(column).merge(code, moved(more), CsvCounts::join)));
    if (repeats != null) {
      repeats.add(next.fingerprints, next.rows);
    }
    rows += next.rows;
  }

  /** Errors of the block that follows, by rows of the whole. */
  private CsvReport.Errors moved(CsvReport.Errors block) {
    List<Long> moved = block.firstRows().stream().map(row -> rows + row).toList();
    return new CsvReport.Errors(block.text(), block.count(), moved);
  }

  private static CsvReport.Errors join(CsvReport.Errors former, CsvReport.Errors next) {
    List<Long> all = new ArrayList<>(former.firstRows());
    all.addAll(next.firstRows());
    List<Long> kept = all.subList(0, Math.min(all.size(), CsvReport.ROWS_TOLD));
    return new CsvReport.Errors(former.text(), former.count() + next.count(), List.copyOf(kept));
  }

  CsvReport report() {
    List<CsvReport.Column> told = new ArrayList<>();
    for (int i = 0; i < columns.size(); i++) {
      SortedMap<Integer, CsvReport.Errors> known = errors.get(i);
      Map<Integer, CsvReport.Errors> copy =
          known == null ? Map.of() : Collections.unmodifiableMap(new TreeMap<>(known));
      told.add(
          new CsvReport.Column(
              columns.get(i).rule(),
              counts[PER_COLUMN * i],
              counts[PER_COLUMN * i + 1],
              counts[PER_COLUMN * i + 2],
              counts[PER_COLUMN * i + 3],
              copy,
              repeats == null ? null : repeats.of(i)));
    }
    return new CsvReport(rows, List.copyOf(told));
  }
}
