package com.brel.sorn.velk.cli.database;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The rules of a copy: a section for each table, headed by its name in brackets, with a masking
 * string below it; {@code [schema.table] = keep} is a table that goes over as it is. What stands in
 * front of the first section is part of each one's masking string.
 */
public final class RulesFile {
  private static final String PART = "([^\\s.\"\\]\\[]+|\"(?:[^\"]|\"\")+\")";
  private static final Pattern HEADING =
      Pattern.compile(
          "\\s*\\[\\s*" + PART + "\\s*\\.\\s*" + PART + "\\s*]\\s*(=\\s*keep)?\\s*(#.*)?");

  /**
   * A section.
   *
   * @param line the line of its heading, counted from 1
   * @param keep whether the table goes over as it is
   * @param maskingString the masking string, in which everything stands in the line that it has in
   *     the file
   */
  record Section(int line, boolean keep, String maskingString) {}

  private final Map<TableName, Section> sections = new LinkedHashMap<>();
  private final List<String> findings = new ArrayList<>();
  private final List<String> lines;
  private final List<Integer> headings = new ArrayList<>();

  /**
   * Reads rules.
   *
   * @param text the text of the file
   */
  public RulesFile(String text) {
    lines = List.of(text.replace("\r\n", " \n").split("\r|\n", -1));
    for (int i = 0; i < lines.size(); i++) {
      if (lines.get(i).stripLeading().startsWith("[")) {
        headings.add(i);
      }
    }
    for (int i = 0; i < headings.size(); i++) {
      int end = i + 1 < headings.size() ? headings.get(i + 1) : lines.size();
      add(headings.get(i), end);
    }
    if (headings.isEmpty()) {
      findings.add(
          "the rules have no section: a table's is headed by its name, such as [public.t]");
    }
  }

  private void add(int heading, int end) {
    Matcher matcher = HEADING.matcher(lines.get(heading));
    String place = "line " + (heading + 1) + ": ";
    if (!matcher.matches()) {
      findings.add(place + "no heading of a section: [schema.table], or [schema.table] = keep");
      return;
    }
    TableName table = new TableName(unquoted(matcher.group(1)), unquoted(matcher.group(2)));
    boolean keep = matcher.group(3) != null;
    List<String> body = lines.subList(heading + 1, end);
    if (keep && body.stream().anyMatch(RulesFile::saysSomething)) {
      findings.add(place + "table " + table + " goes over as it is, and there are rules below it");
    }
    Section former =
        sections.putIfAbsent(table, new Section(heading + 1, keep, text(heading, end)));
    if (former != null) {
      findings.add(place + "table " + table + " has a section already, in line " + former.line());
    }
  }

  private static boolean saysSomething(String line) {
    return !line.isBlank() && !line.stripLeading().startsWith("#");
  }

  /** Lines of other sections are blank, so that places are those of the file, to the byte. */
  private String text(int heading, int end) {
    StringBuilder text = new StringBuilder();
    for (int i = 0; i < end; i++) {
      boolean belongs = i < headings.get(0) || i > heading;
      int bytes = lines.get(i).getBytes(StandardCharsets.UTF_8).length;
      text.append(belongs ? lines.get(i) : " ".repeat(bytes)).append('\n');
    }
    return text.toString();
  }

  private static String unquoted(String part) {
    return part.startsWith("\"")
        ? part.substring(1, part.length() - 1).replace("\"\"", "\"")
        : part;
  }

  /**
   * Gives the masking strings of the tables that do not go over as they are.
   *
   * @return one for each, in the order of the file
   */
  public List<String> maskingStrings() {
    return sections.values().stream()
        .filter(section -> !section.keep())
        .map(Section::maskingString)
        .toList();
  }

  /** The sections by their tables, in the order of the file. */
  Map<TableName, Section> sections() {
    return sections;
  }

  /** What is wrong with the file itself. */
  List<String> findings() {
    return findings;
  }
}
