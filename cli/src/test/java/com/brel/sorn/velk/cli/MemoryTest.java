package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.BufferedWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A file of any size is masked in a heap of at most 256 MiB. */
class MemoryTest {
  /** UTF-16 units. */
  private static final int LONGEST_VALUE = 1 << 22;

  @TempDir Path folder;

  @Test
  void aFileLargerThanTheHeapAllowsIsMasked() throws Exception {
    Path in = folder.resolve("in.csv");
    Path out = folder.resolve("out.csv");
    String text = "Zoë's long note, of which there are many. ".repeat(20);
    try (BufferedWriter writer = Files.newBufferedWriter(in)) {
      writer.write("id,note\n");
      for (int row = 0; Files.size(in) < 100_000_000; row++) {
        for (int i = 0; i < 1000; i++) {
          writer.write(row + "," + '"' + text + "\"\n");
        }
      }
    }
    // A heap of less than a third of the file, and one value as large as may be.
    mask("-Xmx32m", "service=s id=keep note=keep", in, out);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void theLargestValueIsMaskedInTheHeapOfTheLauncher() throws Exception {
    Path in = folder.resolve("in.csv");
    Path out = folder.resolve("out.csv");
    String value = "ä".repeat(LONGEST_VALUE - 10_000);
    Files.writeString(in, "a,b\n" + value + ",2\n1," + value + "\n");
    mask("-Xmx192m", "service=s a=keep b=keep", in, out);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void theLongestRowIsMaskedInTheHeapOfTheLauncher() throws Exception {
    Path in = folder.resolve("in.csv");
    Path out = folder.resolve("out.csv");
    String value = "я".repeat(LONGEST_VALUE - 10_000);
    Files.writeString(in, "a,b\n" + (value + "," + value + "\n").repeat(3));
    mask("-Xmx192m", "service=s a=keep b=keep", in, out);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void theLargestValueIsMaskedInASmallHeap() throws Exception {
    Path in = folder.resolve("in.csv");
    Path out = folder.resolve("out.csv");
    Path rules =
        folder.resolve("rules"); // no argument, which may be of other characters on Windows
    Files.writeString(rules, "service=s a=partial(keep_first=1, with=я)");
    Files.writeString(in, "a\n" + "я".repeat(LONGEST_VALUE) + "\n");
    Run.ofItsOwn(List.of("-Xmx16m"), "mask", "-r", rules.toString(), in.toString(), out.toString())
        .expect(ExitCode.DONE);
    assertEquals(-1, Files.mismatch(in, out));
  }

  @Test
  void aHeapThatIsTooSmallIsTold() throws Exception {
    Path in = folder.resolve("in.csv");
    Files.writeString(in, "a\n" + "я".repeat(LONGEST_VALUE) + "\n");
    Run run = Run.ofItsOwn(List.of("-Xmx16m"), "preview", "-s", "service=s a=keep", in.toString());
    assertTrue(run.expect(ExitCode.INTERNAL).err().contains("velk: out of memory; "), run.err());
    assertEquals("", run.out());
  }

  private static void mask(String heap, String rules, Path in, Path out) throws Exception {
    run(heap, rules, in, out).expect(ExitCode.DONE);
  }

  private static Run run(String heap, String rules, Path in, Path out) throws Exception {
    return Run.ofItsOwn(List.of(heap), "mask", "-s", rules, in.toString(), out.toString());
  }
}
