package com.brel.sorn.velk.masking;

/** Which text can be handed to the engine: well-formed, without U+0000. */
final class Text {
  private Text() {}

  /** The code of what makes a value unfit to be sent, 0 where nothing does. */
  static int flaw(String value) {
    for (int i = 0; i < value.length(); i++) {
      char unit = value.charAt(i);
      if (unit == 0) {
        return FieldError.ZERO_CHARACTER;
      }
      if (Character.isSurrogate(unit)) {
        if (!startsPair(value, i)) {
          return FieldError.LONE_SURROGATE;
        }
        i++;
      }
    }
    return 0;
  }

  static String describe(int flaw) {
    return flaw == FieldError.ZERO_CHARACTER
        ? "the value contains U+0000"
        : "the value contains a surrogate without its other half";
  }

  /** For a text of the service's description: to be fit, and not to be empty. */
  static String require(String what, String text) {
    if (text.isEmpty()) {
      throw new IllegalArgumentException("the " + what + " is empty");
    }
    return requireFit(what, text);
  }

  static String requireFit(String what, String text) {
    if (flaw(text) != 0) {
      throw new IllegalArgumentException(
          "the " + what + " contains U+0000 or half a surrogate pair");
    }
    return text;
  }

  /** The text as a quoted argument. */
  static String quote(String text) {
    return "'" + text.replace("'", "''") + "'";
  }

  private static boolean startsPair(String value, int index) {
    return Character.isHighSurrogate(value.charAt(index))
        && index + 1 < value.length()
        && Character.isLowSurrogate(value.charAt(index + 1));
  }
}
