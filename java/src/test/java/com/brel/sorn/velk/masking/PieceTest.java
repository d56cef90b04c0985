package com.brel.sorn.velk.masking;

import static com.brel.sorn.velk.masking.Columns.KEY;
import static com.brel.sorn.velk.masking.Columns.column;
import static com.brel.sorn.velk.masking.Columns.rows;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.Field;
import com.brel.sorn.velk.Row;
import com.brel.sorn.velk.VELKException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Iterator;
import java.util.LinkedList;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A batch larger than a piece, and a stream of rows, give what one piece gives. */
class PieceTest {
  private static final int TOO_LONG = 7502;

  /** Two pieces and a little more, in one column. */
  private static final int ROWS = 2 * Piece.VALUES + 3;

  private Engine engine;

  @BeforeEach
  void open() {
    engine = Engine.open();
  }

  @AfterEach
  void close() {
    engine.close();
  }

  private static List<List<String>> numbers(int count) {
    return IntStream.range(0, count).mapToObj(i -> List.of(Integer.toString(i))).toList();
  }

  private MaskingService limited(OnError onError) {
    return engine.service("p").onError(onError).column("c", Type.varchar(5), Rule.keep()).open();
  }

  @Test
  void aPieceEndsWithItsValuesOrItsBytesAndHoldsOneRowAtLeast() {
    List<Column> one = List.of(Columns.of("c", Type.text(), Rule.keep()));
    assertEquals(Piece.VALUES, Piece.end(one, texts(Piece.VALUES, "x"), 0));
    assertEquals(Piece.VALUES, Piece.end(one, texts(Piece.VALUES + 1, "x"), 0));
    assertEquals(Piece.VALUES + 1, Piece.end(one, texts(Piece.VALUES + 1, "x"), Piece.VALUES));
    // A buffer of a quarter of the bytes, its terminator included.
    String quarter = "x".repeat(Piece.BYTES / 8 - 1);
    assertEquals(4, Piece.end(one, texts(9, quarter), 0));
    assertEquals(8, Piece.end(one, texts(9, quarter), 4));
    assertEquals(3, Piece.end(one, texts(9, quarter + "x"), 0));
    assertEquals(1, Piece.end(one, texts(9, "x".repeat(Piece.BYTES)), 0));
    Column column = one.get(0);
    List<Column> wide = IntStream.range(0, Piece.VALUES).mapToObj(i -> column).toList();
    String[] row = new String[Piece.VALUES];
    assertEquals(1, Piece.end(wide, new String[][] {row, row}, 0));
    List<Column> half = wide.subList(0, Piece.VALUES / 2);
    String[] halfRow = new String[Piece.VALUES / 2];
    assertEquals(2, Piece.end(half, new String[][] {halfRow, halfRow, halfRow}, 0));
  }

  private static String[][] texts(int count, String text) {
    String[][] rows = new String[count][];
    Arrays.fill(rows, new String[] {text});
    return rows;
  }

  @Test
  void aLargeBatchComesBackInItsOrder() {
    try (MaskingService service = column(engine, Type.integer(), Rule.keep())) {
      MaskedRows out = service.mask(numbers(ROWS));
      assertEquals(ROWS, out.rowCount());
      assertEquals(List.of(), out.errors());
      for (int i = 0; i < ROWS; i++) {
        assertEquals(Integer.toString(i), out.value(i, 0));
      }
    }
  }

  @Test
  void anErrorInALaterPieceCountsTheRowsOfTheBatch() {
    List<List<String>> rows = new ArrayList<>(numbers(ROWS));
    rows.set(Piece.VALUES - 1, List.of("too long"));
    rows.set(Piece.VALUES, List.of("a\0"));
    rows.set(2 * Piece.VALUES + 1, List.of("too long"));
    try (MaskingService service = limited(OnError.UNSAID)) {
      MaskedRows out = service.mask(rows);
      assertEquals(
          List.of(Piece.VALUES - 1, Piece.VALUES, 2 * Piece.VALUES + 1),
          out.errors().stream().map(FieldError::row).toList());
      FieldError last = out.error(2 * Piece.VALUES + 1, 0).orElseThrow();
      assertEquals(TOO_LONG, last.code());
      assertTrue(last.toString().startsWith("row 16386, column \"c\": 7502"), last.toString());
      assertEquals(Integer.toString(Piece.VALUES + 1), out.value(Piece.VALUES + 1, 0));
    }
  }

  @Test
  void anErrorThatStopsALaterPieceStopsTheBatchAndLeavesNoValue() {
    List<List<String>> rows = new ArrayList<>(numbers(ROWS));
    rows.set(ROWS - 1, List.of("too long"));
    try (MaskingService service = limited(OnError.stop())) {
      VELKException failure = assertThrows(VELKException.class, () -> service.mask(rows));
      assertEquals(TOO_LONG, failure.code());
      assertEquals(VELKException.Kind.VALUE, failure.kind());
      assertTrue(
          failure.getMessage().startsWith("row " + ROWS + ", column \"c\": 7502"),
          failure.getMessage());
      // The rows of the pieces before, too, which are more than the last one had.
      assertEquals(Piece.VALUES, service.pool().rowSet().rows.length);
      for (Row row : service.pool().rowSet().rows) {
        for (Field field : row.fields) {
          assertNull(field.source);
        }
      }
      assertEquals("fine", service.mask(rows("fine")).value(0, 0));
    }
  }

  @Test
  void aMaskingStringsOwnChoiceToStopCountsTheRowsOfTheBatch() {
    List<List<String>> rows = new ArrayList<>(numbers(ROWS));
    rows.set(ROWS - 2, List.of("too long"));
    rows.set(ROWS - 1, List.of("a\0"));
    try (MaskingService service =
        engine.parse("service=p on_error=stop c=keep c.type=varchar(5)").open()) {
      VELKException failure = assertThrows(VELKException.class, () -> service.mask(rows));
      assertEquals(TOO_LONG, failure.code());
      assertTrue(
          failure.getMessage().startsWith("row " + (ROWS - 1) + ", column \"c\": 7502"),
          failure.getMessage());
    }
  }

  @Test
  void aRowThatIsRefusedKeepsTheWholeBatchFromBeingSent(@TempDir Path folder) throws Exception {
    engine.close();
    Path file = folder.resolve("trace.json");
    engine = Engine.open(new Trace("entry", file));
    List<List<String>> rows = new ArrayList<>(numbers(ROWS));
    rows.set(ROWS - 1, List.of("a", "b"));
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      String refusal =
          assertThrows(IllegalArgumentException.class, () -> service.mask(rows)).getMessage();
      assertEquals("row " + ROWS + " has 2 values, the service has 1 columns", refusal);
    }
    engine.close();
    assertEquals(0, TraceFile.read(file).count("Field.toC"));
  }

  @Test
  void aServiceKeepsNoMoreThanAPiece() {
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      service.mask(numbers(ROWS));
      // 3 rows in the last piece, those of a whole one kept.
      assertEquals(3, service.pool().rowSet().rows.length);
      assertTrue(service.pool().bufferBytes() <= Piece.VALUES * 12L);
    }
  }

  @Test
  void theBuffersOfALargeBatchAreGivenBack() {
    String large = "x".repeat(Piece.BYTES / 4);
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      service.mask(rows("small"));
      Row[] kept = service.pool().rowSet().rows;
      List<List<String>> rows = new ArrayList<>();
      for (int i = 0; i < 50; i++) {
        rows.addAll(rows(large));
      }
      MaskedRows out = service.mask(rows);
      assertEquals(large, out.value(49, 0));
      assertTrue(service.pool().bufferBytes() <= RowPool.MOST_KEPT);
      service.mask(rows("y".repeat(RowPool.MOST_KEPT)));
      assertEquals(0, service.pool().bufferBytes());
      assertEquals(0, service.pool().rowSet().rows.length);
      assertEquals(0, PoolTest.pointer(kept[0]));
      assertEquals("again", service.mask(rows("again")).value(0, 0));
    }
  }

  @Test
  void buffersThatGrewInDifferentBatchesAreCountedTogether() {
    String megabyte = "x".repeat(1 << 19);
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      for (int i = 0; i < 20; i++) {
        List<List<String>> rows = new ArrayList<>(numbers(20));
        rows.set(i, List.of(megabyte));
        assertEquals(megabyte, service.mask(rows).value(i, 0));
        assertTrue(service.pool().bufferBytes() <= RowPool.MOST_KEPT);
      }
    }
  }

  @Test
  void shortValuesInAColumnOfAMillionTakeNoMoreThanTheyNeed() {
    String[] letters = "x".repeat(200).split("");
    for (String string :
        List.of("service=s c=keep", "service=s key=env:MASK_KEY c=fixed('four')")) {
      try (MaskingService built =
              string.endsWith("keep")
                  ? column(engine, Type.varchar(1_000_000), Rule.keep())
                  : column(engine, Type.varchar(1_000_000), Rule.fixed("four"));
          MaskingService parsed = engine.parse(string + " c.type=varchar(1000000)").open()) {
        for (MaskingService service : List.of(built, parsed)) {
          assertEquals(200, service.mask(rows(letters)).rowCount());
          assertEquals(
              200 * (string.endsWith("keep") ? 4 : 18), service.pool().bufferBytes(), string);
        }
      }
    }
  }

  @Test
  void aValueLongerThanAColumnOfAMillionIsAnError() {
    try (MaskingService service = column(engine, Type.varchar(1000), Rule.keep())) {
      for (String character : List.of("x", "😀")) {
        String longest = character.repeat(1000);
        MaskedRows out = service.mask(rows(longest, longest + "x", longest.repeat(5)));
        assertEquals(longest, out.value(0, 0));
        assertEquals(TOO_LONG, out.error(1, 0).orElseThrow().code());
        assertEquals(TOO_LONG, out.error(2, 0).orElseThrow().code());
      }
    }
  }

  @Test
  void aReplacementFitsIntoAColumnWithALargeLimit() {
    String replacement = "a replacement";
    try (MaskingService built =
            engine
                .service("s")
                .onError(OnError.fixed(replacement))
                .column("c", Type.varchar(300), Rule.keep())
                .open();
        MaskingService parsed =
            engine
                .parse("service=s on_error=fixed('a replacement') c=keep c.type=varchar(300)")
                .open()) {
      for (MaskingService service : List.of(built, parsed)) {
        MaskedRows out = service.mask(rows("x", "x".repeat(301), "\0"));
        assertEquals("x", out.value(0, 0));
        assertEquals(replacement, out.value(1, 0));
        assertEquals(replacement, out.value(2, 0));
        assertEquals(2, out.errors().size());
      }
    }
  }

  /** Each look at a row by its number would go through the list from its beginning. */
  @Test
  void aLinkedListIsGoneThroughAndNeverReadByNumber() {
    LinkedList<List<String>> rows = new UnnumberedList<>();
    for (int i = 0; i < 20_000; i++) {
      rows.add(List.of("x"));
    }
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      assertEquals(20_000, service.mask(rows).rowCount());
      LinkedList<String> wide = new UnnumberedList<>();
      wide.add("x");
      assertEquals("x", service.mask(List.of(wide)).value(0, 0));
    }
  }

  private static final class UnnumberedList<T> extends LinkedList<T> {
    private static final long serialVersionUID = 1L;

    @Override
    public T get(int index) {
      throw new AssertionError("read by number");
    }
  }

  @Test
  void oneRowIsMasked() {
    try (MaskingService service = limited(OnError.UNSAID)) {
      assertEquals(List.of("a"), service.maskRow(List.of("a")).values());
      MaskedRow bad = service.maskRow(List.of("too long"));
      assertTrue(bad.hasError());
      assertEquals(TOO_LONG, bad.error(0).orElseThrow().code());
      assertEquals(bad.errors(), List.of(bad.error(0).orElseThrow()));
      assertThrows(VELKException.class, () -> bad.value("c"));
      assertThrows(VELKException.class, bad::values);
    }
  }

  @Test
  void anyIterableIsABatch() {
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      Iterable<List<String>> rows = () -> Stream.of(List.of("a"), List.of("b")).iterator();
      MaskedRows out = service.mask(rows);
      assertEquals(List.of("a", "b"), List.of(out.value(0, 0), out.value(1, 0)));
      Iterable<List<String>> none = List.of();
      assertThrows(IllegalArgumentException.class, () -> service.mask(none));
    }
  }

  @Test
  void aStreamIsMaskedAsItIsAskedFor() {
    AtomicInteger asked = new AtomicInteger();
    AtomicBoolean closed = new AtomicBoolean();
    Stream<List<String>> rows =
        Stream.generate(() -> List.of(Integer.toString(asked.getAndIncrement())))
            .onClose(() -> closed.set(true));
    try (MaskingService service = column(engine, Type.integer(), Rule.keep());
        Stream<MaskedRow> masked = service.mask(rows)) {
      List<String> first = masked.limit(ROWS).map(row -> row.value(0)).toList();
      assertEquals(numbers(ROWS).stream().map(row -> row.get(0)).toList(), first);
      // The rows of three pieces, and the one that has no room in the third.
      assertEquals(3 * Piece.VALUES + 1, asked.get());
    }
    assertTrue(closed.get());
  }

  @Test
  void anEmptyStreamGivesAnEmptyOne() {
    try (MaskingService service = column(engine, Type.text(), Rule.keep())) {
      assertEquals(0, service.mask(Stream.<List<String>>of()).count());
    }
  }

  @Test
  void errorsOfAStreamCountItsRows() {
    List<List<String>> rows = new ArrayList<>(numbers(ROWS));
    rows.set(Piece.VALUES, List.of("too long"));
    rows.set(ROWS - 1, List.of("a\0"));
    try (MaskingService service = limited(OnError.UNSAID)) {
      List<FieldError> errors =
          service.mask(rows.stream()).flatMap(row -> row.errors().stream()).toList();
      assertEquals(List.of(Piece.VALUES, ROWS - 1), errors.stream().map(FieldError::row).toList());
      assertEquals(FieldError.ZERO_CHARACTER, errors.get(1).code());
    }
  }

  @Test
  void aRowOfAnotherWidthInAStreamIsRefusedByItsNumber() {
    List<List<String>> rows = new ArrayList<>(numbers(Piece.VALUES));
    rows.add(List.of());
    try (MaskingService service = limited(OnError.UNSAID)) {
      Stream<MaskedRow> masked = service.mask(rows.stream());
      String refusal =
          assertThrows(IllegalArgumentException.class, () -> masked.forEach(row -> {}))
              .getMessage();
      assertEquals("row 8193 has 0 values, the service has 1 columns", refusal);
    }
  }

  @Test
  void nothingComesOutBehindAPieceOfAStreamThatFailed() {
    List<List<String>> rows = new ArrayList<>(numbers(3 * Piece.VALUES));
    rows.set(Piece.VALUES + 7, List.of("too long"));
    try (MaskingService service = limited(OnError.stop())) {
      Iterator<MaskedRow> masked = service.mask(rows.stream()).iterator();
      for (int i = 0; i < Piece.VALUES; i++) {
        assertEquals(Integer.toString(i), masked.next().value(0));
      }
      String stop = assertThrows(VELKException.class, masked::hasNext).getMessage();
      assertTrue(stop.startsWith("row " + (Piece.VALUES + 8) + ", column \"c\""), stop);
      assertThrows(IllegalStateException.class, masked::hasNext);
    }
  }

  @Test
  void aStreamWhoseServiceWasClosedFails() {
    MaskingService service = limited(OnError.UNSAID);
    Iterator<MaskedRow> masked = service.mask(numbers(ROWS).stream()).iterator();
    assertEquals("0", masked.next().value(0));
    service.close();
    IntStream.range(1, Piece.VALUES).forEach(i -> masked.next());
    assertThrows(IllegalStateException.class, masked::next);
  }

  @Test
  void aStreamThatIsReadToItsEndHasNoMore() {
    try (MaskingService service = limited(OnError.UNSAID)) {
      Iterator<MaskedRow> masked = service.mask(Stream.of(List.of("a"))).iterator();
      assertEquals("a", masked.next().value(0));
      assertThrows(NoSuchElementException.class, masked::next);
    }
  }

  @Test
  void aServiceTellsItsIdAndItsColumns() {
    List<ColumnRule> columns =
        List.of(
            new ColumnRule("a", Type.varchar(300), Rule.hash(12), true),
            new ColumnRule("b", Type.text(), Rule.email("example.com"), false));
    ServiceBuilder builder = engine.service("two").key(KEY);
    columns.forEach(builder::column);
    try (MaskingService built = builder.open();
        MaskingService parsed =
            engine
                .parse(
                    "service=two key=env:MASK_KEY a=hash(length=12) a.type=varchar(300)"
                        + " a.unique=true b=email(domain='example.com')")
                .open()) {
      for (Masker service : List.of(built, parsed)) {
        assertEquals("two", service.id());
        assertEquals(columns, service.columns());
        assertThrows(UnsupportedOperationException.class, () -> service.columns().clear());
      }
    }
  }
}
