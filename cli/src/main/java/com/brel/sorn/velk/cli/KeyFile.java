package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermission;
import java.util.EnumSet;
import java.util.Optional;
import java.util.Set;

/** The file that a masking string names as its key's place. */
final class KeyFile {
  private static final String SCHEME = "file:";
  private static final Set<PosixFilePermission> OTHERS_READ =
      EnumSet.of(PosixFilePermission.GROUP_READ, PosixFilePermission.OTHERS_READ);

  private KeyFile() {}

  /**
   * What should be said before such a key is used, if anything. A file that others may write is the
   * engine's to refuse; one that they may read is used, because mounted secrets often look so.
   *
   * @param place where the masking string says the key is
   */
  static Optional<String> warning(String place) {
    if (!place.startsWith(SCHEME)) {
      return Optional.empty();
    }
    String name = place.substring(SCHEME.length());
    try {
      Path file = Path.of(name);
      boolean posix = file.getFileSystem().supportedFileAttributeViews().contains("posix");
      if (!posix || Files.getPosixFilePermissions(file).stream().noneMatch(OTHERS_READ::contains)) {
        return Optional.empty();
      }
    } catch (IOException | InvalidPathException e) {
      return Optional.empty(); // the engine says why it cannot be read
    }
    return Optional.of("others than its owner may read the key file " + Show.quoted(name));
  }
}
