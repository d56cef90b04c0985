package com.brel.sorn.velk.cli;

import com.fasterxml.jackson.core.JsonProcessingException;
import com.fasterxml.jackson.core.PrettyPrinter;
import com.fasterxml.jackson.core.util.DefaultIndenter;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import com.fasterxml.jackson.databind.ObjectMapper;

/** How a report is written. */
enum ReportFormat {
  TEXT {
    @Override
    String write(RunReport report, int width) {
      return report.text(width);
    }
  },

  JSON {
    @Override
    String write(RunReport report, int width) {
      try {
        return plain(new ObjectMapper().writer(inLines()).writeValueAsString(report)) + "\n";
      } catch (JsonProcessingException e) {
        throw new IllegalStateException(e);
      }
    }
  };

  /**
   * Writes a report.
   *
   * @param width cells of the terminal that it is for, 0 where it is for none
   */
  abstract String write(RunReport report, int width);

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
}
