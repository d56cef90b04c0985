package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;

/** The first row of a CSV file: the names of its columns, all of them different. */
record Header(CsvRow row, List<String> names) {

  static Header read(CsvSource source) {
    CsvRow row = source.next();
    if (row == null) {
      throw Failure.inputOutput("the input is empty: it has no header");
    }
    Set<String> known = new HashSet<>();
    for (int i = 0; i < row.values().length; i++) {
      String name = row.values()[i];
      if (name == null || name.isEmpty()) {
        throw Failure.inputOutput("column " + (i + 1) + " of the header has no name");
      }
      if (name.indexOf('\0') >= 0) {
        throw Failure.inputOutput("column " + (i + 1) + " of the header has U+0000 in its name");
      }
      if (!known.add(name)) {
        throw Failure.inputOutput("the header names column " + Show.quoted(name) + " twice");
      }
    }
    return new Header(row, List.copyOf(Arrays.asList(row.values())));
  }

  /** Refuses a row of another width than the header's. */
  CsvRow check(CsvRow row) {
    if (row.values().length != names.size()) {
      throw Failure.inputOutput(
          "line "
              + row.line()
              + ": the row has "
              + Show.counted(row.values().length, "value")
              + ", the header "
              + names.size());
    }
    return row;
  }

  /** What is wrong between a header and the rules: nothing may be passed through unseen. */
  List<String> findings(List<ColumnRule> rules) {
    List<String> findings = new ArrayList<>();
    List<String> ruled = rules.stream().map(ColumnRule::name).toList();
    for (String name : ruled) {
      if (!names.contains(name)) {
        findings.add("there is a rule for column " + Show.quoted(name) + ", and no such column");
      }
    }
    for (String name : names) {
      if (!ruled.contains(name)) {
        findings.add("there is no rule for column " + Show.quoted(name));
      }
    }
    return findings;
  }

  /** For each column of the file, the number of its rule. Refuses what {@link #findings} finds. */
  int[] match(List<ColumnRule> rules) {
    List<String> findings = findings(rules);
    if (!findings.isEmpty()) {
      throw Failure.usage(String.join("\n", findings));
    }
    List<String> ruled = rules.stream().map(ColumnRule::name).toList();
    return names.stream().mapToInt(ruled::indexOf).toArray();
  }
}
