package com.brel.sorn.velk.masking;

import java.nio.file.Path;
import java.time.LocalDate;
import java.util.Objects;
import java.util.Set;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/**
 * How the values of a column are masked: a function of the engine and its arguments. A rule is a
 * value: two are equal if a masking string writes them alike.
 */
public final class Rule {
  private static final Pattern FUNCTION = Pattern.compile("[A-Za-z][A-Za-z0-9_]*");
  private static final int DEFAULT_HASH_LENGTH = 32;

  /** Of the longest result: that the engine has to be asked. */
  static final int UNKNOWN = -1;

  /** What describes a column beside its rule, and is therefore no function. */
  private static final Set<String> RESERVED = Set.of("type", "unique");

  /** Any other function may give two values the same result. */
  private static final Set<String> ONE_TO_ONE = Set.of("card", "ff1", "keep");

  private final String function;
  private final String arguments;
  private final int longestResult;

  private Rule(String function, String arguments, int longestResult) {
    this.function = function;
    this.arguments = arguments;
    this.longestResult = longestResult;
  }

  /**
   * Leaves the column as it is.
   *
   * @return the rule {@code keep}
   */
  public static Rule keep() {
    return new Rule("keep", "", 0);
  }

  /**
   * Makes every value null.
   *
   * @return the rule {@code null}
   */
  public static Rule nullValue() {
    return new Rule("null", "", 0);
  }

  /**
   * Puts one text in the place of every value.
   *
   * @param text the text
   * @return the rule {@code fixed}
   * @throws IllegalArgumentException if the text contains U+0000 or half a surrogate pair
   */
  public static Rule fixed(String text) {
    String fit = Text.requireFit("text", text);
    return new Rule("fixed", Text.quote(fit), fit.codePointCount(0, fit.length()));
  }

  /**
   * Masks all but the first and the last code points.
   *
   * @param keepFirst number of code points to keep at the start
   * @param keepLast number of code points to keep at the end
   * @return the rule {@code partial}
   * @throws IllegalArgumentException if a number is negative
   */
  public static Rule partial(int keepFirst, int keepLast) {
    requireNotNegative("keepFirst", keepFirst);
    requireNotNegative("keepLast", keepLast);
    return new Rule("partial", "keep_first=" + keepFirst + ", keep_last=" + keepLast, 0);
  }

  /**
   * As {@link #partial(int, int)}, with a chosen mark in the place of each masked code point.
   *
   * @param keepFirst number of code points to keep at the start
   * @param keepLast number of code points to keep at the end
   * @param mark the mark, one character up to U+FFFF and no control
   * @return the rule {@code partial}
   * @throws IllegalArgumentException if a number is negative, or the mark is no such character
   */
  public static Rule partial(int keepFirst, int keepLast, String mark) {
    Objects.requireNonNull(mark, "mark");
    boolean fit = mark.length() == 1 && !Character.isISOControl(mark.charAt(0));
    if (!fit || Character.isSurrogate(mark.charAt(0))) {
      throw new IllegalArgumentException(
          "the mark is one character up to U+FFFF and no control character");
    }
    return partial(keepFirst, keepLast).with("with", Text.quote(mark));
  }

  /**
   * Keeps every letter and digit in its class and script block, and everything else as it is.
   *
   * @return the rule {@code classes}
   */
  public static Rule classes() {
    return new Rule("classes", "", 0);
  }

  /**
   * Puts 32 hexadecimal digits in the place of every value.
   *
   * @return the rule {@code hash}
   */
  public static Rule hash() {
    return new Rule("hash", "", DEFAULT_HASH_LENGTH);
  }

  /**
   * Puts hexadecimal digits in the place of every value.
   *
   * @param length the number of digits, 1 to 64; the engine says how few there may be
   * @return the rule {@code hash}
   * @throws IllegalArgumentException if the length is out of range
   */
  public static Rule hash(int length) {
    if (length < 1 || length > 64) {
      throw new IllegalArgumentException("hash(length=" + length + "): the length is 1 to 64");
    }
    return new Rule("hash", "length=" + length, length);
  }

  /**
   * Exchanges the digits of a card number and makes its check digit right.
   *
   * @return the rule {@code card}
   */
  public static Rule card() {
    return function("card", "");
  }

  /**
   * As {@link #card()}, with the first digits, which tell the issuer, kept.
   *
   * @param keepFirst number of digits to keep at the start; the engine says how many may be
   * @return the rule {@code card}
   * @throws IllegalArgumentException if the number is negative
   */
  public static Rule card(int keepFirst) {
    requireNotNegative("keepFirst", keepFirst);
    return function("card", "keep_first=" + keepFirst);
  }

  /**
   * Puts another mail address in the place of every one.
   *
   * @param domain what stands behind its {@code @}, such as {@code example.com}
   * @return the rule {@code email}
   * @throws IllegalArgumentException if the domain is empty or not well-formed
   */
  public static Rule email(String domain) {
    return function("email", "domain=" + Text.quote(Text.require("domain", domain)));
  }

  /**
   * Puts an entry of a list of the engine in the place of every value.
   *
   * @param list the list's name, such as {@code first_names}
   * @return the rule {@code dict}
   * @throws IllegalArgumentException if the name is empty or not well-formed
   */
  public static Rule dict(String list) {
    return function("dict", "list=" + Text.quote(Text.require("list", list)));
  }

  /**
   * Puts a line of a file in the place of every value.
   *
   * @param file a file in UTF-8, one entry a line; the engine reads it once
   * @return the rule {@code dict}
   * @throws IllegalArgumentException if the file's name is empty or cannot be sent
   */
  public static Rule dict(Path file) {
    Objects.requireNonNull(file, "file");
    return function("dict", "file=" + Text.quote(Text.require("file", file.toString())));
  }

  /**
   * Moves every date back or forth, never by 0 days.
   *
   * @param days by how many days at most
   * @return the rule {@code dateshift}
   * @throws IllegalArgumentException if the number is not positive
   */
  public static Rule dateShift(int days) {
    if (days < 1) {
      throw new IllegalArgumentException("dateshift(days=" + days + "): at least 1 day");
    }
    return function("dateshift", "days=" + days);
  }

  /**
   * As {@link #dateShift(int)}, and never out of these bounds.
   *
   * @param days by how many days at most
   * @param min the first date that may come out
   * @param max the last date that may come out
   * @return the rule {@code dateshift}
   * @throws IllegalArgumentException if the number of days is not positive
   */
  public static Rule dateShift(int days, LocalDate min, LocalDate max) {
    Objects.requireNonNull(min, "min");
    Objects.requireNonNull(max, "max");
    return dateShift(days).with("min", min.toString()).with("max", max.toString());
  }

  /**
   * Changes every number by up to so many percent of itself.
   *
   * @param percent the percentage; the engine says how large it may be
   * @return the rule {@code noise}
   * @throws IllegalArgumentException if the percentage is not positive
   */
  public static Rule noise(int percent) {
    if (percent < 1) {
      throw new IllegalArgumentException("noise(percent=" + percent + "): at least 1 percent");
    }
    return function("noise", "percent=" + percent);
  }

  /**
   * Encrypts the characters of an alphabet and keeps their number: no two values become the same.
   *
   * @param alphabet {@code digits}, {@code letters}, {@code alphanumeric} or the characters
   *     themselves
   * @return the rule {@code ff1}
   * @throws IllegalArgumentException if the alphabet is empty or not well-formed
   */
  public static Rule ff1(String alphabet) {
    return function("ff1", "alphabet=" + Text.quote(Text.require("alphabet", alphabet)));
  }

  /**
   * A function by its name. The engine is asked for the longest result that it can give.
   *
   * @param name the function's name
   * @param arguments its arguments as a masking string has them, such as {@code days=30}; empty for
   *     none
   * @return the rule
   * @throws IllegalArgumentException if the name is none of a function, or the arguments contain
   *     U+0000 or half a surrogate pair
   */
  public static Rule function(String name, String arguments) {
    return function(name, arguments, UNKNOWN);
  }

  /** As above, for a longest result that the engine has told, in code points. */
  static Rule function(String name, String arguments, int longestResult) {
    Objects.requireNonNull(name, "name");
    Objects.requireNonNull(arguments, "arguments");
    if (!FUNCTION.matcher(name).matches() || RESERVED.contains(name)) {
      throw new IllegalArgumentException("\"" + name + "\" is no name of a function");
    }
    return new Rule(name, Text.requireFit("argument list", arguments), longestResult);
  }

  /**
   * The same rule in a scope: columns in one scope share their mapping, others have their own.
   * Where there is no mapping ({@code keep}, {@code null}, {@code fixed}, {@code partial}), the
   * engine refuses a scope.
   *
   * @param scope the scope's name
   * @return the rule in that scope
   * @throws IllegalArgumentException if the name is empty or not well-formed
   */
  public Rule scope(String scope) {
    return with("scope", Text.quote(Text.require("scope", scope)));
  }

  /**
   * Of {@code dateshift}: decides by the value of another column of the row how far a date moves,
   * so that all dates of one person move alike. Who knows one true date of that person then knows
   * all of them.
   *
   * @param column the other column's name
   * @return the rule with that column
   * @throws IllegalArgumentException if the name is empty or not well-formed
   */
  public Rule by(String column) {
    return with("by", Text.quote(Text.require("column", column)));
  }

  /**
   * Of {@code partial}: masks a value whole unless at least so many code points are hidden.
   *
   * @param codePoints the number of code points
   * @return the rule with that number
   * @throws IllegalArgumentException if the number is negative
   */
  public Rule hideLeast(int codePoints) {
    requireNotNegative("codePoints", codePoints);
    return with("hide_least", Integer.toString(codePoints));
  }

  private Rule with(String name, String value) {
    String before = arguments.isEmpty() ? "" : arguments + ", ";
    return new Rule(function, before + name + "=" + value, longestResult);
  }

  private static void requireNotNegative(String name, int number) {
    if (number < 0) {
      throw new IllegalArgumentException(name + " is negative: " + number);
    }
  }

  /**
   * Names the function.
   *
   * @return its name, such as {@code hash}
   */
  public String function() {
    return function;
  }

  /**
   * Tells the function's arguments.
   *
   * @return the arguments as a masking string has them, empty for none
   */
  public String arguments() {
    return arguments;
  }

  /**
   * Tells whether different values may become the same.
   *
   * @return false only for a function that is known to tell them apart
   */
  public boolean isLossy() {
    return !ONE_TO_ONE.contains(function);
  }

  /**
   * The longest result in code points where it may exceed the input, else 0; {@link #UNKNOWN} where
   * only the engine knows.
   */
  int longestResult() {
    return longestResult;
  }

  @Override
  public boolean equals(@Nullable Object other) {
    return other instanceof Rule rule
        && function.equals(rule.function)
        && arguments.equals(rule.arguments);
  }

  @Override
  public int hashCode() {
    return Objects.hash(function, arguments);
  }

  /** The rule as a masking string writes it, such as {@code hash(length=12)}. */
  @Override
  public String toString() {
    return arguments.isEmpty() ? function : function + "(" + arguments + ")";
  }
}
