package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.regex.Pattern;

/** How the values of a column are masked: a function of the engine and its arguments. */
public final class Rule {
  private static final Pattern FUNCTION = Pattern.compile("[A-Za-z][A-Za-z0-9_]*");
  private static final int DEFAULT_HASH_LENGTH = 32;

  /** What describes a column beside its rule, and is therefore no function. */
  private static final Set<String> RESERVED = Set.of("type", "unique");

  private final String function;
  private final List<String> arguments;
  private final int longestResult;

  private Rule(String function, int longestResult, String... arguments) {
    this.function = function;
    this.longestResult = longestResult;
    this.arguments = List.of(arguments);
  }

  /**
   * Leaves the column as it is.
   *
   * @return the rule {@code keep}
   */
  public static Rule keep() {
    return new Rule("keep", 0);
  }

  /**
   * Makes every value null.
   *
   * @return the rule {@code null}
   */
  public static Rule nullValue() {
    return new Rule("null", 0);
  }

  /**
   * Puts one text in the place of every value.
   *
   * @param text the text
   * @return the rule {@code fixed}
   * @throws IllegalArgumentException if the text contains U+0000 or half a surrogate pair
   */
  public static Rule fixed(String text) {
    String fit = Text.requireFit("fixed text", text);
    return new Rule("fixed", fit.codePointCount(0, fit.length()), Text.quote(fit));
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
    if (keepFirst < 0 || keepLast < 0) {
      throw new IllegalArgumentException("a negative number of code points cannot be kept");
    }
    return new Rule("partial", 0, "keep_first=" + keepFirst, "keep_last=" + keepLast);
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
    boolean fit = mark.length() == 1 && !Character.isISOControl(mark.charAt(0));
    if (!fit || Character.isSurrogate(mark.charAt(0))) {
      throw new IllegalArgumentException(
          "the mark is one character up to U+FFFF and no control character");
    }
    return partial(keepFirst, keepLast).with("with=" + Text.quote(mark));
  }

  /**
   * Keeps every letter and digit in its class and script block, and everything else as it is.
   *
   * @return the rule {@code classes}
   */
  public static Rule classes() {
    return new Rule("classes", 0);
  }

  /**
   * Puts 32 hexadecimal digits in the place of every value.
   *
   * @return the rule {@code hash}
   */
  public static Rule hash() {
    return new Rule("hash", DEFAULT_HASH_LENGTH);
  }

  /**
   * Puts hexadecimal digits in the place of every value.
   *
   * @param length the number of digits, 1 to 64
   * @return the rule {@code hash}
   * @throws IllegalArgumentException if the length is out of range
   */
  public static Rule hash(int length) {
    if (length < 1 || length > 64) {
      throw new IllegalArgumentException("hash(length=" + length + "): the length is 1 to 64");
    }
    return new Rule("hash", length, "length=" + length);
  }

  /**
   * A function that this class has no method for.
   *
   * @param name the function's name
   * @param arguments its arguments, such as {@code days=30}; empty for none
   * @param longestResult the longest result in code points where it may exceed the input, else 0
   * @return the rule
   * @throws IllegalArgumentException if the name is none of a function, the length is negative, or
   *     the arguments contain U+0000 or half a surrogate pair
   */
  public static Rule function(String name, String arguments, int longestResult) {
    Objects.requireNonNull(arguments, "arguments");
    if (!FUNCTION.matcher(name).matches() || RESERVED.contains(name)) {
      throw new IllegalArgumentException("\"" + name + "\" is no name of a function");
    }
    if (longestResult < 0) {
      throw new IllegalArgumentException("the longest result has a negative length");
    }
    Text.requireFit("argument list", arguments);
    return arguments.isEmpty()
        ? new Rule(name, longestResult)
        : new Rule(name, longestResult, arguments);
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
    return with("scope=" + Text.quote(Text.require("scope", scope)));
  }

  private Rule with(String argument) {
    List<String> more = new ArrayList<>(arguments);
    more.add(argument);
    return new Rule(function, longestResult, more.toArray(String[]::new));
  }

  String function() {
    return function;
  }

  String arguments() {
    return String.join(", ", arguments);
  }

  /** The longest result in code points where it may exceed the input, else 0. */
  int longestResult() {
    return longestResult;
  }

  /** The rule as a masking string writes it, such as {@code hash(length=12)}. */
  @Override
  public String toString() {
    return arguments.isEmpty() ? function : function + "(" + arguments() + ")";
  }
}
