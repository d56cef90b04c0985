package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.masking.MaskingStringReader.Argument;
import com.brel.sorn.velk.masking.MaskingStringReader.Place;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import org.jspecify.annotations.Nullable;

/**
 * Which entry of a masking string each column of a table is masked by: that of its name or its
 * position, else the one of the pattern with the most characters beside its stars.
 */
final class TableRules {
  private static final int NONE = TableColumns.NONE;
  private static final String OTHER_COLUMN = "by";

  private final List<ColumnRule> entries;
  private final TableColumns columns;
  private final String maskingString;
  private final List<ColumnPattern> patterns = new ArrayList<>();

  /** For each column its entry. */
  private final int[] entryOf;

  private final List<String> findings = new ArrayList<>();
  private @Nullable Map<String, Place> places;

  private TableRules(List<ColumnRule> entries, TableColumns columns, String maskingString) {
    this.entries = entries;
    this.columns = columns;
    this.maskingString = maskingString;
    this.entryOf = new int[columns.size()];
    Arrays.fill(entryOf, NONE);
  }

  /**
   * Matches the entries of a masking string with the columns of a table.
   *
   * @return for each column its entry, counted from 0
   * @throws TableException if there is a column without an entry, or with two that are equally
   *     exact, or an entry without a column
   */
  static int[] match(List<ColumnRule> entries, TableColumns columns, String maskingString) {
    TableRules rules = new TableRules(entries, columns, maskingString);
    for (int entry = 0; entry < entries.size(); entry++) {
      rules.take(entry);
    }
    rules.matchPatterns();
    rules.requireRules();
    rules.requireOtherColumns();
    if (!rules.findings.isEmpty()) {
      throw new TableException(rules.findings);
    }
    return rules.entryOf;
  }

  private void take(int entry) {
    String name = entries.get(entry).name();
    if (ColumnPattern.isPattern(name)) {
      patterns.add(ColumnPattern.of(entry, name));
      return;
    }
    boolean isPosition = ColumnPattern.isPosition(name);
    int column = isPosition ? columns.at(name) : columns.named(name);
    if (column != NONE) {
      take(column, entry);
    } else if (columns.isRepeated(name)) {
      find("there is a rule for column " + told(entry) + ", and several have that name");
    } else {
      String reason = isPosition ? "the table ends at " + last() : "no such column";
      find("there is a rule for column " + told(entry) + ", and " + reason);
    }
  }

  private String last() {
    return TableColumns.position(columns.size() - 1);
  }

  private void take(int column, int entry) {
    if (entryOf[column] != NONE) {
      findSeveral(column, entry);
    }
    entryOf[column] = entry;
  }

  private void findSeveral(int column, int entry) {
    find(
        "there are two rules for column "
            + shown(columns.label(column))
            + " and none is more exact: "
            + told(entryOf[column])
            + " and "
            + told(entry));
  }

  private void matchPatterns() {
    ColumnPatterns ordered = new ColumnPatterns(patterns);
    boolean[] matched = new boolean[ordered.size()];
    for (int column = 0; column < entryOf.length; column++) {
      if (columns.hasName(column)) {
        matchPatterns(column, ordered, matched);
      }
    }
    for (int i = 0; i < matched.length; i++) {
      if (!matched[i]) {
        find("there is a rule for columns " + told(ordered.get(i).entry()) + ", and no such one");
      }
    }
  }

  private void matchPatterns(int column, ColumnPatterns ordered, boolean[] matched) {
    // An entry that says the very column is more exact than any pattern.
    int literals = entryOf[column] == NONE ? 0 : Integer.MAX_VALUE;
    for (int i : ordered.matching(columns.name(column))) {
      ColumnPattern pattern = ordered.get(i);
      matched[i] = true;
      if (pattern.literals() >= literals) {
        literals = pattern.literals();
        take(column, pattern.entry());
      }
    }
  }

  private void requireRules() {
    for (int column = 0; column < entryOf.length; column++) {
      if (entryOf[column] == NONE && columns.hasName(column)) {
        find("there is no rule for column " + shown(columns.name(column)));
      } else if (entryOf[column] == NONE) {
        String position = TableColumns.position(column);
        find(
            "column %d %s, and there is no rule for its position: say %s = ..."
                .formatted(column + 1, columns.flaw(column), position));
      }
    }
  }

  /** A rule may go by the values of another column, which must be one of the table. */
  private void requireOtherColumns() {
    for (int entry = 0; entry < entries.size(); entry++) {
      String arguments = entries.get(entry).rule().arguments();
      for (Argument argument : MaskingStringReader.arguments(arguments)) {
        if (argument.name().equals(OTHER_COLUMN) && find(arguments, argument, columns) == NONE) {
          String text = arguments.substring(argument.start(), argument.end());
          boolean several = columns.isRepeated(Text.unquote(text));
          String reason = several ? "several columns have that name" : "there is no such column";
          find("the rule for column " + told(entry) + " goes by " + text + ", and " + reason);
        }
      }
    }
  }

  private static int find(String arguments, Argument argument, TableColumns columns) {
    String text = arguments.substring(argument.start(), argument.end());
    return ColumnPattern.isPosition(text) ? columns.at(text) : columns.named(Text.unquote(text));
  }

  /** The arguments of a rule with the engine's name of the column that the rule goes by. */
  static String forEngine(String arguments, TableColumns columns) {
    for (Argument argument : MaskingStringReader.arguments(arguments)) {
      if (argument.name().equals(OTHER_COLUMN)) {
        String name = columns.engineNames().get(find(arguments, argument, columns));
        String text = arguments.substring(argument.start(), argument.end());
        return Text.unquote(text).equals(name)
            ? arguments
            : arguments.substring(0, argument.start())
                + Text.quote(name)
                + arguments.substring(argument.end());
      }
    }
    return arguments;
  }

  private void find(String finding) {
    findings.add(finding);
  }

  /** An entry as it is written, with its place where that is known. */
  private String told(int entry) {
    String name = entries.get(entry).name();
    if (places == null) {
      places = MaskingStringReader.places(maskingString);
    }
    Place place = places.get(name);
    return shown(name) + (place == null ? "" : " (" + place + ")");
  }

  private static String shown(String name) {
    return ColumnPattern.standsForColumns(name) ? name : Text.escape(name);
  }
}
