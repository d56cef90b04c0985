package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvReader;
import java.util.Arrays;
import java.util.List;
import java.util.function.Predicate;
import java.util.regex.Pattern;

/** Tells a first row that is one of the table's rows from one that names its columns. */
final class FirstRow {
  private static final Pattern DATE =
      Pattern.compile("\\d{1,4}([./-])\\d{1,2}\\1\\d{1,4}(\\D.*)?", Pattern.DOTALL);

  private static final Pattern ADDRESS = Pattern.compile("\\S@\\S");

  /** Forms of values that no name of a column has. */
  private static final List<Predicate<String>> FORMS =
      List.of(DATE.asMatchPredicate(), FirstRow::isMostlyDigits, ADDRESS.asPredicate());

  /** A name that a letter begins may hold the digits of a year and a month, or so. */
  private static final int MOST_DIGITS_OF_A_NAME = 7;

  private static final Pattern OTHER_DELIMITERS = Pattern.compile("[,;|\t]");

  private FirstRow() {}

  /**
   * Whether numbers, dates or addresses stand in the first row where they stand in some row below
   * it, or where nothing below says what the column holds. One such column is enough: a name that
   * is taken for data costs an option, data that is taken for names goes out as it is.
   */
  static boolean isData(List<String> first, List<CsvReader.Row> rows) {
    if (first.size() == 1 && holdsData(first.get(0))) {
      return true;
    }
    for (int column = 0; column < first.size(); column++) {
      int place = column;
      List<String> below =
          rows.stream()
              .map(row -> row.values().get(place))
              .filter(value -> value != null && !value.isBlank())
              .toList();
      if (haveOneForm(first.get(column), below)) {
        return true;
      }
    }
    return false;
  }

  /** Whether the one value of a row is several of data, with another delimiter between them. */
  private static boolean holdsData(String row) {
    String[] values = OTHER_DELIMITERS.split(row);
    return values.length > 1
        && Arrays.stream(values)
            .anyMatch(value -> FORMS.stream().anyMatch(form -> hasForm(value, form)));
  }

  private static boolean haveOneForm(String first, List<String> below) {
    return FORMS.stream()
        .filter(form -> hasForm(first, form))
        .anyMatch(
            form -> below.isEmpty() || below.stream().anyMatch(value -> hasForm(value, form)));
  }

  /** Blanks around a value do not change what it is. */
  private static boolean hasForm(String value, Predicate<String> form) {
    return form.test(value.strip());
  }

  /** As numbers with their signs and units, dates, times and the numbers of accounts are. */
  private static boolean isMostlyDigits(String value) {
    long digits = value.codePoints().filter(Character::isDigit).count();
    long letters = value.codePoints().filter(Character::isLetter).count();
    return digits > letters && (digits > MOST_DIGITS_OF_A_NAME || !beginsLikeAName(value));
  }

  private static boolean beginsLikeAName(String value) {
    int first = value.codePointAt(0);
    return Character.isLetter(first) || first == '_';
  }
}
