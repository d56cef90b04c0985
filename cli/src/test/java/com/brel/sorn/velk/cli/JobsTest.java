package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Several processes do what one does. */
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
  void severalProcessesGiveTheSameBytesAndTheSameReport(String lastEnd) throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), awkward(2000, lastEnd));
    Path one = folder.resolve("one.csv");
    Path many = folder.resolve("many.csv");
    String report = run(in, one).expect(ExitCode.FIELD_ERRORS).report().toString();
    Run run = run(in, many, "--jobs", "3").expect(ExitCode.FIELD_ERRORS);
    assertEquals(-1, Files.mismatch(one, many));
    assertEquals(report.replace("one.csv", "many.csv"), run.report().toString());
    assertEquals(List.of("in.csv", "many.csv", "one.csv"), left());
  }

  @Test
  void moreProcessesThanRowsDoNoHarm() throws IOException {
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
  void slicesMeetBetweenRowsAndCoverTheFile() throws IOException {
    Path in = Files.writeString(folder.resolve("in.csv"), awkward(500, "\n"));
    for (int count : new int[] {1, 2, 7, 1000}) {
      long end = 0;
      for (Slice slice : SlicedFile.slices(in, count)) {
        assertEquals(end, slice.from());
        end = slice.to();
      }
      assertEquals(Files.size(in), end);
    }
    assertEquals(7, SlicedFile.slices(in, 7).size());
  }

  @Test
  void theFirstFailureInTheFileIsToldWhicheverProcessFails() throws IOException {
    String csv = "a,b\n" + "1,2\n".repeat(100) + "3\n" + "1,2\n".repeat(100) + "1,2,3\n";
    Path in = Files.writeString(folder.resolve("in.csv"), csv);
    Run run = run(in, folder.resolve("out.csv"), "-j", "3").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("line 102: the row has 1 value, the header 2"), run.err());
    assertEquals(List.of("in.csv"), left());
  }

  @Test
  void illFormedTextInALaterSliceIsToldWithItsPlaceInTheFile() throws IOException {
    byte[] csv = ("a,b\n" + "1,2\n".repeat(300) + "3,?\n").getBytes();
    csv[csv.length - 2] = (byte) 0xFF;
    Path in = Files.write(folder.resolve("in.csv"), csv);
    Run run = run(in, folder.resolve("out.csv"), "-j", "3").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("byte 1206, line 302"), run.err());
  }

  @Test
  void aStoppingErrorAndTheMostErrorsHoldForAllProcessesTogether() throws IOException {
    String bad = "this value is longer than its column,2\n";
    String csv = "a,b\n" + ("1,2\n".repeat(99) + bad).repeat(3);
    Path in = Files.writeString(folder.resolve("in.csv"), csv);
    Path out = folder.resolve("out.csv");
    Run stop = run(in, out, "-j", "2", "--on-error", "stop").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(stop.err().contains("row 100, column \"a\": error 7502"), stop.err());
    Run most = run(in, out, "-j", "2", "--max-errors", "2").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(most.err().contains("more than 2 values"), most.err());
    assertEquals(List.of("in.csv"), left());
  }

  private List<String> left() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.map(file -> file.getFileName().toString()).sorted().toList();
    }
  }
}
