package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvReader;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Pattern;

/** Tells a first row that is one of the table's rows from one that names its columns. */
final class FirstRow {
  /** Forms of values that no name of a column has. */
  private static final List<Pattern> FORMS =
      List.of(
          Pattern.compile("\\d{4}-\\d\\d-\\d\\d([T ].*)?|\\d{1,4}([./-])\\d{1,2}\\2\\d{1,4}"),
          Pattern.compile("(?=.*[0-9])[+-]?[0-9(.][0-9 .,'()/-]*(?:[eE][+-]?[0-9]+)?%?"),
          Pattern.compile("[^@\\s]+@[^@\\s]+"));

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
  private static boolean hasForm(String value, Pattern form) {
    return form.matcher(value.strip()).matches();
  }
}
