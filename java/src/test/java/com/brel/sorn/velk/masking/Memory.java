package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** What this process takes of the machine's memory. */
final class Memory {
  private static final Path MAPPINGS = Path.of("/proc/self/smaps");

  /** Java puts a heap of less than 32 GiB below this address, and nothing else lies there. */
  private static final long HEAP_END = 32L << 30;

  private Memory() {}

  /** Whether this system tells it. */
  static boolean isTold() {
    return Files.exists(MAPPINGS);
  }

  /**
   * Bytes that are resident outside of Java's heap, whose size is a matter of when it is collected.
   */
  static long outsideTheHeap() {
    long bytes = 0;
    boolean heap = false;
    try {
      for (String line : Files.readAllLines(MAPPINGS)) {
        String[] words = line.split("[ -]+");
        if (words[0].equals("Rss:")) {
          bytes += heap ? 0 : 1024 * Long.parseLong(words[1]);
        } else if (!words[0].endsWith(":")) {
          heap = Long.compareUnsigned(Long.parseUnsignedLong(words[0], 16), HEAP_END) < 0;
        }
      }
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
    return bytes;
  }
}
