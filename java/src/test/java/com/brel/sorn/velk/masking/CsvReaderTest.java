package com.brel.sorn.velk.masking;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.masking.CsvException.Fault;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.channels.Channels;
import java.nio.channels.IllegalBlockingModeException;
import java.nio.channels.Pipe;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** CSV read row by row, and handed on to be masked. */
class CsvReaderTest {
  private static final CsvFormat STANDARD = CsvFormat.STANDARD;

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private CsvReader reader(String csv, CsvFormat format) {
    return engine.csvReader(new ByteArrayInputStream(csv.getBytes(UTF_8)), format);
  }

  private static CsvReader.Row row(long line, String... values) {
    return new CsvReader.Row(line, Arrays.asList(values));
  }

  private static List<CsvReader.Row> rest(CsvReader reader) throws IOException {
    List<CsvReader.Row> rows = new ArrayList<>();
    for (CsvReader.Row row = reader.next(); row != null; row = reader.next()) {
      rows.add(row);
    }
    return rows;
  }

  private List<CsvReader.Row> rows(String csv, CsvFormat format) throws IOException {
    try (CsvReader reader = reader(csv, format)) {
      return rest(reader);
    }
  }

  @Test
  void rowsAreReadWithTheirLines() throws IOException {
    String csv = "\uFEFFa,\"say \"\"b\"\"\"\r\n1,\n\"two\nlines\r\n\",\"\"\rä😀,\"x\"\"y\"";
    try (CsvReader reader = reader(csv, STANDARD)) {
      assertEquals(List.of("a", "say \"b\""), reader.names());
      assertEquals(
          List.of(row(2, "1", null), row(3, "two\nlines\r\n", ""), row(6, "ä😀", "x\"y")),
          rest(reader));
      assertNull(reader.next());
    }
  }

  @Test
  void aTableWithoutAHeaderHasNumberedColumns() throws IOException {
    CsvFormat format = STANDARD.withHeader(false).withDelimiter('\t').withQuote('\'');
    try (CsvReader reader = reader("1\t'2\t'''\n3\t4", format)) {
      assertEquals(List.of("c1", "c2"), reader.names());
      assertEquals(List.of(row(1, "1", "2\t'"), row(2, "3", "4")), rest(reader));
    }
  }

  @Test
  void namesAreToldAsTheyStandBlankAndRepeatedOnes() throws IOException {
    try (CsvReader reader = reader("a,,\"\",a\n", STANDARD)) {
      assertEquals(List.of("a", "", "", "a"), reader.names());
      assertEquals(List.of(), rest(reader));
    }
  }

  @Test
  void blankLinesAreRowsOfOneNullOrLeftOut() throws IOException {
    assertEquals(List.of(row(2, "1"), row(3, (String) null)), rows("a\n1\n\n", STANDARD));
    CsvFormat skipping = STANDARD.withBlankLinesSkipped(true);
    assertEquals(
        List.of(row(4, "1", "2"), row(7, "3", "4")), rows("\na,b\n\n1,2\n\r\n\r3,4\n\n", skipping));
  }

  @Test
  void whatIsNoRowIsToldBehindTheRowsInFrontOfIt() throws IOException {
    assertFault("a,b\n1,2\n\n", 1, Fault.BLANK_LINE, 8, 3);
    assertFault("a,b\n1,2\n\"3\"\n", 1, Fault.WIDTH, 8, 3);
    assertFault("a,b\n1,2\n3,4,\"\"\n", 1, Fault.WIDTH, 8, 3);
    assertFault("a,b\n\"1\n\",2\n3,\"4", 1, Fault.UNCLOSED_QUOTE, 13, 4);
    assertFault("a,b\n\"1\"x,2\n", 0, Fault.BEHIND_QUOTE, 7, 2);
    assertEquals(3, assertFault("a,b\n1,2,3\n", 0, Fault.WIDTH, 4, 2).values());
    try (CsvReader reader = reader("", STANDARD)) {
      CsvException empty = assertThrows(CsvException.class, reader::names);
      assertEquals("the input is empty: it has no header", empty.getMessage());
    }
    try (CsvReader reader = reader("\n\n", new CsvFormat(',', '"', false, true))) {
      CsvException empty = assertThrows(CsvException.class, reader::names);
      assertEquals("the input is empty", empty.getMessage());
    }
  }

  private CsvException assertFault(String csv, int rows, Fault fault, long offset, long line)
      throws IOException {
    try (CsvReader reader = reader(csv, STANDARD)) {
      for (int i = 0; i < rows; i++) {
        assertEquals(2, reader.next().values().size());
      }
      CsvException refusal = assertThrows(CsvException.class, reader::next);
      assertEquals(fault, refusal.fault());
      assertEquals(offset, refusal.offset());
      assertEquals(line, refusal.line());
      return refusal;
    }
  }

  /** Blocks end anywhere, and some rows are longer than one. */
  @Test
  void rowsOfManyBlocksAreReadAsTheyWereWritten() throws IOException {
    Random random = new Random(11);
    StringBuilder csv = new StringBuilder("a,b\n");
    List<CsvReader.Row> expected = new ArrayList<>();
    long line = 2;
    for (int i = 0; i < 30_000; i++) {
      String text = "ä".repeat(random.nextInt(40)) + (i % 9999 == 7 ? "x".repeat(400_000) : "");
      boolean twoLines = random.nextInt(4) == 0;
      String value = twoLines ? text + "\n\"" : text;
      expected.add(row(line, String.valueOf(i), value));
      csv.append(i).append(",\"").append(value.replace("\"", "\"\"")).append("\"\n");
      line += twoLines ? 2 : 1;
    }
    assertTrue(csv.length() > 5 * CsvSlot.BLOCK);
    assertEquals(expected, rows(csv.toString(), STANDARD));
    String broken = csv + "3\n";
    try (CsvReader reader = reader(broken, STANDARD)) {
      for (int i = 0; i < 30_000; i++) {
        reader.next();
      }
      CsvException refusal = assertThrows(CsvException.class, reader::next);
      assertEquals(line, refusal.line());
      assertEquals(csv.toString().getBytes(UTF_8).length, refusal.offset());
    }
  }

  @Test
  void aRowOfManyValuesIsRead() throws IOException {
    String values = "1,".repeat(30_000);
    assertEquals(30_001, rows(values + "\n" + values + "x\n", STANDARD).get(0).values().size());
  }

  @Test
  void theFirstRowsAreLookedAtAndStillToCome() throws IOException {
    try (CsvReader reader = reader("a\n1\n2\n3\n", STANDARD)) {
      assertEquals(List.of(row(2, "1"), row(3, "2")), reader.firstRows(2));
      assertEquals(3, reader.firstRows(9).size());
      assertEquals(row(2, "1"), reader.next());
      assertThrows(IllegalStateException.class, () -> reader.firstRows(1));
    }
    try (CsvReader reader = reader("1\n2\n", STANDARD.withHeader(false))) {
      assertEquals(List.of(row(1, "1"), row(2, "2")), reader.firstRows(9));
    }
  }

  private CsvReport mask(CsvReader reader, String rules, ByteArrayOutputStream out)
      throws IOException {
    try (MaskingService service = engine.parse("service=s " + rules).open()) {
      return service.csv().threads(2).mask(reader, out);
    }
  }

  @Test
  void whatWasLookedAtIsMaskedWithAllBehindIt() throws IOException {
    String rest = "x,y\n".repeat(200_000);
    for (boolean header : new boolean[] {true, false}) {
      CsvFormat format = STANDARD.withHeader(header);
      try (CsvReader reader = reader("\uFEFFc2,c1\n" + rest, format)) {
        List<String> names = header ? List.of("c2", "c1") : List.of("c1", "c2");
        assertEquals(names, reader.names());
        assertEquals(5, reader.firstRows(5).size());
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        CsvReport report = mask(reader, "c1=keep c2=fixed(z)", out);
        assertEquals(header ? 200_000 : 200_001, report.rows());
        String masked = header ? rest.replace("x", "z") : rest.replace("y", "z");
        assertEquals("\uFEFF" + (header ? "c2,c1\n" : "c2,z\n") + masked, out.toString(UTF_8));
      }
    }
  }

  @Test
  void aHeaderThatTheRulesDoNotMatchIsRefusedBeforeAnythingIsWritten() throws IOException {
    for (String header : List.of("a,a", "a,", "a,c")) {
      try (CsvReader reader = reader(header + "\n1,2\n", STANDARD)) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        assertThrows(CsvException.class, () -> mask(reader, "a=keep b=keep", out));
        assertEquals(0, out.size());
      }
    }
  }

  @Test
  void aReaderIsHandedOnOnceAndOnlyWhole() throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    try (CsvReader reader = reader("a\n1\n2\n", STANDARD)) {
      reader.next();
      assertThrows(IllegalStateException.class, () -> mask(reader, "a=keep", out));
    }
    try (CsvReader reader = reader("a\n1\n2\n", STANDARD)) {
      mask(reader, "a=keep", out);
      assertThrows(IllegalStateException.class, () -> mask(reader, "a=keep", out));
      assertThrows(IllegalStateException.class, reader::next);
    }
    assertEquals("a\n1\n2\n", out.toString(UTF_8));
    CsvReader closed = reader("a\n", STANDARD);
    closed.close();
    closed.close();
    assertThrows(IllegalStateException.class, closed::names);
    assertThrows(IllegalStateException.class, () -> mask(closed, "a=keep", out));
  }

  @Test
  void anInputThatFailsIsNotTakenForAnEmptyOne() throws IOException {
    IOException broken = new IOException("gone");
    InputStream failing =
        new InputStream() {
          @Override
          public int read() throws IOException {
            throw broken;
          }
        };
    try (CsvReader reader = engine.csvReader(failing, STANDARD)) {
      assertSame(broken, assertThrows(IOException.class, reader::names));
      assertThrows(IllegalStateException.class, reader::names);
    }
  }

  @Test
  void aChannelIsReadAndStaysOpen() throws IOException {
    Pipe pipe = Pipe.open();
    pipe.sink().write(java.nio.ByteBuffer.wrap("a\n1\n".getBytes(UTF_8)));
    pipe.sink().close();
    try (CsvReader reader = engine.csvReader(pipe.source(), STANDARD)) {
      assertEquals(List.of(row(2, "1")), rest(reader));
    }
    assertTrue(pipe.source().isOpen());
    assertEquals(-1, Channels.newInputStream(pipe.source()).read());
    pipe.source().configureBlocking(false);
    assertThrows(
        IllegalBlockingModeException.class, () -> engine.csvReader(pipe.source(), STANDARD));
    pipe.source().close();
  }

  @Test
  void formatsThatMakeNoSenseAreRefused() {
    for (char none : new char[] {'"', '\n', '\r', '\0', 'ä'}) {
      assertThrows(IllegalArgumentException.class, () -> STANDARD.withDelimiter(none));
    }
    assertThrows(IllegalArgumentException.class, () -> STANDARD.withQuote(','));
  }
}
