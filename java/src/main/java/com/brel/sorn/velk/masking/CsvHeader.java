package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.CsvException.Fault;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.IntStream;

/** The names of a table's columns: which column of the service each of them is. */
final class CsvHeader {
  private CsvHeader() {}

  /** For each column of the table that of the service. */
  static int[] match(List<String> names, MaskingService service) throws CsvException {
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
