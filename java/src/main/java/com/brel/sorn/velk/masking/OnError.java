package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.util.Objects;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/**
 * What becomes of a value that cannot be masked, a value itself; where nothing is said, the field
 * has an error.
 */
public final class OnError {
  private static final Pattern FIXED = Pattern.compile("fixed\\(\\s*(.*?)\\s*\\)", Pattern.DOTALL);

  /** What becomes of a value with an error. */
  public enum Way {
    /** Nothing stands in its place: its field has an error and no value. */
    ERROR,
    /** Something else takes its place. */
    REPLACEMENT,
    /** The batch fails. */
    FAILURE
  }

  /** Where nothing is said. */
  static final OnError UNSAID = new OnError("", Way.ERROR, null);

  private final String text;
  private final Way way;
  private final @Nullable String replacement;

  private OnError(String text, Way way, @Nullable String replacement) {
    this.text = text;
    this.way = way;
    this.replacement = replacement;
  }

  /**
   * The value becomes null; its error is still told.
   *
   * @return {@code null}
   */
  public static OnError nullValue() {
    return new OnError("null", Way.REPLACEMENT, null);
  }

  /**
   * A text takes the value's place; its error is still told.
   *
   * <p>The text must fit every column, its type included: a word in the place of a date, or a text
   * longer than a column's limit, is refused when the service is opened.
   *
   * @param text the text
   * @return {@code fixed}
   * @throws IllegalArgumentException if the text contains U+0000 or half a surrogate pair
   */
  public static OnError fixed(String text) {
    Text.requireFit("text", text);
    return new OnError("fixed(" + Text.quote(text) + ")", Way.REPLACEMENT, text);
  }

  /**
   * The whole batch fails.
   *
   * @return {@code stop}
   */
  public static OnError stop() {
    return new OnError("stop", Way.FAILURE, null);
  }

  /** Reads the choice that the engine gave back; what is none must not be taken for one. */
  static OnError parse(String text) {
    Matcher fixed = FIXED.matcher(text);
    if (fixed.matches() && Text.isArgument(fixed.group(1))) {
      return fixed(Text.unquote(fixed.group(1)));
    }
    return switch (text) {
      case "null" -> nullValue();
      case "stop" -> stop();
      default ->
          throw new VELKException(
              "the masking string came back with an unknown choice for errors: " + text,
              ParsedService.INCOMPLETE);
    };
  }

  /**
   * Tells what becomes of a value that cannot be masked.
   *
   * @return the way
   */
  public Way way() {
    return way;
  }

  /**
   * Tells what takes a value's place.
   *
   * @return the text, null where the value becomes null or nothing takes its place
   */
  public @Nullable String replacement() {
    return replacement;
  }

  /** Code points of the text that takes a value's place, 0 where none does. */
  int longestText() {
    return replacement == null ? 0 : replacement.codePointCount(0, replacement.length());
  }

  @Override
  public boolean equals(@Nullable Object other) {
    return other instanceof OnError choice
        && way == choice.way
        && Objects.equals(replacement, choice.replacement);
  }

  @Override
  public int hashCode() {
    return Objects.hash(way, replacement);
  }

  /** The choice as a masking string writes it, empty where there is none. */
  @Override
  public String toString() {
    return text;
  }
}
