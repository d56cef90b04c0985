package com.brel.sorn.velk.masking;

import java.nio.file.Path;
import java.util.Objects;

/**
 * What the engine traces, and where to.
 *
 * @param mask the words {@code entry}, {@code data}, {@code message} and {@code all}, or numbers;
 *     several are separated by commas or blanks, and then each of them is traced
 * @param file the file for the trace events, or {@code -} for lines on standard error
 */
public record Trace(String mask, Path file) {
  /**
   * Makes a trace.
   *
   * @param mask the words or the number
   * @param file the file
   * @throws IllegalArgumentException if the mask or the file cannot be handed to the engine
   */
  public Trace {
    Text.require("trace mask", Objects.requireNonNull(mask, "mask"));
    Text.require("trace file", Objects.requireNonNull(file, "file").toString());
  }

  /**
   * Traces everything.
   *
   * @param file the file for the trace events
   * @return the trace
   */
  public static Trace all(Path file) {
    return new Trace("all", file);
  }
}
