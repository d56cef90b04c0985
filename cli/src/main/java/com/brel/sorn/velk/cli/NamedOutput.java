package com.brel.sorn.velk.cli;

import java.io.FilterOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.FileSystemException;

/** A stream whose failures tell what was written. */
class NamedOutput extends FilterOutputStream {
  private final String name;

  NamedOutput(OutputStream out, String name) {
    super(out);
    this.name = name;
  }

  @Override
  public void write(int value) throws IOException {
    write(new byte[] {(byte) value}, 0, 1);
  }

  @Override
  public void write(byte[] bytes, int offset, int length) throws IOException {
    try {
      out.write(bytes, offset, length);
    } catch (IOException e) {
      throw named(e);
    }
  }

  @Override
  public void flush() throws IOException {
    try {
      out.flush();
    } catch (IOException e) {
      throw named(e);
    }
  }

  @Override
  public void close() throws IOException {
    try {
      out.close();
    } catch (IOException e) {
      throw named(e);
    }
  }

  /** What is thrown in the place of a failure. */
  IOException named(IOException e) {
    if (e instanceof FileSystemException) {
      return e;
    }
    FileSystemException named = new FileSystemException(name, null, Reason.of(e));
    named.initCause(e);
    return named;
  }
}
