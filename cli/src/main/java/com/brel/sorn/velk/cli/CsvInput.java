package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvFormat;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.util.List;
import java.util.Optional;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** A CSV file as every subcommand reads it. */
final class CsvInput implements AutoCloseable {
  /** Columns in a message. */
  private static final int MOST_TOLD = 10;

  private final CountingInput bytes;
  private final CsvReader reader;

  CsvInput(Engine engine, Input input, CsvFormat format) throws IOException {
    bytes = new CountingInput(input.open());
    reader = engine.csvReader(bytes, format);
  }

  CsvReader reader() {
    return reader;
  }

  /** How many were read; some of them are still to come as rows. */
  long bytesRead() {
    return bytes.count();
  }

  /** Refuses a column that has no name of its own, unless a rule says its position. */
  void requireNames(List<ColumnRule> rules) throws IOException {
    Set<String> said = rules.stream().map(ColumnRule::name).collect(Collectors.toSet());
    ColumnNames names = new ColumnNames(reader.names());
    String findings =
        IntStream.range(0, names.size())
            .filter(column -> !said.contains(ColumnNames.position(column)))
            .mapToObj(names::finding)
            .flatMap(Optional::stream)
            .limit(MOST_TOLD)
            .collect(Collectors.joining("\n"));
    if (!findings.isEmpty()) {
      throw Failure.inputOutput(findings);
    }
  }

  @Override
  public void close() throws IOException {
    reader.close();
    bytes.close();
  }
}
