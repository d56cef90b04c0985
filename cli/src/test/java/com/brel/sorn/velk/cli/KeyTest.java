package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/** {@code velk key new}. */
class KeyTest {
  @TempDir Path folder;

  private Path key(String name) {
    return folder.resolve(name);
  }

  @Test
  void aKeyIsSixtyFourDigitsAndALineEnd() throws IOException {
    Run run = Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    String text = Files.readString(key("a"));
    assertTrue(text.matches("[0-9a-f]{64}\n"), "not 64 digits and a line end");
    assertEquals("", run.out());
    assertFalse(run.err().contains(text.strip()), "the key is shown");
  }

  @Test
  void noTwoKeysAreTheSame() throws IOException {
    Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    Run.velk("key", "new", key("b").toString()).expect(ExitCode.DONE);
    assertNotEquals(Files.readString(key("a")), Files.readString(key("b")));
  }

  @Test
  @DisabledOnOs(
      value = OS.WINDOWS,
      disabledReason = "Wine keeps modes in the place of access lists")
  void onlyTheOwnerCanReadIt() throws IOException {
    Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    assertEquals(
        "rw-------", PosixFilePermissions.toString(Files.getPosixFilePermissions(key("a"))));
  }

  @Test
  void aFileThatExistsStaysAsItIs() throws IOException {
    Files.writeString(key("a"), "the key of last year");
    Run run = Run.velk("key", "new", key("a").toString()).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("it exists already"), run.err());
    assertEquals("the key of last year", Files.readString(key("a")));
  }

  @Test
  void aLinkIsNotFollowed() throws IOException {
    assumeTrue(folder.getFileSystem().supportedFileAttributeViews().contains("posix"));
    Files.createSymbolicLink(key("link"), key("elsewhere"));
    Run.velk("key", "new", key("link").toString()).expect(ExitCode.INPUT_OUTPUT);
    assertFalse(Files.exists(key("elsewhere")));
  }

  @Test
  void aFolderThatIsNotThereIsSaid() {
    Run run = Run.velk("key", "new", key("none").resolve("a").toString());
    run.expect(ExitCode.INPUT_OUTPUT);
    assertTrue(run.err().contains("there is no such file or directory"), run.err());
  }

  @Test
  void itIsNeverWrittenToStandardOutput() {
    Run run = Run.velk("key", "new", "-").expect(ExitCode.USAGE);
    assertEquals("", run.out());
  }

  @Test
  void theCommandAloneAsksForNew() {
    Run run = Run.velk("key").expect(ExitCode.USAGE);
    assertTrue(run.err().contains("Missing required subcommand"), run.err());
  }

  @Test
  void aNewKeyMasks() throws IOException {
    Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    String rules = "service=s key='file:" + key("a") + "' a=hash(length=12)";
    String masked = Run.mask(rules, "a\nAnna\n").expect(ExitCode.DONE).out();
    assertTrue(masked.matches("a\n[0-9a-f]{12}\n"), masked);
    assertEquals(masked, Run.mask(rules, "a\nAnna\n").expect(ExitCode.DONE).out());
  }

  @Test
  void aKeyThatOthersMayReadIsUsedAndTold() throws IOException {
    assumeTrue(folder.getFileSystem().supportedFileAttributeViews().contains("posix"));
    Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    String rules = "service=s key='file:" + key("a") + "' a=hash(length=12)";
    String warning = "velk: warning: others than its owner may read the key file";
    Run kept = Run.mask(rules, "a\nAnna\n", "-q").expect(ExitCode.DONE);
    assertEquals("", kept.err());
    for (String mode : List.of("rw-r-----", "rw----r--")) {
      Files.setPosixFilePermissions(key("a"), PosixFilePermissions.fromString(mode));
      Run told = Run.mask(rules, "a\nAnna\n", "-q").expect(ExitCode.DONE);
      assertTrue(told.err().startsWith(warning), told.err());
      assertEquals(kept.out(), told.out());
    }
  }

  @Test
  void aKeyThatOthersMayWriteIsRefused() throws IOException {
    assumeTrue(folder.getFileSystem().supportedFileAttributeViews().contains("posix"));
    Run.velk("key", "new", key("a").toString()).expect(ExitCode.DONE);
    Files.setPosixFilePermissions(key("a"), PosixFilePermissions.fromString("rw--w----"));
    String rules = "service=s key='file:" + key("a") + "' a=hash(length=12)";
    Run run = Run.mask(rules, "a\nAnna\n").expect(ExitCode.ENGINE);
    assertTrue(run.err().contains("7243"), run.err());
    assertEquals("", run.out());
  }
}
