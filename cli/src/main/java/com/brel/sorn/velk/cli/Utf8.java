package com.brel.sorn.velk.cli;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;

/** Text of UTF-8 and nothing else. */
final class Utf8 {
  private static final String BYTE_ORDER_MARK = "\uFEFF";

  private Utf8() {}

  /** The text without a byte-order mark; ill-formed bytes are refused with their place. */
  static String decode(byte[] bytes) {
    ByteBuffer in = ByteBuffer.wrap(bytes);
    CharBuffer text = CharBuffer.allocate(bytes.length);
    CoderResult result = StandardCharsets.UTF_8.newDecoder().decode(in, text, true);
    String decoded = text.flip().toString();
    if (result.isError()) {
      throw Failure.inputOutput(
          "byte "
              + in.position()
              + ", line "
              + (lineEnds(decoded) + 1)
              + ": the text is not UTF-8");
    }
    return decoded.startsWith(BYTE_ORDER_MARK) ? decoded.substring(1) : decoded;
  }

  private static long lineEnds(String text) {
    return text.replace("\r\n", "\n").chars().filter(c -> c == '\n' || c == '\r').count();
  }
}
