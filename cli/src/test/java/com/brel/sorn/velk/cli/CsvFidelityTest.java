package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.core.type.TypeReference;
import com.fasterxml.jackson.databind.DeserializationFeature;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What is kept comes out byte by byte as it went in. */
class CsvFidelityTest {
  private static final Path SPECTRUM =
      Path.of(System.getProperty("velk.test.data"), "csv-spectrum");

  /** The one of the files that has quotes in unquoted values. */
  private static final String STRAY_QUOTES = "location_coordinates.csv";

  @ParameterizedTest
  @ValueSource(
      strings = {
        "a,b\n1,2\n",
        "a,b\n1,2",
        "a,b\r\n1,2\r\n",
        "a,b\r\n1,2",
        "a,b\r1,2\r",
        "a,b\r\n1,2\n3,4\r5,6\r\n7,8",
        "a,b\n",
        "a,b",
        "\uFEFFa,b\n1,2\n",
        "\uFEFF\"a\",b\n1,2\n",
        "a,b\n\"1\",2\n1,\"2\"\n",
        "a,b\n,\"\"\n\"\",\n",
        "a,b\n\"x,y\",\"say \"\"no\"\"\"\n",
        "a,b\n\"two\nlines\",\"three\r\nmore\rlines\"\r\nend,end\n",
        "a,b\n\"\n\",\"\r\"\n\"\r\n\",\"\"\"\"",
        "a,b\n#1,# 2\n",
        "a,b\n x , y\t\n",
        "a,b\nä😀,\"😀\"\n",
        "a\n\nx\n\n",
        "a\n\"\"",
        "\"a\"\n\"\"\n"
      })
  void whatIsKeptComesOutAsItWentIn(String csv) {
    String rules = csv.contains("b") ? "service=s a=keep b=keep" : "service=s a=keep";
    assertEquals(csv, Run.mask(rules, csv, "-q").expect(ExitCode.DONE).out());
  }

  @Test
  void aLastRowOfOneNullIsNotLostWithTheMissingLineEnd() {
    Run run = Run.mask("service=s a=null", "a\r\nx\r\ny", "-q");
    assertEquals("a\r\n\r\n\r\n", run.expect(ExitCode.DONE).out());
  }

  @Test
  void aMaskedValueIsQuotedWhereItWasOrMustBe() {
    String rules = "service=s a=fixed('x') b=fixed('y,z') c=fixed('')";
    Run run = Run.mask(rules, "a,b,c\n1,2,3\n\"1\",\"2\",\"3\"\n", "-q");
    assertEquals("a,b,c\nx,\"y,z\",\"\"\n\"x\",\"y,z\",\"\"\n", run.expect(ExitCode.DONE).out());
  }

  @Test
  void nullStaysNullAndEmptyStaysEmpty() {
    Run run = Run.mask("service=s key=env:MASK_KEY a=hash b=keep", "a,b\n,1\n\"\",2\n", "-q");
    String[] lines = run.expect(ExitCode.DONE).out().split("\n");
    assertEquals(",1", lines[1]);
    assertEquals("\"\",2", lines[2]);
  }

  static Stream<Path> spectrum() throws IOException {
    try (Stream<Path> files = Files.list(SPECTRUM.resolve("csvs"))) {
      List<Path> sorted = files.sorted().toList();
      assertEquals(12, sorted.size());
      return sorted.stream();
    }
  }

  @ParameterizedTest
  @MethodSource("spectrum")
  void aWellKnownAwkwardFileComesOutAsItWentIn(Path csv) throws IOException {
    byte[] bytes = Files.readAllBytes(csv);
    String rules =
        Arrays.stream(header(bytes).values())
            .map(name -> " " + InitCommand.key(name) + "=keep")
            .collect(Collectors.joining("", "service=s", ""));
    byte[] out = Run.mask(rules, bytes, "-q").expect(ExitCode.DONE).bytes();
    assertEquals(rows(bytes), rows(out));
    if (csv.endsWith(STRAY_QUOTES)) {
      String text = new String(bytes, StandardCharsets.UTF_8);
      String stray = "37\uFFFD36'37.8\"N 121\uFFFD2'17.9\"W";
      assertTrue(text.contains("," + stray + ","), text);
      bytes = text.replace(stray, quoted(stray)).getBytes(StandardCharsets.UTF_8);
    }
    assertArrayEquals(bytes, out);
  }

  private static String quoted(String value) {
    return '"' + value.replace("\"", "\"\"") + '"';
  }

  /** Readers differ over a bare quote. */
  @Test
  void aQuoteInsideOfAnUnquotedValueIsWrittenSoThatEveryReaderKnowsIt() {
    Run run = Run.mask("service=s a=keep", "a\n37'8\"N\n", "-q").expect(ExitCode.DONE);
    assertEquals("a\n\"37'8\"\"N\"\n", run.out());
  }

  @ParameterizedTest
  @MethodSource("spectrum")
  void aWellKnownAwkwardFileIsReadAsItsAnswerSays(Path csv) throws IOException {
    String answer = csv.getFileName().toString().replace(".csv", ".json");
    List<Map<String, String>> expected =
        new ObjectMapper()
            .enable(DeserializationFeature.ACCEPT_SINGLE_VALUE_AS_ARRAY)
            .readValue(SPECTRUM.resolve("json").resolve(answer).toFile(), new TypeReference<>() {});
    List<Map<String, String>> rows = rows(Files.readAllBytes(csv));
    if (csv.endsWith(STRAY_QUOTES)) {
      // The published answer names another number than the file.
      assertEquals("1234567890", expected.get(0).put("Contact Phone Number", "2095257564"));
    }
    assertEquals(expected, rows);
  }

  private static CsvRow header(byte[] csv) throws IOException {
    try (CsvSource source = new CsvSource(new ByteArrayInputStream(csv))) {
      return source.next();
    }
  }

  private static List<Map<String, String>> rows(byte[] csv) throws IOException {
    List<Map<String, String>> rows = new ArrayList<>();
    try (CsvSource source = new CsvSource(new ByteArrayInputStream(csv))) {
      String[] names = source.next().values();
      for (CsvRow row = source.next(); row != null; row = source.next()) {
        Map<String, String> values = new LinkedHashMap<>();
        for (int i = 0; i < row.values().length; i++) {
          values.put(names[i], row.values()[i] == null ? "" : row.values()[i]);
        }
        rows.add(values);
      }
    }
    return rows;
  }
}
