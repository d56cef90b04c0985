package com.brel.sorn.velk.masking;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.CsvException.Fault;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.InterruptedIOException;
import java.io.OutputStream;
import java.io.SequenceInputStream;
import java.nio.channels.FileChannel;
import java.nio.channels.IllegalBlockingModeException;
import java.nio.channels.Pipe;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.locks.LockSupport;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** CSV from a stream to a stream. */
class CsvMaskingTest {
  private static final String KEEP = "a=keep b=keep";

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private MaskingService service(String rules) {
    return engine.parse("service=s key=env:MASK_KEY " + rules).open();
  }

  private static byte[] mask(CsvMasking masking, byte[] csv) throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    masking.mask(new ByteArrayInputStream(csv), out);
    return out.toByteArray();
  }

  private String mask(String rules, String csv) throws IOException {
    try (MaskingService service = service(rules)) {
      return new String(mask(service.csv(), csv.getBytes(UTF_8)), UTF_8);
    }
  }

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
  void whatIsKeptComesOutAsItWentIn(String csv) throws IOException {
    boolean two = csv.contains("b");
    assertEquals(csv, mask(two ? KEEP : "a=keep", csv));
    // Through the engine, too.
    assertEquals(
        csv, mask(two ? KEEP + " a.unique=true b.unique=true" : "a=keep a.unique=true", csv));
  }

  @Test
  void aLastRowOfOneNullIsNotLostWithTheMissingLineEnd() throws IOException {
    assertEquals("a\r\n\r\n\r\n", mask("a=null", "a\r\nx\r\ny"));
  }

  /** It is a block of its own here, and ends as the block before does. */
  @ParameterizedTest
  @ValueSource(strings = {"\n", "\r", "\r\n"})
  void aLastRowOfOneNullEndsAsTheRowsOfTheBlockBefore(String end) throws IOException {
    int rows = (CsvSlot.BLOCK - 1) / (1 + end.length());
    // What is left of the block is filled by the header.
    int header = CsvSlot.BLOCK - 1 - (rows - 9) * (1 + end.length()) - end.length();
    String name = "h".repeat(header);
    String csv = name + end + ("x" + end).repeat(rows - 9) + "y";
    assertEquals(CsvSlot.BLOCK, csv.length());
    assertEquals(name + end + end.repeat(rows - 9) + end, mask(name + "=null", csv));
  }

  @Test
  void aMaskedValueIsQuotedWhereItWasOrMustBe() throws IOException {
    assertEquals(
        "a,b,c\nx,\"y,z\",\"\"\n\"x\",\"y,z\",\"\"\n",
        mask("a=fixed('x') b=fixed('y,z') c=fixed('')", "a,b,c\n1,2,3\n\"1\",\"2\",\"3\"\n"));
  }

  @Test
  void nullStaysNullAndEmptyStaysEmpty() throws IOException {
    String[] lines = mask("a=hash b=keep", "a,b\n,1\n\"\",2\n").split("\n");
    assertEquals(",1", lines[1]);
    assertEquals("\"\",2", lines[2]);
  }

  @Test
  void aQuoteInsideOfAnUnquotedValueIsWrittenSoThatEveryReaderKnowsIt() throws IOException {
    assertEquals("a\n\"37'8\"\"N\"\n", mask("a=keep", "a\n37'8\"N\n"));
  }

  @Test
  void columnsAreFoundByTheirNames() throws IOException {
    assertEquals(
        "\"say \"\"b\"\"\",a\nx,1\n",
        mask("a=keep \"say \\\"b\\\"\"=fixed(x)", "\"say \"\"b\"\"\",a\n2,1\n"));
  }

  @Test
  void aHeaderOfManyColumnsIsRead() throws IOException {
    StringBuilder rules = new StringBuilder();
    List<String> names = new ArrayList<>();
    for (int i = 0; i < 300; i++) {
      rules.append(" c").append(i).append("=keep");
      names.add("c" + (299 - i));
    }
    String csv = String.join(",", names) + "\n" + ",".repeat(299) + "\n";
    assertEquals(csv, mask(rules.toString(), csv));
  }

  @Test
  void aTableWithoutAHeaderHasTheColumnsOfTheService() throws IOException {
    try (MaskingService service = service("a=keep b=fixed(x)")) {
      CsvMasking masking = service.csv().header(false).delimiter(';').quote('\'');
      assertEquals("1;x\n'2;';x", new String(mask(masking, "1;2\n'2;';3".getBytes(UTF_8)), UTF_8));
      assertEquals("", new String(mask(masking, new byte[0]), UTF_8));
      assertEquals("\uFEFF", new String(mask(masking, "\uFEFF".getBytes(UTF_8)), UTF_8));
    }
  }

  @Test
  void blankLinesAreRefusedOrLeftOut() throws IOException {
    assertFault(KEEP, "a,b\n1,2\n\n", Fault.BLANK_LINE, 8, 3, "the line is blank");
    try (MaskingService service = service(KEEP)) {
      CsvMasking masking = service.csv().skipBlankLines(true);
      assertEquals(
          "a,b\n1,2\n", new String(mask(masking, "a,b\n\n1,2\n\n".getBytes(UTF_8)), UTF_8));
    }
  }

  @Test
  void whatIsNoTableIsRefusedWithItsPlace() throws IOException {
    assertFault(KEEP, "", Fault.EMPTY, 0, 1, "the input is empty: it has no header");
    assertFault(KEEP, "\uFEFF", Fault.EMPTY, 0, 1, "the input is empty: it has no header");
    String width = "byte 13, line 4: the row has 1 value and not 2";
    assertFault(KEEP, "a,b\n\"1\n1\",22\n3\n", Fault.WIDTH, 13, 4, width);
    assertFault(KEEP, "a,b\n1,2,3\n", Fault.WIDTH, 4, 2, "the row has 3 values and not 2");
    String unclosed = "byte 10, line 3: a quote is opened and never closed";
    for (String end : List.of("4\n5,6\n", "4", "", "x\"\"")) {
      assertFault(KEEP, "a,b\n1,2\n3,\"" + end, Fault.UNCLOSED_QUOTE, 10, 3, unclosed);
    }
    assertFault(KEEP, "a,\"b", Fault.UNCLOSED_QUOTE, 2, 1, "byte 2, line 1: a quote is opened");
    assertFault(KEEP, "\uFEFFa,\"b", Fault.UNCLOSED_QUOTE, 5, 1, "byte 5, line 1: a quote");
    assertFault(
        KEEP, "\uFEFFa,b\n\"1\"x,2\n", Fault.BEHIND_QUOTE, 10, 2, "byte 10, line 2: a character");
    assertFault("a=keep", "a,\n1,2\n", Fault.HEADER, 0, 1, "column 2 of the header has no name");
    assertFault("a=keep", "a,a\n1,2\n", Fault.HEADER, 0, 1, "the header names column \"a\" twice");
    assertFault(KEEP, "a,b\0\n1,2\n", Fault.HEADER, 0, 1, "column 2 of the header has U+0000");
    assertFault(KEEP, "a,c\n", Fault.COLUMNS, 0, 1, "there is no rule for column \"c\"");
    assertFault(
        KEEP, "a,c\n", Fault.COLUMNS, 0, 1, "there is a rule for column \"b\", and no such");
  }

  @Test
  void whatIsTooLongIsRefused() throws IOException {
    String value = "x".repeat(1 << 22);
    assertFault(KEEP, "a,b\n1," + value + "x\n", Fault.VALUE_TOO_LONG, 6, 2, "more than 4194304");
    assertEquals("a,b\n1," + value + "\n", mask(KEEP, "a,b\n1," + value + "\n"));
    String rules = "a=keep b=keep c=keep";
    String row = value + "," + value;
    assertFault(rules, "a,b,c\n" + row + ",x\n", Fault.ROW_TOO_LONG, 6, 2, "more than 8388608");
    assertEquals("a,b,c\n" + row + ",\n", mask(rules, "a,b,c\n" + row + ",\n"));
  }

  @ParameterizedTest
  @CsvSource({
    "80, 9, 3",
    "C3, 9, 3",
    "C0 AF, 9, 3",
    "ED A0 80, 9, 3",
    "F4 90 80 80, 9, 3",
    "31 2C 32 0A E2 82, 13, 4"
  })
  void illFormedTextIsToldWithItsByteAndLine(String hex, int offset, int line) throws IOException {
    byte[] start = "a,b\nä,2\n".getBytes(UTF_8);
    String[] digits = hex.split(" ");
    byte[] bytes = Arrays.copyOf(start, start.length + digits.length);
    for (int i = 0; i < digits.length; i++) {
      bytes[start.length + i] = (byte) Integer.parseInt(digits[i], 16);
    }
    assertFault(KEEP, bytes, Fault.NOT_UTF8, offset, line, "the text is not UTF-8");
  }

  @Test
  void illFormedTextFarBehindTheStartIsToldToTheByte() throws IOException {
    byte[] good = ("a,b\n" + "ä,2\n".repeat(200_000)).getBytes(UTF_8);
    byte[] bytes = Arrays.copyOf(good, good.length + 1);
    bytes[good.length] = (byte) 0xFF;
    assertFault(KEEP, bytes, Fault.NOT_UTF8, good.length, 200_002, "line 200002: the text");
  }

  private void assertFault(
      String rules, String csv, Fault fault, long offset, long line, String message)
      throws IOException {
    assertFault(rules, csv.getBytes(UTF_8), fault, offset, line, message);
  }

  /** Of the block with the fault nothing is written, however many threads there are. */
  private void assertFault(
      String rules, byte[] csv, Fault fault, long offset, long line, String message)
      throws IOException {
    byte[] written = null;
    for (int threads : new int[] {1, 4}) {
      try (MaskingService service = service(rules)) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        CsvMasking masking = service.csv().threads(threads);
        CsvException refusal =
            assertThrows(
                CsvException.class, () -> masking.mask(new ByteArrayInputStream(csv), out));
        assertEquals(fault, refusal.fault(), refusal.getMessage());
        assertEquals(offset, refusal.offset(), refusal.getMessage());
        assertEquals(line, refusal.line(), refusal.getMessage());
        assertTrue(refusal.getMessage().contains(message), refusal.getMessage());
        byte[] now = out.toByteArray();
        assertTrue(now.length <= csv.length);
        assertArrayEquals(written == null ? now : written, now);
        written = now;
        if (csv.length < CsvSlot.BLOCK) {
          int mark = csv.length > 2 && csv[0] == (byte) 0xEF && offset > 0 ? now.length : 0;
          assertEquals(mark, now.length);
        }
      }
    }
  }

  /** A table of many blocks, its rows of all lengths, some of them with errors. */
  private static byte[] table(int rows) {
    Random random = new Random(5);
    StringBuilder csv = new StringBuilder("\uFEFFname,day,\"note\"\r\n");
    String[] ends = {"\n", "\r\n", "\r"};
    for (int row = 0; row < rows; row++) {
      csv.append("Ännchen ").append(row).append(',');
      csv.append(random.nextInt(50) == 0 ? "never" : "2024-01-" + (10 + row % 20)).append(',');
      if (random.nextInt(9) > 0) {
        csv.append("\"a \"\"note\"\",\r\n").append("n".repeat(random.nextInt(99))).append('"');
      }
      csv.append(random.nextInt(5000) == 0 ? "" : ends[row % 3]);
      if (csv.charAt(csv.length() - 1) == '"' || csv.charAt(csv.length() - 1) == ',') {
        csv.append('\n');
      }
    }
    return csv.toString().getBytes(UTF_8);
  }

  @Test
  void fourThreadsGiveTheBytesAndTheReportOfOne() throws IOException {
    byte[] csv = table(40_000);
    assertTrue(csv.length > 10 * CsvSlot.BLOCK, csv.length + " bytes");
    try (MaskingService service =
        service("on_error=null name=hash day=dateshift(days=9) day.type=date note=classes")) {
      ByteArrayOutputStream one = new ByteArrayOutputStream();
      CsvReport report = service.csv().mask(new ByteArrayInputStream(csv), one);
      for (int threads : new int[] {2, 4}) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        CsvMasking masking = service.csv().threads(threads);
        assertEquals(report, masking.mask(new Dribble(csv), out));
        assertArrayEquals(one.toByteArray(), out.toByteArray());
      }
      assertEquals(40_000, report.rows());
      assertEquals(120_000, report.values());
      long errors = report.columns().get(1).errorCount();
      assertTrue(errors > 500 && errors < 1200, errors + " errors");
      assertEquals(errors, report.errorCount());
      assertSameAsTheNatives(service, csv, one.toByteArray());
    }
  }

  /** The values of the second column, which has the errors, and of the first. */
  private static void assertSameAsTheNatives(MaskingService service, byte[] in, byte[] out) {
    List<String> before = rowStarts(in);
    List<String> after = rowStarts(out);
    assertEquals(before.size(), after.size());
    for (int from = 0; from < before.size(); from += 5000) {
      List<List<String>> rows = new ArrayList<>();
      for (String row : before.subList(from, Math.min(from + 5000, before.size()))) {
        String[] cells = row.split(",", -1);
        rows.add(Arrays.asList(cells[0], cells[1], null));
      }
      MaskedRows masked = service.mask(rows);
      for (int row = 0; row < rows.size(); row++) {
        String day = masked.value(row, 1);
        String expected = masked.value(row, 0) + "," + (day == null ? "" : day);
        assertEquals(expected, after.get(from + row));
      }
    }
  }

  /** The first two cells of each row, which are plain; notes hold no line that looks like them. */
  private static List<String> rowStarts(byte[] csv) {
    List<String> starts = new ArrayList<>();
    String text = new String(csv, UTF_8).replaceAll("\"(?:[^\"]|\"\")*\"", "");
    String[] lines = text.split("\r\n|\r|\n");
    for (String line : Arrays.asList(lines).subList(1, lines.length)) {
      starts.add(line.substring(0, line.lastIndexOf(',')));
    }
    return starts;
  }

  @ParameterizedTest
  @ValueSource(strings = {"null", "fixed"})
  void randomTablesAreMaskedAsTheNativesMaskThem(String choice) throws IOException {
    OnError onError = choice.equals("null") ? OnError.nullValue() : OnError.fixed("?,");
    for (int seed = 100; seed < 130; seed++) {
      RandomTable table = new RandomTable(seed);
      try (MaskingService service = table.service(engine, onError)) {
        int width = service.columns().size();
        List<List<String>> rows = table.rows(table.upTo(2000), width);
        MaskedRows masked = service.mask(rows);
        StringBuilder before = new StringBuilder();
        StringBuilder after = new StringBuilder();
        for (int row = 0; row < rows.size(); row++) {
          for (int column = 0; column < width; column++) {
            String value = rows.get(row).get(column);
            String end = column < width - 1 ? ";" : "\n";
            before.append(cell(value, true)).append(end);
            after.append(cell(masked.value(row, column), value != null)).append(end);
          }
        }
        CsvMasking masking = service.csv().header(false).delimiter(';').threads(1 + seed % 3);
        byte[] out = mask(masking, before.toString().getBytes(UTF_8));
        assertEquals(after.toString(), new String(out, UTF_8));
      }
    }
  }

  private static String cell(String value, boolean wasQuoted) {
    if (value == null) {
      return "";
    }
    boolean quoted = wasQuoted || value.isEmpty() || value.matches("(?s).*[;\"\n\r].*");
    return quoted ? '"' + value.replace("\"", "\"\"") + '"' : value;
  }

  /** Rows without end, or nearly so. */
  private static final class Endless extends InputStream {
    private final byte[] row;
    private long left;

    Endless(String row, long bytes) {
      this.row = row.getBytes(UTF_8);
      this.left = bytes / this.row.length * this.row.length;
    }

    @Override
    public int read() {
      throw new AssertionError();
    }

    @Override
    public int read(byte[] target, int from, int length) {
      if (left == 0) {
        return -1;
      }
      int start = (int) (left % row.length == 0 ? 0 : row.length - left % row.length);
      int bytes = (int) Math.min(length, Math.min(row.length - start, left));
      System.arraycopy(row, start, target, from, bytes);
      left -= bytes;
      return bytes;
    }
  }

  @Test
  void memoryDoesNotGrowWithTheTable() throws IOException {
    assumeTrue(Memory.isTold());
    try (MaskingService service = service("a=hash b=keep")) {
      CsvMasking masking = service.csv().header(false).threads(3);
      String row = "x".repeat(500) + ",\"" + "y".repeat(20_000) + "\"\n";
      OutputStream nowhere = OutputStream.nullOutputStream();
      masking.mask(new Endless(row, 400L << 20), nowhere);
      long before = Memory.outsideTheHeap();
      CsvReport report = masking.mask(new Endless(row, 400L << 20), nowhere);
      assertEquals((400L << 20) / row.length(), report.rows());
      long grown = Memory.outsideTheHeap() - before;
      assertTrue(grown < 40 << 20, grown + " bytes");
    }
  }

  @Test
  void severalThreadsHoldOneOfTheLargestRows() throws IOException {
    assumeTrue(Memory.isTold());
    String value = "я".repeat(1 << 22);
    String row = value + "," + value + "\n";
    try (MaskingService service = service("a=partial(keep_first=4) b=keep")) {
      long[] most = new long[1];
      CsvMasking masking = service.csv().header(false).threads(6);
      masking.mask(new Endless(row, 50L << 20), OutputStream.nullOutputStream());
      long before = Memory.outsideTheHeap();
      masking.onBlock(sofar -> most[0] = Math.max(most[0], Memory.outsideTheHeap()));
      CsvReport report =
          masking.mask(new Endless(row, 200L << 20), OutputStream.nullOutputStream());
      assertEquals((200L << 20) / row.getBytes(UTF_8).length, report.rows());
      assertTrue(most[0] - before < 160 << 20, (most[0] - before) + " bytes");
    }
  }

  @Test
  void manyRunsLeaveNothingBehind() throws IOException {
    assumeTrue(Memory.isTold());
    byte[] csv = ("a,b\n" + "x".repeat(1 << 20) + ",y\n").getBytes(UTF_8);
    try (MaskingService service = service("a=hash b=keep")) {
      CsvMasking masking = service.csv().threads(2);
      long before = 0;
      for (int i = 0; i < 300; i++) {
        assertTrue(mask(masking, csv).length > 0);
        before = i == 150 ? Memory.outsideTheHeap() : before;
      }
      long grown = Memory.outsideTheHeap() - before;
      assertTrue(grown < 40 << 20, grown + " bytes");
    }
  }

  /** Gives a few bytes at a time. */
  private static final class Dribble extends InputStream {
    private final InputStream all;

    Dribble(byte[] bytes) {
      all = new ByteArrayInputStream(bytes);
    }

    @Override
    public int read() throws IOException {
      return all.read();
    }

    @Override
    public int read(byte[] target, int from, int length) throws IOException {
      return all.read(target, from, Math.min(length, 1021));
    }
  }

  @Test
  void errorsAreCountedByTheRowsOfTheTable() throws IOException {
    StringBuilder csv = new StringBuilder("a,b\n");
    for (int row = 0; row < 100_000; row++) {
      csv.append(row % 9000 == 7 ? "long" : "ok").append(",\"z\0\"\n");
    }
    try (MaskingService service =
        service("on_error=fixed('?') a=keep a.type='varchar(2)' b=keep")) {
      ByteArrayOutputStream out = new ByteArrayOutputStream();
      CsvMasking masking = service.csv().threads(3);
      CsvReport report =
          masking.mask(new ByteArrayInputStream(csv.toString().getBytes(UTF_8)), out);
      CsvReport.Column a = report.columns().get(0);
      assertEquals(12, a.errorCount());
      assertEquals(99_988, a.leftEqual());
      Map.Entry<Integer, CsvReport.Errors> errors = a.errors().entrySet().iterator().next();
      assertEquals(12, errors.getValue().count());
      List<Long> rows = List.of(7L, 9007L, 18_007L, 27_007L, 36_007L);
      assertEquals(rows, errors.getValue().firstRows().subList(0, 5));
      assertEquals(CsvReport.ROWS_TOLD, errors.getValue().firstRows().size());
      CsvReport.Errors zero = report.columns().get(1).errors().get(FieldError.ZERO_CHARACTER);
      assertEquals("the value contains U+0000", zero.text());
      assertEquals(100_000, zero.count());
      assertFalse(out.toString(UTF_8).contains("z"));
      assertTrue(out.toString(UTF_8).startsWith("a,b\nok,\"?\"\n"));
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 4})
  void anErrorThatNothingReplacesEndsTheRunInFrontOfItsBlock(int threads) throws IOException {
    byte[] csv =
        ("a\n" + "ok\n".repeat(300_000) + "long\n" + "ok\n".repeat(300_000)).getBytes(UTF_8);
    for (String way : List.of("", "on_error=stop ")) {
      try (MaskingService service = service(way + "a=keep a.type='varchar(2)'")) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        CsvMasking masking = service.csv().threads(threads);
        VELKException failure =
            assertThrows(
                VELKException.class, () -> masking.mask(new ByteArrayInputStream(csv), out));
        assertTrue(failure.getMessage().startsWith("row 300001, column \"a\": 75"));
        assertTrue(out.size() % 3 == 2 && out.size() > 600_000 && out.size() <= 900_002);
        CsvReport report =
            masking.onError(OnError.fixed("?")).mask(new ByteArrayInputStream(csv), out);
        assertEquals(1, report.errorCount());
      }
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 4})
  void anOutputThatFailsEndsTheRun(int threads) {
    try (MaskingService service = service("name=hash day=keep note=keep")) {
      IOException full = new IOException("no room");
      OutputStream out =
          new OutputStream() {
            private int left = 700_000;

            @Override
            public void write(int b) {
              throw new AssertionError();
            }

            @Override
            public void write(byte[] bytes, int from, int length) throws IOException {
              left -= length;
              if (left < 0) {
                throw full;
              }
            }
          };
      CsvMasking masking = service.csv().threads(threads);
      InputStream in = new ByteArrayInputStream(table(40_000));
      assertEquals(full, assertThrows(IOException.class, () -> masking.mask(in, out)));
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 4})
  void anInputThatFailsEndsTheRunBehindWhatWasRead(int threads) throws IOException {
    byte[] csv = ("a\n" + "ok\n".repeat(300_000)).getBytes(UTF_8);
    IOException broken = new IOException("gone");
    InputStream failing =
        new InputStream() {
          @Override
          public int read() throws IOException {
            throw broken;
          }
        };
    try (MaskingService service = service("a=keep")) {
      ByteArrayOutputStream out = new ByteArrayOutputStream();
      InputStream in = new SequenceInputStream(new ByteArrayInputStream(csv), failing);
      CsvMasking masking = service.csv().threads(threads);
      assertEquals(broken, assertThrows(IOException.class, () -> masking.mask(in, out)));
      // The header and whole rows of three bytes, as far as they filled three blocks.
      assertEquals(262_142 + 262_143 + 262_143, out.size());
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 4})
  void aListenerIsToldBlockByBlockAndMayEndTheRun(int threads) throws IOException {
    try (MaskingService service = service("name=hash day=keep note=keep")) {
      List<Long> told = new ArrayList<>();
      CsvMasking masking = service.csv().threads(threads).onBlock(now -> told.add(now.rows()));
      byte[] csv = table(20_000);
      ByteArrayOutputStream out = new ByteArrayOutputStream();
      masking.mask(new ByteArrayInputStream(csv), out);
      assertTrue(told.size() > 4);
      assertEquals(told.stream().sorted().toList(), told);
      assertEquals(20_000, told.get(told.size() - 1));
      RuntimeException enough = new RuntimeException("enough");
      masking.onBlock(
          now -> {
            throw enough;
          });
      ByteArrayOutputStream none = new ByteArrayOutputStream();
      InputStream in = new ByteArrayInputStream(csv);
      assertEquals(enough, assertThrows(RuntimeException.class, () -> masking.mask(in, none)));
      assertEquals("\uFEFF", none.toString(UTF_8));
    }
  }

  @Test
  void aThreadThatIsInterruptedEndsTheRun() {
    try (MaskingService service = service("name=hash day=keep note=hash")) {
      CsvMasking masking = service.csv().threads(2);
      masking.onBlock(
          now -> {
            // All blocks are done by then, and nothing is left to wait for.
            LockSupport.parkNanos(300_000_000);
            Thread.currentThread().interrupt();
          });
      InputStream in = new ByteArrayInputStream(table(6_000));
      OutputStream out = OutputStream.nullOutputStream();
      assertThrows(InterruptedIOException.class, () -> masking.mask(in, out));
      assertTrue(Thread.interrupted());
    }
  }

  @ParameterizedTest
  @ValueSource(ints = {1, 3})
  void aServiceThatIsClosedInTheMiddleEndsTheRunBehindWholeBlocks(int threads) throws IOException {
    byte[] csv = table(40_000);
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    byte[] whole;
    try (MaskingService service = service("name=hash day=keep note=hash")) {
      whole = mask(service.csv(), csv);
      Runnable end = service::close;
      CsvMasking masking = service.csv().threads(threads).onBlock(now -> end.run());
      InputStream in = new ByteArrayInputStream(csv);
      assertThrows(IllegalStateException.class, () -> masking.mask(in, out));
      InputStream again = new ByteArrayInputStream(table(1));
      assertThrows(IllegalStateException.class, () -> masking.mask(again, out));
    }
    assertTrue(out.size() > 1000 && out.size() < whole.length, out.size() + " bytes");
    assertArrayEquals(Arrays.copyOf(whole, out.size()), out.toByteArray());
    assertTrue(whole[out.size() - 1] == '\n' || whole[out.size() - 1] == '\r');
  }

  @Test
  void nothingIsWrittenWhereTheServiceCannotBeStartedOnceMore() throws IOException {
    byte[] csv = "\uFEFFa\nx\n".getBytes(UTF_8);
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    Path key =
        Files.writeString(Files.createTempFile("key", ""), "a key of sixteen bytes and more");
    try (MaskingService service =
        engine.service("s").key("file:" + key).column("a", Type.text(), Rule.hash()).open()) {
      Files.delete(key);
      InputStream in = new ByteArrayInputStream(csv);
      VELKException failure =
          assertThrows(VELKException.class, () -> service.csv().threads(2).mask(in, out));
      assertEquals(VELKException.Kind.KEY, failure.kind());
      assertEquals(0, out.size());
    }
  }

  @Test
  void channelsAreReadAndWritten(@TempDir Path folder) throws IOException {
    byte[] csv = table(9_000);
    Path in = Files.write(folder.resolve("in.csv"), csv);
    Path out = folder.resolve("out.csv");
    try (MaskingService service = service("name=keep day=keep note=keep");
        FileChannel source = FileChannel.open(in);
        FileChannel target =
            FileChannel.open(out, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE)) {
      assertEquals(9_000, service.csv().threads(2).mask(source, target).rows());
      assertArrayEquals(csv, Files.readAllBytes(out));
      assertTrue(source.isOpen() && target.isOpen());
      Pipe pipe = Pipe.open();
      pipe.source().configureBlocking(false);
      assertThrows(
          IllegalBlockingModeException.class, () -> service.csv().mask(pipe.source(), target));
      pipe.source().close();
      pipe.sink().close();
    }
  }

  @Test
  void settingsThatMakeNoSenseAreRefused() {
    try (MaskingService service = service("a=keep")) {
      CsvMasking masking = service.csv();
      for (char none : new char[] {'"', '\n', '\r', '\0', 'ä'}) {
        assertThrows(IllegalArgumentException.class, () -> masking.delimiter(none));
      }
      assertThrows(IllegalArgumentException.class, () -> masking.quote(','));
      assertThrows(IllegalArgumentException.class, () -> masking.threads(0));
      assertThrows(IllegalArgumentException.class, () -> masking.threads(257));
      assertThrows(NullPointerException.class, () -> masking.onError(null));
      assertThrows(NullPointerException.class, () -> masking.mask((InputStream) null, null));
    }
  }
}
