package com.brel.sorn.velk.cli;

/** What ends a line. */
enum LineEnd {
  LF("\n"),
  CRLF("\r\n"),
  CR("\r"),
  /** The file ends here without a line end. */
  NONE("");

  final String text;

  LineEnd(String text) {
    this.text = text;
  }
}
