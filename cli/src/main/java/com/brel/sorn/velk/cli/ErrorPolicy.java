package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.OnError;

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

  /** The masking string's own choice; where it makes none, a value becomes null. */
  static ErrorPolicy of(OnError choice, long most) {
    if (choice.way() == OnError.Way.FAILURE) {
      return new ErrorPolicy(Way.STOP, null, most);
    }
    String text = choice.replacement();
    return new ErrorPolicy(text == null ? Way.NULL : Way.FIXED, text, most);
  }

  String replacement() {
    return way == Way.FIXED ? text : null;
  }

  /** Ends a run that has too many errors. */
  void check(long errors) {
    if (errors > most) {
      throw Failure.inputOutput(
          "more than " + Show.counted(most, "value") + " could not be masked");
    }
  }
}
