package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvReport;
import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.JsonAutoDetect.Visibility;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** What became of a file. */
@JsonAutoDetect(fieldVisibility = Visibility.ANY, getterVisibility = Visibility.NONE)
final class Report extends RunReport {
  String input;
  String output;
  final long rows;
  String engine;

  /** Tells keys apart without telling a key; null where the masking string names no key. */
  String keyFingerprint;

  final List<ColumnReport> columns;

  /** The counts of a run; what it was is still to be said. */
  Report(CsvReport counts) {
    rows = counts.rows();
    columns = counts.columns().stream().map(column -> ColumnReport.of(column, rows)).toList();
  }

  @Override
  Stream<ColumnReport> allColumns() {
    return columns.stream();
  }

  @Override
  String text(int width) {
    List<List<String>> table = new ArrayList<>();
    table.add(ColumnReport.HEADING);
    columns.forEach(column -> table.add(column.cells()));
    String key = keyFingerprint == null ? "" : "key fingerprint: " + keyFingerprint + "\n";
    return heading(input, output, Show.counted(rows, "row"), engine)
        + key
        + "\n"
        + Table.of(table, width)
        + Stream.concat(lines(ColumnReport::errorLines), lines(ColumnReport::repeatLines))
            .map(line -> line + "\n")
            .collect(Collectors.joining());
  }
}
