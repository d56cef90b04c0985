package com.brel.sorn.velk.cli.database;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermission;
import java.util.Collections;
import java.util.EnumSet;
import java.util.Optional;
import java.util.Set;

/** The file of passwords, {@code .pgpass}: one that others may read is not used, as with psql. */
public final class PasswordFile {
  private static final String PROPERTY = "org.postgresql.pgpassfile";
  private static final Set<PosixFilePermission> OTHERS =
      EnumSet.of(
          PosixFilePermission.GROUP_READ,
          PosixFilePermission.GROUP_WRITE,
          PosixFilePermission.GROUP_EXECUTE,
          PosixFilePermission.OTHERS_READ,
          PosixFilePermission.OTHERS_WRITE,
          PosixFilePermission.OTHERS_EXECUTE);

  private static final Path FILE = find();
  private static final Optional<String> REFUSAL = look();

  private PasswordFile() {}

  /**
   * Keeps the driver from a file that others may use.
   *
   * @return why the file is not used, empty where it is, or there is none
   */
  static Optional<String> refused() {
    return REFUSAL;
  }

  /**
   * Tells where it is.
   *
   * @return a file that need not be there
   */
  public static Path place() {
    return FILE;
  }

  private static Path find() {
    String named = System.getProperty(PROPERTY, System.getenv("PGPASSFILE"));
    return named == null ? Path.of(System.getProperty("user.home"), ".pgpass") : Path.of(named);
  }

  private static Optional<String> look() {
    if (isOwnAlone(FILE)) {
      return Optional.empty();
    }
    // The driver looks here first, and there is nothing below a file.
    System.setProperty(PROPERTY, FILE.resolve("none").toString());
    return Optional.of(FILE + " is not used, for others may use it too: chmod 0600");
  }

  private static boolean isOwnAlone(Path file) {
    try {
      return !Files.exists(file)
          || Collections.disjoint(Files.getPosixFilePermissions(file), OTHERS);
    } catch (IOException | UnsupportedOperationException e) {
      return true;
    }
  }
}
