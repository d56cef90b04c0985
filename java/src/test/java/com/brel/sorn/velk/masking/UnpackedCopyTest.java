package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserPrincipal;
import java.time.Duration;
import java.time.Instant;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

class UnpackedCopyTest {
  private static final String LIBRARY = System.mapLibraryName("VELKJNI");
  private static final Instant LONG_AGO = Instant.now().minus(Duration.ofHours(2));

  @TempDir Path folder;
  private Path temporary;
  private UnpackedCopy copy;

  @BeforeEach
  void makeTemporaryFolder() throws IOException {
    temporary = Files.createDirectory(folder.resolve("temporary"));
  }

  @AfterEach
  void removeCopy() {
    if (copy != null) {
      copy.remove();
    }
  }

  private List<Path> make() throws IOException {
    copy = UnpackedCopy.make(temporary);
    try (Stream<Path> files = Files.list(temporary)) {
      return files.filter(file -> !file.equals(copy.directory())).toList();
    }
  }

  /** A folder as a process leaves it that ended, or without the lock's byte one that just began. */
  private Path leave(String name, int bytesOfLock) throws IOException {
    Path left = Files.createDirectory(temporary.resolve(name));
    Files.writeString(left.resolve(LIBRARY), "a library");
    Files.write(left.resolve(UnpackedCopy.LOCK), new byte[bytesOfLock]);
    return left;
  }

  private static void makeOld(Path file) throws IOException {
    Files.setLastModifiedTime(file, FileTime.from(LONG_AGO));
  }

  @Test
  @DisabledOnOs(OS.WINDOWS)
  void theFolderAndItsFilesAreForTheOwnerAlone() throws Exception {
    make();
    copy.unpack("/com/brel/sorn/velk/masking/", List.of("messages.txt"));
    assertEquals("rwx------", permissions(copy.directory()));
    try (Stream<Path> files = Files.list(copy.directory())) {
      List<Path> all = files.sorted().toList();
      assertEquals(2, all.size());
      for (Path file : all) {
        assertEquals("rw-------", permissions(file), file.toString());
      }
    }
    Files.delete(copy.directory().resolve("messages.txt"));
  }

  private static String permissions(Path file) throws IOException {
    return PosixFilePermissions.toString(Files.getPosixFilePermissions(file));
  }

  @Test
  void aCopyIsRemovedWithItsLock() throws Exception {
    make();
    Files.writeString(copy.directory().resolve(LIBRARY), "a library");
    copy.remove();
    assertFalse(Files.exists(copy.directory()));
    assertEquals(List.of(), make());
  }

  @Test
  void aProcessThatRunsKeepsItsCopyAndOneThatWasKilledDoesNot() throws Exception {
    Path classes = TestJar.codeOf(UnpackedCopy.class);
    String classPath = classes + File.pathSeparator + TestJar.codeOf(CopyProbe.class);
    Process process = ChildJvm.start(classPath, CopyProbe.class.getName(), temporary.toString());
    try {
      Path its = Path.of(process.inputReader().readLine());
      assertEquals(List.of(its), make());
      assertTrue(Files.exists(its.resolve(LIBRARY)));
      // Age alone is no sign, nor is a number that no process has here.
      makeOld(its);
      copy.remove();
      assertEquals(List.of(its), make());

      process.destroyForcibly().waitFor();
      copy.remove();
      assertEquals(List.of(), make());
    } finally {
      process.destroyForcibly();
    }
  }

  @Test
  void aCopyOfAnEndedProcessIsRemovedThoughAnotherHasItsNumber() throws Exception {
    leave("velk-" + ProcessHandle.current().pid() + "-1", 1);
    leave("velk-1-2", 1);
    assertEquals(List.of(), make());
  }

  @Test
  void aProcessThatIsAboutToLockItsFolderKeepsIt() throws Exception {
    Path locking = leave("velk-1-1", 0);
    Path began = Files.createDirectory(temporary.resolve("velk-1-2"));
    assertEquals(List.of(locking, began), make().stream().sorted().toList());
    copy.remove();
    makeOld(locking);
    makeOld(began);
    assertEquals(List.of(), make());
  }

  @Test
  void anotherCopyOfThisProcessStays() throws Exception {
    UnpackedCopy other = UnpackedCopy.make(temporary);
    try {
      makeOld(other.directory());
      assertEquals(List.of(other.directory()), make());
    } finally {
      other.remove();
    }
  }

  @Test
  void foldersOfOtherNamesStay() throws Exception {
    for (String name : List.of("velk-1", "velk-x-1", "velk-1-x", "velk-1-1.bak", "avelk-1-1")) {
      makeOld(leave(name, 1));
    }
    assertEquals(5, make().size());
  }

  @Test
  void filesOfOtherNamesStay() throws Exception {
    Path left = leave("velk-1-1", 1);
    Path notes = Files.writeString(left.resolve("notes.txt"), "mine");
    assertEquals(List.of(left), make());
    assertEquals("mine", Files.readString(notes));
    assertFalse(Files.exists(left.resolve(LIBRARY)));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "links there are for administrators")
  void plantedLinksAreNotFollowed() throws Exception {
    Path victim = leave("victim", 1);
    Path target = Files.writeString(folder.resolve("target"), "mine");
    // In place of the folder, of a library and of the lock.
    Path asFolder = Files.createSymbolicLink(temporary.resolve("velk-1-1"), victim);
    Path holder = leave("velk-1-2", 1);
    Files.createSymbolicLink(holder.resolve("libVELKParser.so"), target);
    Path lockLinked = leave("velk-1-3", 1);
    Files.delete(lockLinked.resolve(UnpackedCopy.LOCK));
    Files.createSymbolicLink(lockLinked.resolve(UnpackedCopy.LOCK), target);

    List<Path> stay = Stream.of(victim, asFolder, lockLinked).sorted().toList();
    assertEquals(stay, make().stream().sorted().toList());
    assertTrue(Files.exists(victim.resolve(LIBRARY)));
    assertEquals("mine", Files.readString(target));
  }

  @Test
  @DisabledOnOs(OS.WINDOWS)
  void foldersOfAnotherUserStay() throws Exception {
    Path theirs = leave("velk-1-1", 1);
    UserPrincipal nobody =
        theirs.getFileSystem().getUserPrincipalLookupService().lookupPrincipalByName("nobody");
    boolean given;
    try {
      Files.setOwner(theirs, nobody);
      given = true;
    } catch (FileSystemException e) {
      given = false;
    }
    assumeTrue(given, "only root gives files away");
    assertEquals(List.of(theirs), make());
    assertTrue(Files.exists(theirs.resolve(LIBRARY)));
  }

  @Test
  void aFailureLeavesNothing() throws Exception {
    make();
    assertThrows(NoSuchFileException.class, () -> UnpackedCopy.make(folder.resolve("missing")));
    Files.writeString(copy.directory().resolve(LIBRARY), "in the way");
    List<String> twice = List.of(LIBRARY);
    assertThrows(IOException.class, () -> copy.unpack("/nowhere/", twice));
    copy.remove();
    assertFalse(Files.exists(copy.directory()));
  }
}
