package com.brel.sorn.velk.cli;

import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;

/**
 * What is written: {@code -} for standard output, or a file that appears under its name only when
 * it is complete. Until then it has another name beside it; closed without {@link #commit}, and
 * when the process is stopped, it is removed.
 */
final class Output implements Closeable {
  private final Path target;
  private final Path temporary;
  private final OutputStream stream;
  private boolean committed;

  Output(String name, Streams streams) {
    if (Input.isStandard(name)) {
      target = null;
      temporary = null;
      stream = streams.out();
      return;
    }
    target = Path.of(name);
    if (Files.exists(target, LinkOption.NOFOLLOW_LINKS) && !Files.isRegularFile(target)) {
      throw Failure.inputOutput(target + " is no regular file; \"-\" is standard output");
    }
    temporary = beside(target);
    try {
      stream =
          new BufferedOutputStream(
              Files.newOutputStream(
                  temporary, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE));
    } catch (IOException e) {
      throw failed(e);
    }
    temporary.toFile().deleteOnExit();
  }

  /** A name that nobody else uses, in the directory of a file. */
  static Path beside(Path target) {
    // Neither another process's nor one that a killed process left behind.
    String own = ProcessHandle.current().pid() + "-" + System.nanoTime();
    return target.resolveSibling("." + target.getFileName() + "." + own + ".part");
  }

  OutputStream stream() {
    return stream;
  }

  /** Gives the file its name, in the place of a former file of that name. */
  void commit() throws IOException {
    if (target == null) {
      stream.flush();
      return;
    }
    try {
      stream.close();
      Files.move(
          temporary, target, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
    } catch (IOException e) {
      throw failed(e);
    }
    committed = true;
  }

  /** Told by the name that the user knows. */
  private Failure failed(IOException e) {
    return Failure.inputOutput(target + ": " + Reason.of(e));
  }

  @Override
  public void close() throws IOException {
    if (target != null && !committed) {
      try {
        stream.close();
      } finally {
        Files.deleteIfExists(temporary);
      }
    }
  }
}
