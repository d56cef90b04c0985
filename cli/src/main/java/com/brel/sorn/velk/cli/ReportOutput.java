package com.brel.sorn.velk.cli;

import java.io.Closeable;
import java.io.IOException;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;

/** Where a report goes: a file, standard output or standard error, beside the warnings of it. */
final class ReportOutput implements Closeable {
  private final String file;
  private final ReportFormat format;
  private final boolean quiet;
  private final Streams streams;
  private final Output output;
  private String text;

  /**
   * Makes the place.
   *
   * @param file its name, null where it is none
   */
  ReportOutput(String file, ReportFormat format, boolean quiet, Streams streams) {
    this.file = file;
    this.format = format;
    this.quiet = quiet;
    this.streams = streams;
    output = file == null ? null : new Output(file, streams);
  }

  /** Writes all of it but for its name: what can fail does so before another output appears. */
  void write(RunReport report) throws IOException {
    streams.warn(report.unchecked());
    if (!quiet) {
      streams.warn(report.unchanged());
    }
    // A file is read by something else than this terminal.
    text = format.write(report, output == null ? streams.terminalWidth() : 0);
    if (output != null) {
      Charset charset = Input.isStandard(file) ? streams.outCharset() : StandardCharsets.UTF_8;
      output.write(text.getBytes(charset));
    }
  }

  /** Lets it appear. */
  void commit() throws IOException {
    if (output != null) {
      output.commit();
    } else if (!quiet) {
      streams.err().print(text);
      streams.err().flush();
    }
  }

  @Override
  public void close() throws IOException {
    if (output != null) {
      output.close();
    }
  }
}
