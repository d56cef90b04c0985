package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** What this process takes of the machine's memory. */
final class Memory {
  private static final long PAGE = 4096;

  private Memory() {}

  /** Bytes that are resident, the heap among them. */
  static long resident() throws IOException {
    return PAGE * Long.parseLong(Files.readString(Path.of("/proc/self/statm")).split(" ")[1]);
  }
}
