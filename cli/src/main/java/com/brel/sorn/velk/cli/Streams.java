package com.brel.sorn.velk.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.util.List;

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
  /** Lines that say the same, beyond which nobody reads on. */
  private static final int MOST_WARNINGS = 20;

  /** Those of the process. */
  static Streams standard() {
    Charset errors = charset("stderr");
    return new Streams(
        isClosed("in") ? new ClosedInput() : System.in,
        new StandardOutput(
            isClosed("out") ? new ClosedOutput() : new FileOutputStream(FileDescriptor.out)),
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

  /**
   * What the launcher found closed: Java itself takes its number for the next file that it opens,
   * and would read and write that.
   */
  private static boolean isClosed(String stream) {
    return List.of(System.getProperty("velk.closed", "").split(",")).contains(stream);
  }

  private static final class ClosedInput extends InputStream {
    @Override
    public int read() throws IOException {
      throw new IOException("it is closed");
    }
  }

  private static final class ClosedOutput extends OutputStream {
    @Override
    public void write(int value) throws IOException {
      throw new IOException("it is closed");
    }
  }

  /** Whether standard output is a pipe that its reader has closed, so that nothing is said. */
  boolean hasNoReader() {
    return failure() instanceof ClosedPipe;
  }

  /** Why some of standard output was not written, null where all was. */
  IOException failure() {
    return out instanceof StandardOutput standard ? standard.failure() : null;
  }

  PrintWriter outWriter() {
    return new PrintWriter(out, true, outCharset);
  }

  PrintWriter errWriter() {
    return new PrintWriter(err, true, errCharset);
  }

  /**
   * Prints a line to standard error; it ends alike on every platform. What it tells of, be it the
   * name of a file, never works on a terminal as more than text.
   */
  void say(String line) {
    err.print(Show.lines(line) + "\n");
    err.flush();
  }

  /** Says what is to be known of a run, though it goes on. */
  void warn(String text) {
    say("velk: warning: " + text);
  }

  /** Says the same of some columns, and of many that there are more. */
  void warn(List<String> texts) {
    texts.stream().limit(MOST_WARNINGS).forEach(this::warn);
    if (texts.size() > MOST_WARNINGS) {
      warn("the same is true of " + Show.counted(texts.size() - MOST_WARNINGS, "other column"));
    }
  }
}
