package com.brel.sorn.velk.masking;

import com.sun.management.OperatingSystemMXBean;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;

/** Reads masking strings over and over in a heap of fixed size, and says by how much it grew. */
final class MaskingStringProbe {
  private static final int FIRST_ROUNDS = 200;
  private static final int ROUNDS = 600;

  private MaskingStringProbe() {}

  public static void main(String[] args) throws IOException {
    StringBuilder text = new StringBuilder("service=s on_error=stop");
    for (int i = 0; i < 40; i++) {
      text.append(" column_").append(i).append("=fixed('").append("x".repeat(100)).append("')");
    }
    try (Engine engine = Engine.open()) {
      repeat(engine, text.toString(), FIRST_ROUNDS);
      long before = heldKilobytes();
      repeat(engine, text.toString(), ROUNDS);
      System.out.println("grown by " + Math.max(0, heldKilobytes() - before) + " KiB");
    }
  }

  /** Dropped unopened, opened as it is, and opened with an operand taken out. */
  private static void repeat(Engine engine, String text, int rounds) {
    for (int i = 0; i < rounds; i++) {
      engine.parse(text).close();
      engine.parse(text).open().close();
      engine.parse(text).tellErrors().open().close();
    }
  }

  /** What the process holds: on Windows all that it was promised, elsewhere what it has touched. */
  private static long heldKilobytes() throws IOException {
    if (NativeLibraries.onWindows()) {
      return ManagementFactory.getPlatformMXBean(OperatingSystemMXBean.class)
              .getCommittedVirtualMemorySize()
          / 1024;
    }
    return Files.readAllLines(Path.of("/proc/self/status")).stream()
        .filter(line -> line.startsWith("VmRSS"))
        .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", "")))
        .findFirst()
        .orElseThrow();
  }
}
