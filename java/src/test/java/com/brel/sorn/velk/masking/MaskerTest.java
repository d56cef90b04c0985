package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.VELKException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;

/** What stands in for a service where there is no engine. */
class MaskerTest {
  private static final List<String> NAMES = List.of("a", "b");
  private static final FieldError ERROR = new FieldError(1, 0, "a", 7502, "7502 too long:\nso");

  /** Puts an x in the place of every value. */
  private static final class StandIn implements Masker {
    @Override
    public String id() {
      return "standin";
    }

    @Override
    public List<ColumnRule> columns() {
      return List.of(new ColumnRule("a", Type.text(), Rule.fixed("x"), false));
    }

    @Override
    public MaskedRows mask(Iterable<? extends List<? extends String>> rows) {
      List<List<String>> masked = new ArrayList<>();
      rows.forEach(row -> masked.add(List.of("x")));
      return MaskedRows.of(List.of("a"), masked);
    }

    @Override
    public void close() {}
  }

  @Test
  void aStandInSaysHowABatchIsMaskedAndMasksRowsAndStreams() {
    try (Masker masker = new StandIn()) {
      assertEquals(2, masker.mask(List.of(List.of("1"), List.of("2"))).rowCount());
      assertEquals("x", masker.maskRow(List.of("1")).value("a"));
      Stream<List<String>> rows = Stream.of(List.of("1"), List.of("2"));
      assertEquals(List.of("x", "x"), masker.mask(rows).map(row -> row.value(0)).toList());
      assertThrows(NullPointerException.class, () -> masker.maskRow(null));
    }
  }

  @Test
  void rowsAreMadeByHandWithTheirErrors() {
    List<List<String>> rows = List.of(Arrays.asList("x", null), List.of("", "y"));
    MaskedRows out = MaskedRows.of(NAMES, rows, ERROR);
    assertEquals(2, out.rowCount());
    assertEquals(Arrays.asList("x", null), out.row(0));
    assertNull(out.value(0, "b"));
    assertEquals(List.of(ERROR), out.errors());
    assertFalse(out.hasError(0));
    assertTrue(out.hasError(1));
    assertEquals(7502, assertThrows(VELKException.class, () -> out.value(1, 0)).code());
    assertEquals("y", out.value(1, 1));
    assertEquals(List.of(false, true), out.stream().map(MaskedRow::hasError).toList());
  }

  @Test
  void rowsThatDoNotFitTheirColumnsAreRefused() {
    List<List<String>> narrow = List.of(List.of("x"));
    assertThrows(IllegalArgumentException.class, () -> MaskedRows.of(NAMES, narrow));
    List<List<String>> one = List.of(List.of("x", "y"));
    assertThrows(IndexOutOfBoundsException.class, () -> MaskedRows.of(NAMES, one, ERROR));
  }

  @Test
  void maskedRowsNeverChange() {
    List<String> names = new ArrayList<>(NAMES);
    List<String> row = new ArrayList<>(List.of("x", "y"));
    FieldError[] errors = {new FieldError(0, 1, "b", 7502, "too long")};
    MaskedRows out = MaskedRows.of(names, List.of(row), errors);
    names.set(0, "z");
    row.set(0, "z");
    errors[0] = null;
    assertEquals(NAMES, out.columnNames());
    assertEquals("x", out.value(0, 0));
    assertEquals(1, out.errors().size());
    assertThrows(UnsupportedOperationException.class, () -> out.columnNames().set(0, "z"));
    assertThrows(UnsupportedOperationException.class, () -> out.errors().clear());
    MaskedRow first = out.get(0);
    assertThrows(UnsupportedOperationException.class, () -> first.errors().clear());
    assertThrows(UnsupportedOperationException.class, () -> first.columnNames().clear());
    assertThrows(IndexOutOfBoundsException.class, () -> first.value(2));
    assertThrows(IndexOutOfBoundsException.class, () -> first.error(-1));
    MaskedRows whole = MaskedRows.of(NAMES, List.of(List.of("x", "y")));
    assertThrows(UnsupportedOperationException.class, () -> whole.row(0).set(0, "z"));
    assertEquals("x", whole.value(0, 0));
  }

  @Test
  void theMaskedRowsOfAServiceNeverChange() {
    try (Engine engine = Engine.open();
        MaskingService service = Columns.column(engine, Type.varchar(3), Rule.keep())) {
      List<List<String>> rows = new ArrayList<>(Columns.rows("one", "three"));
      MaskedRows out = service.mask(rows);
      rows.set(0, List.of("two"));
      assertEquals("one", out.value(0, 0));
      assertThrows(UnsupportedOperationException.class, () -> out.row(0).set(0, "two"));
      assertThrows(UnsupportedOperationException.class, () -> out.errors().clear());
      assertThrows(UnsupportedOperationException.class, () -> out.columnNames().clear());
    }
  }

  @Test
  void anErrorIsToldInOneLine() {
    assertEquals("row 2, column \"a\": 7502 too long", ERROR.summary());
    FieldError own = new FieldError(0, 0, "a", FieldError.ROW, "the whole row");
    assertEquals("row 1, column \"a\": -103 the whole row", own.summary());
    FieldError named = new FieldError(0, 0, "a\nb", 7502, "7502 too long");
    assertEquals("row 1, column \"a\\nb\": 7502 too long", named.summary());
  }
}
