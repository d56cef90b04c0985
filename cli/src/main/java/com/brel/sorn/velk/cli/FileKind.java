package com.brel.sorn.velk.cli;

import java.nio.charset.StandardCharsets;
import java.util.HexFormat;
import java.util.List;
import java.util.Optional;

/** What a file that is no CSV file in UTF-8 is instead, as far as its first bytes tell. */
enum FileKind {
  GZIP("compressed by gzip: decompress it first, as with gzip -dc", "1f8b"),
  ZSTD("compressed by zstd: decompress it first, as with zstd -dc", "28b52ffd"),
  // What follows the level, because a column may be called BZh1.
  BZIP2("compressed by bzip2: decompress it first, as with bzip2 -dc", "425a68..314159265359"),
  BZIP2_EMPTY("compressed by bzip2: decompress it first", "425a68..177245385090"),
  XZ("compressed by xz: decompress it first, as with xz -dc", "fd377a585a00"),
  LZ4("compressed by lz4: decompress it first, as with lz4 -dc", "04224d18"),
  SEVEN_ZIP("a 7z archive: unpack it first", "377abcaf271c"),
  EXCEL("an Excel workbook (xlsx): save the sheet as CSV in UTF-8", ""),
  ZIP("a zip archive: unpack it first", "504b0304"),
  ZIP_EMPTY("a zip archive with nothing in it", "504b0506"),
  OLD_EXCEL(
      "an Excel workbook (xls) or another old Office file: save the sheet as CSV in UTF-8",
      "d0cf11e0a1b11ae1"),
  // Before UTF-16, whose mark it begins with.
  UTF_32_LITTLE("text in UTF-32: convert it to UTF-8 first", "fffe0000"),
  UTF_32_BIG("text in UTF-32: convert it to UTF-8 first", "0000feff"),
  UTF_16_LITTLE("text in UTF-16: convert it to UTF-8 first", "fffe"),
  UTF_16_BIG("text in UTF-16: convert it to UTF-8 first", "feff"),
  UTF_32_LITTLE_UNMARKED("text in UTF-32: convert it to UTF-8 first", "++000000++000000"),
  UTF_32_BIG_UNMARKED("text in UTF-32: convert it to UTF-8 first", "000000++000000++"),
  UTF_16_LITTLE_UNMARKED("text in UTF-16: convert it to UTF-8 first", "++00++00"),
  UTF_16_BIG_UNMARKED("text in UTF-16: convert it to UTF-8 first", "00++00++");

  /** Bytes at a file's start that tell; a workbook's archive names its parts in them. */
  static final int BYTES = 512;

  /** As many as tell all kinds but a workbook from an archive. */
  static final int FEWEST_BYTES = 10;

  private static final List<String> PARTS_OF_A_WORKBOOK =
      List.of("[Content_Types].xml", "_rels/.rels", "docProps/", "xl/");

  private final String description;

  /** Hexadecimal digits, two dots for any byte and two crosses for any but zero. */
  private final String start;

  FileKind(String description, String start) {
    this.description = description;
    this.start = start;
  }

  /** The kind of a file that begins with these bytes, empty where it may be CSV. */
  static Optional<FileKind> of(byte[] bytes) {
    for (FileKind kind : values()) {
      if (kind == EXCEL ? isWorkbook(bytes) : kind.matches(bytes)) {
        return Optional.of(kind);
      }
    }
    return Optional.empty();
  }

  private static boolean isWorkbook(byte[] bytes) {
    String text = new String(bytes, StandardCharsets.ISO_8859_1);
    return ZIP.matches(bytes) && PARTS_OF_A_WORKBOOK.stream().anyMatch(text::contains);
  }

  private boolean matches(byte[] bytes) {
    if (bytes.length < start.length() / 2) {
      return false;
    }
    for (int i = 0; i < start.length() / 2; i++) {
      String wanted = start.substring(2 * i, 2 * i + 2);
      boolean fits =
          switch (wanted) {
            case ".." -> true;
            case "++" -> bytes[i] != 0;
            default -> bytes[i] == (byte) HexFormat.fromHexDigits(wanted);
          };
      if (!fits) {
        return false;
      }
    }
    return true;
  }

  @Override
  public String toString() {
    return description;
  }
}
