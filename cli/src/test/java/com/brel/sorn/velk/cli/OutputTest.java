package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/** Where an output goes: through links, into pipes and devices, and in the place of a file. */
class OutputTest {
  private static final String POSIX = "links, devices and modes are those of Linux";
  private static final String MASKED = "a\n*\n";

  @TempDir Path folder;
  private Path in;

  @BeforeEach
  void writeInput() throws IOException {
    in = Files.writeString(folder.resolve("in.csv"), "a\nx\n");
  }

  private Run mask(Object out, String... options) {
    String[] arguments = new String[options.length + 5];
    System.arraycopy(
        new String[] {"mask", "-s", "service=s a=fixed('*')", in.toString(), out.toString()},
        0,
        arguments,
        0,
        5);
    System.arraycopy(options, 0, arguments, 5, options.length);
    return Run.velk(arguments);
  }

  private Path link(String name, String target) throws IOException {
    return Files.createSymbolicLink(folder.resolve(name), Path.of(target));
  }

  private List<String> parts() throws IOException {
    try (Stream<Path> files = Files.walk(folder)) {
      return files.map(Path::toString).filter(name -> name.endsWith(".part")).toList();
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void theFileAtTheEndOfAChainOfLinksIsWrittenAndTheLinksStay() throws IOException {
    Path target = folder.resolve("elsewhere/target.csv");
    Files.createDirectory(target.getParent());
    Files.writeString(target, "former");
    link("second", "elsewhere/target.csv");
    Path first = link("first", folder.resolve("second").toString());
    mask(first).expect(ExitCode.DONE);
    assertEquals(MASKED, Files.readString(target));
    assertTrue(Files.isSymbolicLink(first));
    assertTrue(Files.isSymbolicLink(folder.resolve("second")));
    assertEquals(List.of(), parts());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aLinkToWhatIsNotThereYetIsFilled() throws IOException {
    Path link = link("link", "new.csv");
    mask(link).expect(ExitCode.DONE);
    assertTrue(Files.isSymbolicLink(link));
    assertEquals(MASKED, Files.readString(folder.resolve("new.csv")));
    Path lost = link("lost", "no/such/folder/new.csv");
    assertEquals(
        "velk: " + lost + ": there is no such file or directory\n",
        mask(lost).expect(ExitCode.INPUT_OUTPUT).err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void linksInACircleAreRefused() throws IOException {
    link("a", "b");
    Path circle = link("b", "a");
    assertEquals(
        "velk: " + circle + ": its links lead nowhere\n",
        mask(circle).expect(ExitCode.INPUT_OUTPUT).err());
    assertTrue(Files.isSymbolicLink(circle));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void reportsAndRulesGoThroughLinks() throws IOException {
    Path report = link("report", "report.txt");
    Files.writeString(folder.resolve("report.txt"), "former");
    mask(folder.resolve("out.csv"), "--report", report.toString()).expect(ExitCode.DONE);
    assertTrue(Files.isSymbolicLink(report));
    assertTrue(Files.readString(folder.resolve("report.txt")).contains("1 row, 0 values"));
    Path rules = link("rules", "own.rules");
    Files.writeString(folder.resolve("own.rules"), "former");
    Run refused = Run.velk("init", in.toString(), rules.toString());
    assertEquals(
        "velk: " + rules + ": it exists already\n", refused.expect(ExitCode.INPUT_OUTPUT).err());
    Run.velk("init", "--force", in.toString(), rules.toString()).expect(ExitCode.DONE);
    assertTrue(Files.isSymbolicLink(rules));
    assertTrue(Files.readString(folder.resolve("own.rules")).contains("a = null"));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void standardStreamsAreWrittenByTheirDevicesToo() throws IOException {
    Path link = link("link", "/dev/stdout");
    for (Object out : List.of("/dev/stdout", "/proc/self/fd/1", "/dev/fd/1", link)) {
      assertEquals(MASKED, mask(out, "-q").expect(ExitCode.DONE).out());
    }
    Run told = mask(folder.resolve("out.csv"), "-q", "--report", "/dev/stderr");
    assertTrue(told.expect(ExitCode.DONE).err().contains("1 row, 0 values"), told.err());
    assertTrue(Files.isSymbolicLink(Path.of("/dev/stderr")));
    assertTrue(Files.isSymbolicLink(Path.of("/dev/stdout")));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aPipeIsWrittenInto() throws Exception {
    Path pipe = folder.resolve("pipe");
    assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
    CompletableFuture<String> read =
        CompletableFuture.supplyAsync(
            () -> {
              try {
                return Files.readString(pipe);
              } catch (IOException e) {
                return e.toString();
              }
            });
    mask(pipe).expect(ExitCode.DONE);
    assertEquals(MASKED, read.get());
    assertTrue(Files.readAttributes(pipe, "isOther").containsValue(true));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aPipeIsReadByItsName() throws Exception {
    Path pipe = folder.resolve("pipe");
    assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
    String csv = "a,b\n" + "some text,more of it\n".repeat(20_000);
    Path whole = Files.writeString(folder.resolve("whole.csv"), csv);
    for (String jobs : List.of("1", "3")) {
      new ProcessBuilder("sh", "-c", "cat \"$0\" >\"$1\"", whole + "", pipe + "").start();
      Run run = Run.velk("mask", "-qj", jobs, "-s", "service=s * = keep", pipe.toString(), "-");
      assertEquals(csv, run.expect(ExitCode.DONE).out());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aPipeThatWouldBeReadAndWrittenIsRefused() throws Exception {
    Path pipe = folder.resolve("pipe");
    assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
    String name = pipe.toString();
    Run run =
        assertTimeoutPreemptively(
            Duration.ofSeconds(20),
            () -> Run.velk("mask", "-qs", "service=s * = keep", name, name));
    assertEquals(
        "velk: the output would take the place of the input\n", run.expect(ExitCode.USAGE).err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aNameAsLongAsAFolderAllowsIsWritten() throws IOException {
    for (String name : List.of("n".repeat(255), "ñ".repeat(127), "😀".repeat(63))) {
      Path out = folder.resolve(name);
      mask(out, "-q").expect(ExitCode.DONE);
      assertEquals(MASKED, Files.readString(out));
    }
    assertEquals(List.of(), parts());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aFullDeviceIsToldByItsNameAndStays() throws IOException {
    String told = ": No space left on device\n";
    for (String format : List.of("text", "json")) {
      Run run =
          mask(folder.resolve("out.csv"), "--report", "/dev/full", "--report-format", format, "-q");
      assertEquals("velk: /dev/full" + told, run.expect(ExitCode.INPUT_OUTPUT).err());
    }
    assertFalse(Files.exists(folder.resolve("out.csv")));
    assertEquals("velk: /dev/full" + told, mask("/dev/full", "-q").expect(4).err());
    Run init = Run.velk("init", in.toString(), "/dev/full").expect(ExitCode.INPUT_OUTPUT);
    assertEquals("velk: /dev/full" + told, init.err());
    assertFalse(Files.isRegularFile(Path.of("/dev/full")));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aFullDiskIsToldByTheOutputsName() throws Exception {
    Path disk = Files.createDirectory(folder.resolve("disk"));
    assumeTrue(ran("mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", disk.toString()), "root");
    try {
      Files.writeString(in, "a\n" + "x\n".repeat(100_000));
      Path out = disk.resolve("out.csv");
      assertEquals(
          "velk: " + out + ": No space left on device\n",
          mask(out, "-q").expect(ExitCode.INPUT_OUTPUT).err());
      try (Stream<Path> left = Files.list(disk)) {
        assertEquals(0, left.count());
      }
    } finally {
      assertTrue(ran("umount", disk.toString()));
    }
  }

  private static boolean ran(String... command) throws Exception {
    return new ProcessBuilder(command).redirectErrorStream(true).start().waitFor() == 0;
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aDiskIsNeverWrittenOver() throws Exception {
    Path disk = folder.resolve("disk");
    assumeTrue(ran("mknod", disk.toString(), "b", "7", "250"), "root");
    assertEquals(
        "velk: " + disk + " is no regular file; \"-\" is standard output\n",
        mask(disk).expect(ExitCode.INPUT_OUTPUT).err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void theModeOfTheFormerFileStays() throws IOException {
    Path out = folder.resolve("out.csv");
    Path report = folder.resolve("report");
    for (String mode : List.of("rw-------", "rw-r-----", "rw-rw-rw-", "r--r--r--")) {
      for (Path file : List.of(out, report)) {
        Files.deleteIfExists(file);
        Files.writeString(file, "former");
        Files.setPosixFilePermissions(file, PosixFilePermissions.fromString(mode));
      }
      mask(out, "--report", report.toString()).expect(ExitCode.DONE);
      assertEquals(MASKED, Files.readString(out));
      for (Path file : List.of(out, report)) {
        assertEquals(mode, PosixFilePermissions.toString(Files.getPosixFilePermissions(file)));
      }
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void aNewFileHasTheModeOfAnyOther() throws IOException {
    Path out = folder.resolve("out.csv");
    mask(out).expect(ExitCode.DONE);
    Path other = Files.createFile(folder.resolve("other"));
    assertEquals(Files.getPosixFilePermissions(other), Files.getPosixFilePermissions(out));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = POSIX)
  void theOwnerOfTheFormerFileStaysWhereRootMasks() throws IOException {
    Path out = Files.writeString(folder.resolve("out.csv"), "former");
    assumeTrue(Files.getAttribute(out, "unix:uid").equals(0), "root");
    Files.setAttribute(out, "unix:uid", 4321);
    Files.setAttribute(out, "unix:gid", 1234);
    Files.setPosixFilePermissions(out, PosixFilePermissions.fromString("rw-r-----"));
    mask(out).expect(ExitCode.DONE);
    assertEquals(4321, Files.getAttribute(out, "unix:uid"));
    assertEquals(1234, Files.getAttribute(out, "unix:gid"));
    assertEquals("rw-r-----", PosixFilePermissions.toString(Files.getPosixFilePermissions(out)));
  }

  @Test
  void emptyNamesAreRefused() throws IOException {
    String empty = "velk: a file to be written has an empty name; \"-\" is standard output\n";
    assertEquals(empty, mask("").expect(ExitCode.USAGE).err());
    Run report = mask(folder.resolve("out.csv"), "--report", "");
    assertEquals(empty, report.expect(ExitCode.USAGE).err());
    assertFalse(Files.exists(folder.resolve("out.csv"), LinkOption.NOFOLLOW_LINKS));
    Run in = Run.velk("mask", "-s", "service=s a=keep", "", "-");
    assertEquals(
        "velk: IN is empty; it names a file, or \"-\" is standard input\n",
        in.expect(ExitCode.USAGE).err());
  }
}
