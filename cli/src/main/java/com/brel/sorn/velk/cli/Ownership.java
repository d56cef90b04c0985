package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.AclFileAttributeView;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.EnumSet;
import java.util.Set;

/** Who may read and write a file, passed on to the one that takes its place. */
final class Ownership {
  private final PosixFileAttributes posix;
  private final AclFileAttributeView windows;

  /** That of a file; a file that is not there yet will have what the system gives it. */
  static Ownership of(Path file) throws IOException {
    return new Ownership(Files.exists(file) ? file : null);
  }

  private Ownership(Path file) throws IOException {
    boolean isPosix =
        file != null && file.getFileSystem().supportedFileAttributeViews().contains("posix");
    posix = isPosix ? Files.readAttributes(file, PosixFileAttributes.class) : null;
    windows =
        file == null || isPosix
            ? null
            : Files.getFileAttributeView(file, AclFileAttributeView.class);
  }

  /** For making the new file: never open to more than its owner before it is closed to others. */
  FileAttribute<?>[] atFirst() {
    return posix == null
        ? new FileAttribute<?>[0]
        : new FileAttribute<?>[] {
          PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"))
        };
  }

  /** Gives the new file what the old one has. */
  void passOn(Path file) throws IOException {
    if (windows != null) {
      Files.getFileAttributeView(file, AclFileAttributeView.class).setAcl(windows.getAcl());
    }
    if (posix != null) {
      passOnMode(Files.getFileAttributeView(file, PosixFileAttributeView.class));
    }
  }

  private void passOnMode(PosixFileAttributeView file) throws IOException {
    Set<PosixFilePermission> mode = EnumSet.noneOf(PosixFilePermission.class);
    mode.addAll(posix.permissions());
    try {
      PosixFileAttributes now = file.readAttributes();
      if (!now.group().equals(posix.group())) {
        file.setGroup(posix.group());
      }
      if (!now.owner().equals(posix.owner())) {
        file.setOwner(posix.owner());
      }
    } catch (IOException e) {
      // Who is not root keeps the file: then another group may do no more than everybody.
      if (!file.readAttributes().group().equals(posix.group())) {
        limitGroup(mode);
      }
    }
    file.setPermissions(mode);
  }

  private static void limitGroup(Set<PosixFilePermission> mode) {
    if (!mode.contains(PosixFilePermission.OTHERS_READ)) {
      mode.remove(PosixFilePermission.GROUP_READ);
    }
    if (!mode.contains(PosixFilePermission.OTHERS_WRITE)) {
      mode.remove(PosixFilePermission.GROUP_WRITE);
    }
    if (!mode.contains(PosixFilePermission.OTHERS_EXECUTE)) {
      mode.remove(PosixFilePermission.GROUP_EXECUTE);
    }
  }
}
