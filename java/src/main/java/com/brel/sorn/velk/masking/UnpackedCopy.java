package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.channels.FileLock;
import java.nio.channels.OverlappingFileLockException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.BasicFileAttributes;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserPrincipal;
import java.time.Duration;
import java.time.Instant;
import java.util.List;
import java.util.Set;
import java.util.regex.Pattern;
import org.jspecify.annotations.Nullable;

/**
 * The jar's libraries in a folder of their own, for this user alone. Its process holds the lock of
 * a file in it for as long as it needs the folder: that ends with the process, whatever ends it,
 * and is seen where process numbers are not.
 */
final class UnpackedCopy {
  static final String LOCK = "lock";

  private static final Pattern NAME = Pattern.compile("velk-\\d+-\\d+");
  private static final Pattern LIBRARY = Pattern.compile("(lib)?VELK\\w*\\.(so|dll)");

  /** No process takes longer from making its folder to the lock. */
  private static final Duration MAKING = Duration.ofHours(1);

  /** The copy that could not be removed yet: a channel that nothing refers to is closed. */
  private static @Nullable UnpackedCopy inUse;

  private final Path directory;
  private final FileChannel lock;

  private UnpackedCopy(Path directory, FileChannel lock) {
    this.directory = directory;
    this.lock = lock;
  }

  /**
   * Makes a folder without libraries, and removes those that ended processes of this user left.
   *
   * @param temporary the folder that it is made in
   */
  static UnpackedCopy make(Path temporary) throws IOException {
    Path directory =
        Files.createTempDirectory(temporary, "velk-" + ProcessHandle.current().pid() + "-");
    try {
      UnpackedCopy copy = new UnpackedCopy(directory, lock(directory));
      copy.removeLeftBehind(temporary);
      return copy;
    } catch (IOException e) {
      removeRest(directory);
      throw e;
    }
  }

  /** The lock counts from the file's first byte on: an empty one is about to be locked. */
  private static FileChannel lock(Path directory) throws IOException {
    FileChannel channel =
        FileChannel.open(
            directory.resolve(LOCK),
            Set.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE),
            forTheOwner(directory));
    try {
      channel.lock();
      channel.write(ByteBuffer.wrap(new byte[1]));
    } catch (IOException e) {
      // Where there are no locks, nobody else finds this one free.
    }
    return channel;
  }

  private static FileAttribute<?>[] forTheOwner(Path file) {
    boolean posix = file.getFileSystem().supportedFileAttributeViews().contains("posix");
    return posix
        ? new FileAttribute<?>[] {
          PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"))
        }
        : new FileAttribute<?>[0];
  }

  Path directory() {
    return directory;
  }

  /**
   * Unpacks libraries.
   *
   * @param folder where they are in the jar, with a slash at either end
   * @param files their names there and here
   */
  void unpack(String folder, List<String> files) throws IOException {
    for (String file : files) {
      Path target = Files.createFile(directory.resolve(file), forTheOwner(directory));
      try (InputStream in = UnpackedCopy.class.getResourceAsStream(folder + file);
          OutputStream out = Files.newOutputStream(target)) {
        in.transferTo(out);
      }
    }
  }

  /** Removes the copy, or keeps it locked: Windows keeps a library that is loaded. */
  void remove() {
    try {
      if (removeLibraries(directory)) {
        lock.close();
        removeRest(directory);
      } else {
        inUse = this;
      }
    } catch (IOException e) {
      inUse = this; // It does its work all the same, and another process will find it.
    }
  }

  private void removeLeftBehind(Path temporary) {
    try (DirectoryStream<Path> copies = Files.newDirectoryStream(temporary, "velk-*")) {
      UserPrincipal user = Files.getOwner(directory);
      for (Path copy : copies) {
        // A lock of this process would go with the first channel that is closed.
        if (!copy.equals(directory) && isCopyOf(user, copy)) {
          removeIfLeftBehind(copy);
        }
      }
    } catch (IOException | DirectoryIteratorException e) {
      // They do no harm but take room: another process will find them.
    }
  }

  /** Never by a link, and never what another user has put there. */
  private static boolean isCopyOf(UserPrincipal user, Path copy) {
    try {
      BasicFileAttributes attributes =
          Files.readAttributes(copy, BasicFileAttributes.class, LinkOption.NOFOLLOW_LINKS);
      return NAME.matcher(copy.getFileName().toString()).matches()
          && attributes.isDirectory()
          && !attributes.isOther()
          && user.equals(Files.getOwner(copy, LinkOption.NOFOLLOW_LINKS));
    } catch (IOException e) {
      return false; // It is gone, or not for us to see.
    }
  }

  private static void removeIfLeftBehind(Path copy) {
    try {
      if (isFree(copy) && removeLibraries(copy)) {
        removeRest(copy);
      }
    } catch (IOException e) {
      // As above.
    }
  }

  private static boolean isFree(Path copy) throws IOException {
    try (FileChannel channel =
            FileChannel.open(
                copy.resolve(LOCK), StandardOpenOption.WRITE, LinkOption.NOFOLLOW_LINKS);
        FileLock lock = channel.tryLock()) {
      return lock != null && (channel.size() > 0 || isOld(copy));
    } catch (NoSuchFileException e) {
      return isOld(copy);
    } catch (OverlappingFileLockException e) {
      return false; // It is that of another class loader here.
    }
  }

  private static boolean isOld(Path copy) throws IOException {
    Instant made = Files.getLastModifiedTime(copy, LinkOption.NOFOLLOW_LINKS).toInstant();
    return made.isBefore(Instant.now().minus(MAKING));
  }

  /** Whether no library is left; a file that is none of ours stays, and the folder with it. */
  private static boolean removeLibraries(Path copy) throws IOException {
    boolean all = true;
    try (DirectoryStream<Path> files = Files.newDirectoryStream(copy)) {
      for (Path file : files) {
        if (LIBRARY.matcher(file.getFileName().toString()).matches()) {
          all &= file.toFile().delete();
        }
      }
    }
    return all;
  }

  private static void removeRest(Path copy) throws IOException {
    Files.deleteIfExists(copy.resolve(LOCK));
    Files.deleteIfExists(copy);
  }
}
