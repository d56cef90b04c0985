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
import java.util.UUID;

/**
 * A file that appears under its name only when it is complete. Until then it has another name
 * beside it; closed without {@link #commit}, and when the process is stopped, it is removed.
 */
final class OutputFile implements Closeable {
  private final Path target;
  private final Path temporary;
  private final OutputStream stream;
  private boolean committed;

  OutputFile(Path target) throws IOException {
    if (Files.exists(target, LinkOption.NOFOLLOW_LINKS) && !Files.isRegularFile(target)) {
      throw Failure.inputOutput(target + " is no regular file; \"-\" is standard output");
    }
    this.target = target;
    temporary = beside(target);
    stream =
        new BufferedOutputStream(
            Files.newOutputStream(
                temporary, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE));
    temporary.toFile().deleteOnExit();
  }

  /** A name that nobody else uses, in the directory of a file. */
  static Path beside(Path target) {
    return target.resolveSibling("." + target.getFileName() + "." + UUID.randomUUID() + ".part");
  }

  OutputStream stream() {
    return stream;
  }

  /** Gives the file its name, in the place of a former file of that name. */
  void commit() throws IOException {
    stream.close();
    Files.move(
        temporary, target, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
    committed = true;
  }

  @Override
  public void close() throws IOException {
    if (!committed) {
      try {
        stream.close();
      } finally {
        Files.deleteIfExists(temporary);
      }
    }
  }
}
