package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvFormat;
import com.brel.sorn.velk.masking.CsvReader;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;

/** A CSV file as every subcommand reads it. */
final class CsvInput implements AutoCloseable {
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

  @Override
  public void close() throws IOException {
    reader.close();
    bytes.close();
  }
}
