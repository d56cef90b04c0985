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
    return isStream() ? 0 : Files.size(Path.of(name));
  }

  InputStream open() throws IOException {
    if (isStandard(name)) {
      return new Unclosable(streams.in());
    }
    // Otherwise a platform tells only with the first read, or says that it is forbidden.
    if (Files.isDirectory(Path.of(name))) {
      throw Failure.inputOutput(name + ": it is a directory");
    }
    return Files.newInputStream(Path.of(name));
  }

  /** Whether it can be read but once, and from its start. */
  boolean isStream() {
    return isStandard(name) || Files.exists(Path.of(name)) && !Files.isRegularFile(Path.of(name));
  }

  /** Refuses to write to the file that is read. */
  void requireOtherThan(String output, String what) throws IOException {
    if (isStandard(name) || isStandard(output)) {
      return;
    }
    if (Files.exists(Path.of(output)) && Files.isSameFile(Path.of(name), Path.of(output))) {
      throw Failure.usage(what + " would take the place of the input");
    }
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
