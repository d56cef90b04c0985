package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.ObjectMapper;
import de.siegmar.fastcsv.writer.CsvWriter;
import de.siegmar.fastcsv.writer.LineDelimiter;
import de.siegmar.fastcsv.writer.QuoteStrategies;
import java.io.IOException;
import java.io.StringWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;

/** Strings that programs are known to stumble over. */
final class Naughty {
  private Naughty() {}

  /** Those that a well-formed file can hold: all but U+0000, which is an error of its field. */
  static List<String> strings() throws IOException {
    Path file = Path.of(System.getProperty("velk.test.data"), "blns/resources/blns.json");
    String[] all = new ObjectMapper().readValue(file.toFile(), String[].class);
    assertTrue(all.length > 400);
    List<String> strings =
        Arrays.stream(all)
            .filter(text -> StandardCharsets.UTF_8.newEncoder().canEncode(text))
            .filter(text -> text.indexOf(0) < 0)
            .toList();
    assertTrue(strings.size() > all.length - 5);
    return strings;
  }

  /** A row of a CSV file, every value in quotes. */
  static String row(List<String> values) {
    StringWriter csv = new StringWriter();
    CsvWriter.builder()
        .bufferSize(0)
        .quoteStrategy(QuoteStrategies.ALWAYS)
        .lineDelimiter(LineDelimiter.LF)
        .build(csv)
        .writeRecord(values);
    return csv.toString();
  }
}
