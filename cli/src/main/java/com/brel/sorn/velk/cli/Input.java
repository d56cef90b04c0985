package com.brel.sorn.velk.cli;

import java.io.FilterInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;

/** The CSV file to be read: a path, or {@code -} for standard input. */
final class Input {
  private static final String STANDARD = "-";

  private final String name;
  private final Streams streams;

  Input(String name, Streams streams) {
    this.name = name;
    this.streams = streams;
  }

  static boolean isStandard(String name) {
    return name.equals(STANDARD);
  }

  String name() {
    return isStandard(name) ? "standard input" : name;
  }

  /** Its size in bytes, 0 where that is not known. */
  long size() throws IOException {
    return isStandard(name) || !Files.isRegularFile(Path.of(name)) ? 0 : Files.size(Path.of(name));
  }

  InputStream open() throws IOException {
    return isStandard(name) ? new Unclosable(streams.in()) : Files.newInputStream(Path.of(name));
  }

  /** Standard input is not ours to close. */
  private static final class Unclosable extends FilterInputStream {
    Unclosable(InputStream in) {
      super(in);
    }

    @Override
    public void close() {
      // Left open.
    }
  }
}
