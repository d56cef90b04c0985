package com.brel.sorn.velk.masking;

import java.util.Objects;
import java.util.regex.MatchResult;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Which text can be handed to the engine: well-formed, without U+0000. */
final class Text {
  private static final Pattern ESCAPE = Pattern.compile("\\\\(?:u\\{([0-9A-Fa-f]+)}|(.))");

  /** What needs no quotes; less than the engine allows. */
  private static final Pattern BARE = Pattern.compile("[A-Za-z0-9_./:-]+");

  private static final String QUOTES = "'\"";

  private Text() {}

  /** The code of what makes a value unfit to be sent, 0 where nothing does. */
  static int flaw(String value) {
    int at = flawPosition(value);
    if (at < 0) {
      return 0;
    }
    return value.charAt(at) == 0 ? FieldError.ZERO_CHARACTER : FieldError.LONE_SURROGATE;
  }

  /** The first unit that makes a value unfit to be sent, -1 where none does. */
  private static int flawPosition(String value) {
    for (int i = 0; i < value.length(); i++) {
      char unit = value.charAt(i);
      if (unit == 0) {
        return i;
      }
      if (Character.isSurrogate(unit)) {
        if (!startsPair(value, i)) {
          return i;
        }
        i++;
      }
    }
    return -1;
  }

  static String describe(int flaw) {
    return switch (flaw) {
      case FieldError.ZERO_CHARACTER -> "the value contains U+0000";
      case FieldError.NOT_UTF8 -> "the value is not UTF-8";
      default -> "the value contains a surrogate without its other half";
    };
  }

  /** For a text of the service's description: to be fit, and not to be empty. */
  static String require(String what, String text) {
    if (Objects.requireNonNull(text, what).isEmpty()) {
      throw new IllegalArgumentException("the " + what + " is empty");
    }
    return requireFit(what, text);
  }

  static String requireFit(String what, String text) {
    Objects.requireNonNull(text, what);
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

  /** The text as a value, quoted where it has to be. */
  static String value(String text) {
    return BARE.matcher(text).matches() ? text : quote(text);
  }

  /** The text between double quotes, in one line. */
  static String escape(String text) {
    StringBuilder escaped = new StringBuilder("\"");
    text.codePoints().forEach(codePoint -> escaped.append(escape(codePoint)));
    return escaped.append('"').toString();
  }

  private static String escape(int codePoint) {
    return switch (codePoint) {
      case '"' -> "\\\"";
      case '\\' -> "\\\\";
      case '\n' -> "\\n";
      case '\r' -> "\\r";
      case '\t' -> "\\t";
      default ->
          Character.isISOControl(codePoint)
              ? "\\u{" + Integer.toHexString(codePoint) + "}"
              : Character.toString(codePoint);
    };
  }

  /** Whether a text is one argument as {@link #unquote} reads it: bare, or its quotes closed. */
  static boolean isArgument(String text) {
    boolean quoted = !text.isEmpty() && QUOTES.indexOf(text.charAt(0)) >= 0;
    int last = text.length() - 1;
    return quoted ? last > 0 && text.charAt(last) == text.charAt(0) : !text.isEmpty();
  }

  /** The text that an argument stands for, quoted with either quote or bare. */
  static String unquote(String argument) {
    if (argument.startsWith("'")) {
      return argument.substring(1, argument.length() - 1).replace("''", "'");
    }
    return argument.startsWith("\"")
        ? unescape(argument.substring(1, argument.length() - 1))
        : argument;
  }

  private static String unescape(String text) {
    return ESCAPE.matcher(text).replaceAll(match -> Matcher.quoteReplacement(escaped(match)));
  }

  private static String escaped(MatchResult escape) {
    if (escape.group(1) != null) {
      return Character.toString(Integer.parseInt(escape.group(1), 16));
    }
    char letter = escape.group(2).charAt(0);
    return switch (letter) {
      case 'n' -> "\n";
      case 'r' -> "\r";
      case 't' -> "\t";
      default -> String.valueOf(letter);
    };
  }

  /** Refuses a masking string that cannot be sent, and says where it cannot. */
  static void requireFitString(String maskingString) {
    if (maskingString.isEmpty()) {
      throw new IllegalArgumentException("line 1, column 1: the masking string is empty");
    }
    int at = flawPosition(maskingString);
    if (at < 0) {
      return;
    }
    // Lines end as the engine has them end.
    String[] lines = maskingString.substring(0, at).split("\r\n|\r|\n", -1);
    String last = lines[lines.length - 1];
    int column = 1 + last.codePointCount(0, last.length());
    String flaw = maskingString.charAt(at) == 0 ? "U+0000" : "half a surrogate pair";
    throw new IllegalArgumentException(
        "line " + lines.length + ", column " + column + " of the masking string contains " + flaw);
  }

  private static boolean startsPair(String value, int index) {
    return Character.isHighSurrogate(value.charAt(index))
        && index + 1 < value.length()
        && Character.isLowSurrogate(value.charAt(index + 1));
  }
}
