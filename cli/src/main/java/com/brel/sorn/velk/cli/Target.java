package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Optional;

/** Where the name of something that is written leads. */
final class Target {
  private static final int MOST_LINKS = 40;
  private static final int KIND = 0170000;
  private static final int BLOCK_DEVICE = 0060000;
  private static final int PIPE = 0010000;

  private Target() {}

  /**
   * Follows the links that a name ends with, be there a file at their end or not.
   *
   * @return a name that is no link, or that of an open file of a process
   * @throws FileSystemException if the links lead nowhere
   */
  static Path follow(Path name) throws IOException {
    Path at = name;
    for (int links = 0; Files.isSymbolicLink(at) && !isDescriptor(at); links++) {
      if (links == MOST_LINKS) {
        throw new FileSystemException(name.toString(), null, "its links lead nowhere");
      }
      at = at.resolveSibling(Files.readSymbolicLink(at));
    }
    return at;
  }

  /** Such a link can be opened, but what it says need not be the name of a file. */
  private static boolean isDescriptor(Path link) throws IOException {
    Path folder = link.toAbsolutePath().getParent();
    return folder.startsWith("/dev/fd") || folder.toRealPath().toString().matches("/proc/.*/fd");
  }

  /** The number of this process's open file that a followed name is, if it is one. */
  static Optional<String> ownDescriptor(Path followed) throws IOException {
    if (!Files.isSymbolicLink(followed)) {
      return Optional.empty();
    }
    Path folder = followed.toAbsolutePath().getParent().toRealPath();
    return folder.equals(Path.of("/proc/" + ProcessHandle.current().pid() + "/fd"))
        ? Optional.of(followed.getFileName().toString())
        : Optional.empty();
  }

  /** Whether a name leads to this process's open file of a number. */
  static boolean isDescriptor(String name, String number) {
    try {
      return ownDescriptor(follow(Path.of(name))).filter(number::equals).isPresent();
    } catch (IOException e) {
      return false; // it leads nowhere
    }
  }

  /** A disk is never written over, whoever may. */
  static boolean isDisk(Path file) throws IOException {
    return isOfKind(file, BLOCK_DEVICE);
  }

  /** A pipe with a name gives what is written into it to whoever reads it. */
  static boolean isPipe(Path file) throws IOException {
    return isOfKind(file, PIPE);
  }

  private static boolean isOfKind(Path file, int kind) throws IOException {
    return file.getFileSystem().supportedFileAttributeViews().contains("unix")
        && Files.exists(file)
        && ((int) Files.getAttribute(file, "unix:mode") & KIND) == kind;
  }
}
