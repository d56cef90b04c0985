package com.brel.sorn.velk.cli;

import com.fasterxml.jackson.core.JsonProcessingException;
import com.fasterxml.jackson.core.PrettyPrinter;
import com.fasterxml.jackson.core.util.DefaultIndenter;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;

/** How a report is written. */
enum ReportFormat {
  TEXT {
    @Override
    String write(Report report, int width) {
      StringBuilder text = new StringBuilder();
      text.append(Show.text(report.input)).append(" -> ");
      text.append(Show.text(report.output)).append(": ");
      text.append(Show.counted(report.rows, "row")).append(", ");
      text.append(Show.counted(report.errorCount(), "value")).append(" could not be masked\n");
      text.append("engine: ").append(report.engine).append('\n');
      if (report.keyFingerprint != null) {
        text.append("key fingerprint: ").append(report.keyFingerprint).append('\n');
      }
      text.append('\n').append(Table.of(table(report), width));
      report.columns.forEach(column -> appendErrors(text, column));
      report.columns.forEach(column -> appendRepeats(text, column));
      return text.toString();
    }
  },

  JSON {
    @Override
    String write(Report report, int width) {
      return json(report);
    }
  };

  /** Writes what Jackson can write. */
  static String json(Object report) {
    try {
      return plain(new ObjectMapper().writer(inLines()).writeValueAsString(report)) + "\n";
    } catch (JsonProcessingException e) {
      throw new IllegalStateException(e);
    }
  }

  /**
   * Writes a report.
   *
   * @param width cells of the terminal that it is for, 0 where it is for none
   */
  abstract String write(Report report, int width);

  /**
   * With what is no plain character escaped: it stands in texts alone, and a terminal may show it.
   */
  private static String plain(String json) {
    StringBuilder plain = new StringBuilder();
    json.codePoints()
        .forEach(
            codePoint -> {
              String text = Character.toString(codePoint);
              if (codePoint == '\n' || Show.isPlain(codePoint)) {
                plain.append(text);
              } else {
                text.chars().forEach(unit -> plain.append(String.format("\\u%04x", unit)));
              }
            });
    return plain.toString();
  }

  /** Its lines end alike on every platform. */
  private static PrettyPrinter inLines() {
    return new DefaultPrettyPrinter().withObjectIndenter(new DefaultIndenter("  ", "\n"));
  }

  private static List<List<String>> table(Report report) {
    List<List<String>> table = new ArrayList<>();
    table.add(List.of("column", "rule", "rows", "masked", "nulls kept", "left equal", "errors"));
    for (Report.Column column : report.columns) {
      table.add(
          List.of(
              Show.clipped(column.name, 30),
              Show.clipped(column.rule, 40),
              Long.toString(column.rows),
              Long.toString(column.masked),
              Long.toString(column.nullsKept),
              Long.toString(column.leftEqual),
              Long.toString(column.errorCount())));
    }
    return table;
  }

  private static void appendErrors(StringBuilder text, Report.Column column) {
    column.errors.forEach(
        (code, errors) -> {
          String rows =
              errors.firstRows.stream().map(String::valueOf).collect(Collectors.joining(", "));
          boolean more = errors.count > errors.firstRows.size();
          text.append("column ").append(Show.quoted(column.name));
          text.append(", error ").append(code).append(", ");
          text.append(Show.counted(errors.count, "value"))
              .append(": ")
              .append(Show.text(errors.text));
          text.append(errors.count == 1 ? " (row " : " (rows ").append(rows);
          text.append(more ? ", ...)" : ")").append('\n');
        });
  }

  private static void appendRepeats(StringBuilder text, Report.Column column) {
    if (column.repeats == null) {
      return;
    }
    String values = Show.counted(column.repeats.count(), "value");
    text.append("column ").append(Show.quoted(column.name)).append(" is to stay unique: ");
    text.append(values).append(" repeated");
    if (!column.repeats.complete()) {
      String rows = Show.counted(column.repeats.rows(), "row");
      text.append(" in the first ").append(rows).append("; the others were not checked");
    }
    text.append('\n');
  }
}
