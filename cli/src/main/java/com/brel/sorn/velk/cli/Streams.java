package com.brel.sorn.velk.cli;

import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintStream;

/**
 * The command's standard streams.
 *
 * @param in standard input
 * @param out standard output; it tells of every failure to write, which {@code System.out} hides
 * @param err standard error
 * @param terminalWidth cells of the terminal that standard error goes to, 0 where it is none
 */
record Streams(InputStream in, OutputStream out, PrintStream err, int terminalWidth) {
  /** Prints a line to standard error; it ends alike on every platform. */
  void say(String line) {
    err.print(line + "\n");
    err.flush();
  }
}
