package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.CsvReader;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;

/** The names of a CSV file's columns, all of them different. */
record Header(List<String> names) {

  static Header read(CsvReader reader) throws IOException {
    List<String> names = reader.names();
    Set<String> known = new HashSet<>();
    for (int i = 0; i < names.size(); i++) {
      String name = names.get(i);
      if (name.isEmpty()) {
        throw Failure.inputOutput("column " + (i + 1) + " of the header has no name");
      }
      if (name.indexOf('\0') >= 0) {
        throw Failure.inputOutput("column " + (i + 1) + " of the header has U+0000 in its name");
      }
      if (!known.add(name)) {
        throw Failure.inputOutput("the header names column " + Show.quoted(name) + " twice");
      }
    }
    return new Header(names);
  }

  /** What is wrong between a header and the rules: nothing may be passed through unseen. */
  List<String> findings(List<ColumnRule> rules) {
    List<String> findings = new ArrayList<>();
    Set<String> there = new HashSet<>(names);
    Set<String> ruled = new HashSet<>();
    for (ColumnRule rule : rules) {
      ruled.add(rule.name());
      if (!there.contains(rule.name())) {
        findings.add(
            "there is a rule for column " + Show.quoted(rule.name()) + ", and no such column");
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
    Map<String, Integer> places = new HashMap<>();
    for (int i = 0; i < rules.size(); i++) {
      places.put(rules.get(i).name(), i);
    }
    return names.stream().mapToInt(places::get).toArray();
  }

  /** The values of a row in the order of the rules. */
  static List<String> inOrder(int[] ruleOf, List<String> row) {
    String[] values = new String[ruleOf.length];
    for (int column = 0; column < ruleOf.length; column++) {
      values[ruleOf[column]] = row.get(column);
    }
    return Arrays.asList(values);
  }
}
