package com.brel.sorn.velk.masking;

/** What becomes of a value that cannot be masked; where nothing is said, its field has an error. */
public final class OnError {
  private final String text;
  private final int longestText;

  private OnError(String text, int longestText) {
    this.text = text;
    this.longestText = longestText;
  }

  /**
   * The value becomes null.
   *
   * @return {@code null}
   */
  public static OnError nullValue() {
    return new OnError("null", 0);
  }

  /**
   * A text takes the value's place.
   *
   * @param text the text
   * @return {@code fixed}
   * @throws IllegalArgumentException if the text contains U+0000 or half a surrogate pair
   */
  public static OnError fixed(String text) {
    Text.requireFit("fixed text", text);
    return new OnError("fixed(" + Text.quote(text) + ")", text.codePointCount(0, text.length()));
  }

  /**
   * The whole batch fails.
   *
   * @return {@code stop}
   */
  public static OnError stop() {
    return new OnError("stop", 0);
  }

  /** Code points of the text that takes a value's place, 0 where none does. */
  int longestText() {
    return longestText;
  }

  boolean stops() {
    return text.equals("stop");
  }

  /** The choice as a masking string writes it. */
  @Override
  public String toString() {
    return text;
  }
}
