package com.brel.sorn.velk.cli;

import java.io.FileInputStream;
import java.io.FilterInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.PushbackInputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.regex.Pattern;

/** The CSV file to be read: a path, or {@code -} for standard input. */
final class Input {
  private static final String STANDARD = "-";
  private static final Pattern BLANK_END = Pattern.compile("(\r\n|\n|\r(?!\n))(\r\n|\n|\r)\\z");

  private final String name;
  private final Streams streams;

  Input(String name, Streams streams) {
    this.name = name;
    this.streams = streams;
    if (name.isEmpty()) {
      throw Failure.usage("IN is empty; it names a file, or \"-\" is standard input");
    }
  }

  static boolean isStandard(String name) {
    return name.equals(STANDARD);
  }

  String name() {
    return isStandard(name) ? "standard input" : name;
  }

  /** Its size in bytes, 0 where that is not known. */
  long size() throws IOException {
    return isStream() ? 0 : Files.size(Path.of(name));
  }

  /**
   * Opens it, and refuses what is no text in UTF-8 by its first bytes; failures to read tell its
   * name.
   */
  InputStream open() throws IOException {
    // Otherwise a platform tells only with the first read, or says that it is forbidden.
    if (!isStandard(name) && Files.isDirectory(Path.of(name))) {
      throw Failure.inputOutput(Show.text(name) + ": it is a directory");
    }
    InputStream in = isStandard(name) ? new Unclosable(streams.in()) : named();
    try {
      return checked(new Named(in, name()));
    } catch (IOException | RuntimeException e) {
      in.close();
      throw e;
    }
  }

  /** Of what is no file a stream by path cannot say whether more is there: it seeks to find out. */
  private InputStream named() throws IOException {
    return isStream() ? new FileInputStream(name) : Files.newInputStream(Path.of(name));
  }

  private InputStream checked(InputStream in) throws IOException {
    PushbackInputStream whole = new PushbackInputStream(in, FileKind.BYTES);
    // Of a pipe the rest may be long in coming, and nothing shall wait for it here.
    byte[] start = new byte[FileKind.BYTES];
    int length = whole.readNBytes(start, 0, FileKind.FEWEST_BYTES);
    if (length == FileKind.FEWEST_BYTES && whole.available() > 0) {
      length += Math.max(0, whole.read(start, length, start.length - length));
    }
    byte[] read = Arrays.copyOf(start, length);
    FileKind.of(read)
        .ifPresent(
            kind -> {
              throw Failure.inputOutput(Show.text(name()) + ": it is " + kind);
            });
    whole.unread(read);
    return whole;
  }

  /** Whether a file's last line has no character; of a stream nobody knows. */
  boolean endsWithBlankLine() throws IOException {
    if (isStream()) {
      return false;
    }
    try (FileChannel file = FileChannel.open(Path.of(name))) {
      ByteBuffer end = ByteBuffer.allocate(2 * "\r\n".length());
      file.read(end, Math.max(0, file.size() - end.capacity()));
      String text = new String(end.array(), 0, end.position(), StandardCharsets.ISO_8859_1);
      return BLANK_END.matcher(text).find();
    }
  }

  /** Whether it can be read but once, and from its start. */
  boolean isStream() {
    return isStandard(name) || Files.exists(Path.of(name)) && !Files.isRegularFile(Path.of(name));
  }

  /** Failures tell what was read. */
  private static final class Named extends FilterInputStream {
    private final String name;

    Named(InputStream in, String name) {
      super(in);
      this.name = name;
    }

    @Override
    public int read() throws IOException {
      byte[] one = new byte[1];
      return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
    }

    @Override
    public int read(byte[] bytes, int offset, int length) throws IOException {
      try {
        return in.read(bytes, offset, length);
      } catch (FileSystemException e) {
        throw e;
      } catch (IOException e) {
        FileSystemException named = new FileSystemException(name, null, Reason.of(e));
        named.initCause(e);
        throw named;
      }
    }
  }

  /** Standard input is not ours to close. */
  private static final class Unclosable extends FilterInputStream {
    Unclosable(InputStream in) {
      super(in);
    }

    @Override
    public void close() {
      // Left open.
    }
  }
}
