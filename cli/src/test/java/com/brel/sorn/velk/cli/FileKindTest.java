package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.Charset;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.zip.GZIPOutputStream;
import java.util.zip.ZipEntry;
import java.util.zip.ZipOutputStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Input that is no text in UTF-8 is told by what it is. */
class FileKindTest {
  @TempDir Path folder;

  private void assertTold(byte[] bytes, String what) throws IOException {
    Path in = Files.write(folder.resolve("in"), bytes);
    Path out = folder.resolve("out");
    String told = ": it is " + what + "\n";
    Run file = Run.velk("mask", "-s", "service=s a=keep", in.toString(), out.toString());
    assertEquals("velk: " + in + told, file.expect(ExitCode.INPUT_OUTPUT).err());
    assertFalse(Files.exists(out));
    Run stream = Run.mask("service=s a=keep", bytes);
    assertEquals("velk: standard input" + told, stream.expect(ExitCode.INPUT_OUTPUT).err());
    assertEquals("", stream.out());
    for (String[] other : new String[][] {{"check", "-s", "service=s a=keep"}, {"init"}}) {
      String[] arguments = Arrays.copyOf(other, other.length + 1);
      arguments[other.length] = in.toString();
      Run run = Run.velk(arguments).expect(ExitCode.INPUT_OUTPUT);
      assertEquals("velk: " + in + told, run.err());
    }
  }

  @Test
  void whatIsCompressedByGzipIs() throws IOException {
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    try (OutputStream gzip = new GZIPOutputStream(bytes)) {
      gzip.write("a\nx\n".getBytes());
    }
    assertTold(bytes.toByteArray(), FileKind.GZIP.toString());
  }

  @ParameterizedTest
  @CsvSource({
    "a.csv, ZIP",
    "[Content_Types].xml, EXCEL",
    "_rels/.rels, EXCEL",
    "xl/workbook.xml, EXCEL"
  })
  void archivesAre(String member, FileKind kind) throws IOException {
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    try (ZipOutputStream zip = new ZipOutputStream(bytes)) {
      zip.putNextEntry(new ZipEntry(member));
      zip.write("a\nx\n".getBytes());
    }
    assertTold(bytes.toByteArray(), kind.toString());
  }

  @ParameterizedTest
  @CsvSource({
    "28B52FFD2404, ZSTD",
    "425A68393141592653594E, BZIP2",
    "425A683917724538509000000000, BZIP2_EMPTY",
    "FD377A585A000004, XZ",
    "04224D186440, LZ4",
    "377ABCAF271C0004, SEVEN_ZIP",
    "504B05060000, ZIP_EMPTY",
    "D0CF11E0A1B11AE100, OLD_EXCEL"
  })
  void othersAreKnownByTheirFirstBytes(String hex, FileKind kind) throws IOException {
    assertTold(HexFormat.of().parseHex(hex), kind.toString());
  }

  @ParameterizedTest
  @ValueSource(strings = {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"})
  void otherEncodingsAre(String encoding) throws IOException {
    String what = "text in " + encoding.substring(0, 6) + ": convert it to UTF-8 first";
    for (String mark : new String[] {"\uFEFF", ""}) {
      assertTold((mark + "a,b\n1,2\n").getBytes(Charset.forName(encoding)), what);
    }
  }

  @Test
  void aHeaderThatOnlyBeginsLikeOneIsMasked() {
    for (String name : new String[] {"BZh9", "BZh91AY&S", "PK", "7z", "PAR1"}) {
      String csv = name + "\nx\n";
      String rules = "service=s \"" + name + "\"=keep";
      assertEquals(csv, Run.mask(rules, csv).expect(ExitCode.DONE).out());
    }
  }
}
