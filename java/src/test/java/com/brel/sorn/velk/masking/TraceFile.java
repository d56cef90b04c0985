package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Assumptions;

/** The natives that a trace file tells of, in the order in which they were entered. */
record TraceFile(List<Entry> entries) {
  private static final Pattern ENTRY =
      Pattern.compile("\\{\"name\":\"([^\"]+)\".*\"ph\":\"B\".*\"tid\":(\\d+).*");

  record Entry(String operation, int thread) {}

  static TraceFile read(Path file) throws IOException {
    List<Entry> entries = new ArrayList<>();
    for (String line : Files.readAllLines(file)) {
      Matcher entry = ENTRY.matcher(line);
      if (entry.matches()) {
        entries.add(new Entry(entry.group(1), Integer.parseInt(entry.group(2))));
      }
    }
    return new TraceFile(entries);
  }

  /** A file that can be opened and not written to, as on a disk that is full. */
  static Path onFullDisk() {
    Path file = Path.of("/dev/full");
    // Windows is asked by opening it: it tells nothing of devices.
    try {
      Files.newOutputStream(file, StandardOpenOption.WRITE).close();
      return file;
    } catch (IOException e) {
      return Assumptions.abort("there is no device here that is always full");
    }
  }

  long count(String operation) {
    return entries.stream().filter(entry -> entry.operation().equals(operation)).count();
  }
}
