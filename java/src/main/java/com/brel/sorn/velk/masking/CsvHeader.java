package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.CsvException.Fault;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.IntStream;

/** The first row of a table: which column of the service each of its columns is. */
final class CsvHeader {
  private static final int QUOTES_DOUBLED = 2;
  private static final int ROW_INTS = 3;
  private static final int CELL_INTS = 3;

  private CsvHeader() {}

  /**
   * Reads the header that the first block starts with.
   *
   * @param bytes in front of the block
   * @return for each column of the table that of the service
   */
  static int[] match(CsvSlot slot, int format, MaskingService service, long bytes)
      throws CsvException {
    List<String> names = names(slot, format, cells(slot, format, bytes));
    List<String> header = service.header();
    if (header == null) {
      return match(names, service.running());
    }
    requireSame(names, header);
    return IntStream.range(0, names.size()).toArray();
  }

  /** Columns that were given their rules by their place must be those, and not moved. */
  private static void requireSame(List<String> names, List<String> header) throws CsvException {
    if (names.size() != header.size()) {
      throw CsvException.ofHeader(
          Fault.COLUMNS,
          "the header has %d columns, and rules were given to %d"
              .formatted(names.size(), header.size()));
    }
    for (int i = 0; i < names.size(); i++) {
      if (!names.get(i).equals(header.get(i))) {
        throw CsvException.ofHeader(
            Fault.COLUMNS,
            "column %d of the header is %s, and its rule was given to %s"
                .formatted(i + 1, quoted(names.get(i)), quoted(header.get(i))));
      }
    }
  }

  /** The first row's cells: three ints of the row, then three of each cell. */
  private static int[] cells(CsvSlot slot, int format, long bytes) throws CsvException {
    long[] state = new long[8];
    for (int room = 64; ; room *= 2) {
      int[] cells = new int[ROW_INTS + CELL_INTS * room];
      int read =
          NativeBulk.csvCells(format, slot.text.handle(), slot.from, slot.bytes, cells, state);
      if (read < 0) {
        throw Lane.failure(read, "csvCells");
      }
      if (read > 0) {
        return cells;
      }
      CsvFault fault = CsvFault.read(state, 2);
      if (fault.number() != 0) {
        throw fault.in(bytes, 0, 0);
      }
      if (state[0] >= slot.bytes) {
        throw CsvException.ofHeader(Fault.EMPTY, "the input is empty: it has no header");
      }
    }
  }

  private static List<String> names(CsvSlot slot, int format, int[] cells) {
    ByteBuffer text = slot.text.room(0);
    String quote = String.valueOf((char) (format >> 8 & 0xFF));
    List<String> names = new ArrayList<>();
    for (int i = 0; i < cells[2]; i++) {
      int cell = ROW_INTS + CELL_INTS * i;
      byte[] utf8 = new byte[cells[cell + 1]];
      text.get(slot.from + cells[cell], utf8);
      String name = new String(utf8, StandardCharsets.UTF_8);
      boolean doubled = (cells[cell + 2] & QUOTES_DOUBLED) != 0;
      names.add(doubled ? name.replace(quote + quote, quote) : name);
    }
    return names;
  }

  private static int[] match(List<String> names, List<Column> columns) throws CsvException {
    requireSound(names);
    Map<String, Integer> places = new HashMap<>();
    for (int i = 0; i < columns.size(); i++) {
      places.put(columns.get(i).name(), i);
    }
    List<String> findings = new ArrayList<>();
    Set<String> there = new HashSet<>(names);
    for (Column column : columns) {
      if (!there.contains(column.name())) {
        findings.add(
            "there is a rule for column " + quoted(column.name()) + ", and no such column");
      }
    }
    for (String name : names) {
      if (!places.containsKey(name)) {
        findings.add("there is no rule for column " + quoted(name));
      }
    }
    if (!findings.isEmpty()) {
      throw CsvException.ofHeader(Fault.COLUMNS, String.join("\n", findings));
    }
    return names.stream().mapToInt(places::get).toArray();
  }

  private static void requireSound(List<String> names) throws CsvException {
    Set<String> known = new HashSet<>();
    for (int i = 0; i < names.size(); i++) {
      String name = names.get(i);
      String column = "column " + (i + 1) + " of the header has ";
      if (name.isEmpty()) {
        throw CsvException.ofHeader(Fault.HEADER, column + "no name");
      }
      if (name.indexOf('\0') >= 0) {
        throw CsvException.ofHeader(Fault.HEADER, column + "U+0000 in its name");
      }
      if (!known.add(name)) {
        throw CsvException.ofHeader(
            Fault.HEADER, "the header names column " + quoted(name) + " twice");
      }
    }
  }

  private static String quoted(String name) {
    return Text.escape(name);
  }
}
