package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Several threads do what one does. */
class JobsTest {
  private static final String RULES =
      "service=s key=env:MASK_KEY a=classes a.type=varchar(30) b=hash";

  @TempDir Path folder;

  /** Rows with all that makes it hard to see where one ends. */
  private static String awkward(int rows, String lastEnd) {
    Random random = new Random(rows);
    String[] values = {
      "x",
      "",
      "\"\"",
      "\"a,b\"",
      "\"a\nb\"",
      "\"a\r\nb\"",
      "\"\r\"",
      "\"\"\"\"",
      "\"\n\"\"\n\"",
      "stray\"quote",
      "ä😀",
      "this value is longer than its column",
      "#1",
      "\"q\""
    };
    String[] ends = {"\n", "\r\n", "\r"};
    StringBuilder csv = new StringBuilder("\uFEFFa,b\r\n");
    for (int row = 0; row < rows; row++) {
      csv.append(values[random.nextInt(values.length)]).append(',');
      csv.append(values[random.nextInt(values.length)]);
      csv.append(row == rows - 1 ? lastEnd : ends[random.nextInt(ends.length)]);
    }
    return csv.toString();
  }

  private Run run(Path in, Path out, String... options) {
    List<String> arguments =
        new ArrayList<>(List.of("mask", "-s", RULES, in.toString(), out.toString()));
    arguments.addAll(List.of("--report-format", "json"));
    arguments.addAll(List.of(options));
    return Run.velk(arguments.toArray(String[]::new));
  }

  @ParameterizedTest
  @ValueSource(strings = {"\n", ""})
  void severalThreadsGiveTheSameBytesAndTheSameReport(String lastEnd) throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), awkward(60_000, lastEnd));
    Path one = folder.resolve("one.csv");
    Path many = folder.resolve("many.csv");
    String report = run(in, one).expect(ExitCode.FIELD_ERRORS).report().toString();
    Run run = run(in, many, "--jobs", "3").expect(ExitCode.FIELD_ERRORS);
    assertEquals(-1, Files.mismatch(one, many));
    assertEquals(report.replace("one.csv", "many.csv"), run.report().toString());
    assertEquals(List.of("in.csv", "many.csv", "one.csv"), left());
  }

  @Test
  void moreThreadsThanRowsDoNoHarm() throws IOException {
    for (String csv : new String[] {"a,b\n", "a,b\n1,2\n\"3\n3\",4"}) {
      Path in = Files.writeString(folder.resolve("in.csv"), csv);
      Path one = folder.resolve("one.csv");
      Path many = folder.resolve("many.csv");
      run(in, one).expect(ExitCode.DONE);
      run(in, many, "-j", "3").expect(ExitCode.DONE);
      assertEquals(-1, Files.mismatch(one, many));
    }
  }

  @Test
  void standardInputAndOutputAreMaskedBySeveralThreads() {
    byte[] csv = awkward(60_000, "\n").getBytes(StandardCharsets.UTF_8);
    Run one = Run.mask(RULES, csv, "-q").expect(ExitCode.FIELD_ERRORS);
    Run several = Run.mask(RULES, csv, "-q", "-j", "3").expect(ExitCode.FIELD_ERRORS);
    assertArrayEquals(one.bytes(), several.bytes());
  }

  @Test
  void aLargeFileIsMaskedBySeveralThreadsUnasked() throws Exception {
    Path in =
        Files.writeString(folder.resolve("in.csv"), "a,b\n" + "some text,2\n".repeat(700_000));
    Set<String> seen = ConcurrentHashMap.newKeySet();
    Thread watch =
        new Thread(
            () -> {
              while (!Thread.currentThread().isInterrupted()) {
                Thread.getAllStackTraces().keySet().forEach(thread -> seen.add(thread.getName()));
              }
            });
    watch.start();
    run(in, folder.resolve("one.csv"), "-j", "1").expect(ExitCode.DONE);
    assertFalse(seen.contains("velk-csv"));
    run(in, folder.resolve("many.csv")).expect(ExitCode.DONE);
    watch.interrupt();
    watch.join();
    assertEquals(Runtime.getRuntime().availableProcessors() > 1, seen.contains("velk-csv"));
    assertEquals(-1, Files.mismatch(folder.resolve("one.csv"), folder.resolve("many.csv")));
  }

  @Test
  void theFirstFailureInTheFileIsToldWhicheverThreadMeetsOne() throws IOException {
    String csv = "a,b\n" + "1,2\n".repeat(100_000) + "3\n" + "1,2\n".repeat(100_000) + "1,2,3\n";
    Path in = Files.writeString(folder.resolve("in.csv"), csv);
    Run run = run(in, folder.resolve("out.csv"), "-j", "3").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("line 100002: the row has 1 value, the header 2"), run.err());
    assertEquals(List.of("in.csv"), left());
  }

  @Test
  void illFormedTextInALaterBlockIsToldWithItsPlaceInTheFile() throws IOException {
    byte[] csv = ("a,b\n" + "1,2\n".repeat(300_000) + "3,?\n").getBytes();
    csv[csv.length - 2] = (byte) 0xFF;
    Path in = Files.write(folder.resolve("in.csv"), csv);
    Run run = run(in, folder.resolve("out.csv"), "-j", "3").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("byte 1200006, line 300002"), run.err());
  }

  @Test
  void aStoppingErrorAndTheMostErrorsHoldForAllThreadsTogether() throws IOException {
    String bad = "this value is longer than its column,2\n";
    String csv = "a,b\n" + ("1,2\n".repeat(99_999) + bad).repeat(3);
    Path in = Files.writeString(folder.resolve("in.csv"), csv);
    Path out = folder.resolve("out.csv");
    Run stop = run(in, out, "-j", "2", "--on-error", "stop").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(stop.err().contains("row 100000, column \"a\": error 7502"), stop.err());
    Run most = run(in, out, "-j", "2", "--max-errors", "2").expect(ExitCode.INPUT_OUTPUT);
    String told =
        "more than 2 values could not be masked; the first: row 100000, column \"a\": error 7502";
    assertTrue(most.err().contains(told), most.err());
    assertEquals(List.of("in.csv"), left());
  }

  private List<String> left() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.map(file -> file.getFileName().toString()).sorted().toList();
    }
  }
}
