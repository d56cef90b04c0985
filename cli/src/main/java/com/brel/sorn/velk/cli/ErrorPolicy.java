package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.OnError;
import java.util.Comparator;

/**
 * What becomes of values that cannot be masked.
 *
 * @param way what takes the place of one
 * @param text the text of {@link Way#FIXED}
 * @param most how many of them a run may have
 */
record ErrorPolicy(Way way, String text, long most) {
  /** What takes the place of a value. */
  enum Way {
    NULL,
    FIXED,
    STOP
  }

  /** An error by its row, counted from 1, and its column. */
  private record Place(long row, String column, int code, String text) {
    @Override
    public String toString() {
      return "row "
          + row
          + ", column "
          + Show.quoted(column)
          + ": error "
          + code
          + ": "
          + Show.message(code, text);
    }
  }

  /** The masking string's own choice; where it makes none, a value becomes null. */
  static ErrorPolicy of(OnError choice, long most) {
    if (choice.way() == OnError.Way.FAILURE) {
      return new ErrorPolicy(Way.STOP, null, most);
    }
    String text = choice.replacement();
    return new ErrorPolicy(text == null ? Way.NULL : Way.FIXED, text, most);
  }

  /** What stands in the place of a value in the output; an error that ends the run has none. */
  OnError replacement() {
    if (way != Way.FIXED) {
      return OnError.nullValue();
    }
    try {
      return OnError.fixed(text);
    } catch (IllegalArgumentException e) {
      throw Failure.usage("--error-text: " + e.getMessage());
    }
  }

  /** Ends a run that has an error where none may be, or too many of them. */
  void check(CsvReport report) {
    long errors = report.errorCount();
    if (errors > 0 && way == Way.STOP) {
      throw Failure.inputOutput(first(report));
    }
    if (errors > most) {
      throw Failure.inputOutput(
          "more than "
              + Show.counted(most, "value")
              + " could not be masked; the first: "
              + first(report));
    }
  }

  private static String first(CsvReport report) {
    return report.columns().stream()
        .flatMap(
            column ->
                column.errors().entrySet().stream()
                    .map(error -> place(column.rule().name(), error.getKey(), error.getValue())))
        .min(Comparator.comparingLong(Place::row))
        .orElseThrow()
        .toString();
  }

  private static Place place(String column, int code, CsvReport.Errors errors) {
    return new Place(errors.firstRows().get(0) + 1, column, code, errors.text());
  }
}
