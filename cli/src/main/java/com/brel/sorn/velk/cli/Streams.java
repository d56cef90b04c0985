package com.brel.sorn.velk.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;

/**
 * The command's standard streams.
 *
 * @param in standard input
 * @param out standard output; it tells of every failure to write, which {@code System.out} hides
 * @param outCharset of texts on standard output; rows are UTF-8 wherever they go
 * @param err standard error
 * @param errCharset of standard error
 * @param terminalWidth cells of the terminal that standard error goes to, 0 where it is none
 */
record Streams(
    InputStream in,
    OutputStream out,
    Charset outCharset,
    PrintStream err,
    Charset errCharset,
    int terminalWidth) {

  /** Those of the process. */
  static Streams standard() {
    Charset errors = charset("stderr");
    return new Streams(
        System.in,
        new FileOutputStream(FileDescriptor.out),
        charset("stdout"),
        new PrintStream(new FileOutputStream(FileDescriptor.err), true, errors),
        errors,
        Integer.getInteger("velk.terminal", 0));
  }

  /**
   * That of the console where the stream is one and Java names it, as on Windows: for anything else
   * a recent one names the system's own, an older one nothing. Files are UTF-8, and so is a console
   * whose characters are the system's own, as nothing tells it from a file.
   */
  private static Charset charset(String stream) {
    String older = System.getProperty("sun." + stream + ".encoding");
    String name = System.getProperty(stream + ".encoding", older);
    return name == null
            || name.equals(System.getProperty("native.encoding"))
            || !Charset.isSupported(name)
        ? StandardCharsets.UTF_8
        : Charset.forName(name);
  }

  PrintWriter outWriter() {
    return new PrintWriter(out, true, outCharset);
  }

  PrintWriter errWriter() {
    return new PrintWriter(err, true, errCharset);
  }

  /** Prints a line to standard error; it ends alike on every platform. */
  void say(String line) {
    err.print(line + "\n");
    err.flush();
  }
}
