package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/**
 * The launcher's archive of classes: whatever became of it, a run does what it does without one.
 */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "the launcher for Linux alone keeps one")
class ClassArchiveIT {
  private static final Path LAUNCHER = Path.of(System.getProperty("velk.launcher"));
  private static final String RULES = "service=s a=partial(keep_last=2) b=keep";

  @TempDir Path folder;
  private Path home;
  private Path archives;

  @BeforeEach
  void anEmptyHome() throws IOException {
    home = Files.createDirectory(folder.resolve("home"));
    archives = home.resolve(".cache/velk");
  }

  private Process start(Path launcher, Map<String, String> variables) throws IOException {
    ProcessBuilder builder = new ProcessBuilder(launcher + "", "mask", "-qs", RULES, "-", "-");
    Map<String, String> environment = builder.environment();
    environment.remove("XDG_CACHE_HOME");
    environment.remove("VELK_CLASS_ARCHIVES");
    environment.put("HOME", home.toString());
    environment.putAll(variables);
    Process process = builder.redirectErrorStream(true).start();
    process.getOutputStream().write("a,b\nabcdefgh,1\n".getBytes(StandardCharsets.UTF_8));
    process.getOutputStream().close();
    return process;
  }

  /** Nothing but the masked rows stands on either standard stream. */
  private static void expectMasked(Process process) throws Exception {
    String told = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    assertEquals("a,b\n******gh,1\n", told);
    assertEquals(ExitCode.DONE, process.waitFor());
  }

  private void run(Path launcher, Map<String, String> variables) throws Exception {
    expectMasked(start(launcher, variables));
  }

  private void run() throws Exception {
    run(LAUNCHER, Map.of());
  }

  /** Whether a run has the command's classes from an archive. */
  private boolean usesArchive(Path launcher, Map<String, String> variables) throws Exception {
    Path log = folder.resolve("classes.log");
    String others = System.getenv().getOrDefault("VELK_JAVA_OPTIONS", "");
    String option = " '-Xlog:class+load:file=" + log + "'";
    Map<String, String> all = new HashMap<>(variables);
    all.put("VELK_JAVA_OPTIONS", others + option);
    run(launcher, all);
    return Files.readString(log).contains(Velk.class.getName() + " source: shared objects file");
  }

  private boolean usesArchive() throws Exception {
    return usesArchive(LAUNCHER, Map.of());
  }

  private static List<Path> filesOf(Path directory) throws IOException {
    try (Stream<Path> files = Files.list(directory)) {
      return files.sorted().toList();
    }
  }

  /** The archive that the second run makes. */
  private Path make(Path launcher) throws Exception {
    run(launcher, Map.of());
    run(launcher, Map.of());
    List<Path> made = filesOf(archives);
    assumeTrue(made.stream().noneMatch(file -> file.toString().endsWith("-none")), "no such Java");
    return made.get(made.size() - 1);
  }

  private static void overwrite(Path archive, byte[] bytes) throws IOException {
    Files.setPosixFilePermissions(archive, PosixFilePermissions.fromString("rw-------"));
    Files.write(archive, bytes);
  }

  /** The name that an archive of these bytes would have in the place of another. */
  private static Path named(Path other, byte[] bytes) throws Exception {
    Process process = new ProcessBuilder("cksum").start();
    process.getOutputStream().write(bytes);
    process.getOutputStream().close();
    String sum = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    String id = other.getFileName().toString().replaceFirst("-[0-9]+-[0-9]+[.]jsa$", "");
    return other.resolveSibling(id + "-" + sum.trim().replace(' ', '-') + ".jsa");
  }

  @Test
  void isMadeByTheSecondRunAndUsedByTheThird() throws Exception {
    run();
    assertEquals(List.of(), filesOf(archives));
    EnumSet<PosixFilePermission> owner =
        EnumSet.of(
            PosixFilePermission.OWNER_READ,
            PosixFilePermission.OWNER_WRITE,
            PosixFilePermission.OWNER_EXECUTE);
    assertEquals(owner, Files.getPosixFilePermissions(archives));
    Path archive = make(LAUNCHER);
    assertEquals(1, filesOf(archives).size());
    assertEquals(named(archive, Files.readAllBytes(archive)), archive);
    assertTrue(usesArchive());
    assertEquals(List.of(), classesOfJars(folder.resolve("classes.log")));
  }

  /** Those that a run had from no archive: Java keeps none that were compiled for one of old. */
  private static List<String> classesOfJars(Path log) throws IOException {
    try (Stream<String> lines = Files.lines(log)) {
      return lines.filter(line -> line.contains(" source: file:")).toList();
    }
  }

  @Test
  void isMadeAnewWhereItIsDamaged() throws Exception {
    byte[] whole = Files.readAllBytes(make(LAUNCHER));
    byte[] flipped = whole.clone();
    flipped[whole.length / 2] ^= 1;
    List<byte[]> damages = new ArrayList<>(List.of(flipped, new byte[0]));
    for (int length : new int[] {5000, whole.length - 1}) {
      damages.add(Arrays.copyOf(whole, length));
    }
    for (byte[] damage : damages) {
      overwrite(filesOf(archives).get(0), damage);
      assertFalse(usesArchive());
      assertEquals(1, filesOf(archives).size());
      assertTrue(usesArchive());
    }
  }

  @Test
  void ofAnotherJavaIsLeftToIt() throws Exception {
    Path archive = make(LAUNCHER);
    Map<String, String> recent = Map.of("VELK_JAVA_HOME", System.getProperty("velk.recent.java"));
    run(LAUNCHER, recent);
    run(LAUNCHER, recent);
    assertTrue(filesOf(archives).contains(archive));
    assertTrue(usesArchive());
  }

  @Test
  void ofOtherJarsIsNotUsedUnderTheNameOfTheirsEither() throws Exception {
    byte[] other = Files.readAllBytes(make(LAUNCHER));
    Path launcher = unpack(folder.resolve("package")).resolve("bin/velk");
    Files.list(archives).forEach(file -> assertTrue(file.toFile().delete()));
    Path own = make(launcher);
    Files.delete(own);
    Files.write(named(own, other), other);
    assertFalse(usesArchive(launcher, Map.of()));
  }

  private static Path unpack(Path target) throws IOException {
    Path built = LAUNCHER.resolveSibling("../cli/target").normalize();
    copy(LAUNCHER, target.resolve("bin"));
    for (Path from : List.of(built, built.resolve("lib"))) {
      for (Path jar : filesOf(from)) {
        if (jar.toString().endsWith(".jar")) {
          copy(jar, target.resolve("command").resolve(built.relativize(from)));
        }
      }
    }
    return target;
  }

  private static void copy(Path file, Path folder) throws IOException {
    Path copy = Files.createDirectories(folder).resolve(file.getFileName());
    Files.copy(file, copy, StandardCopyOption.COPY_ATTRIBUTES);
  }

  @Test
  void liesBesideTheCommandForAll() throws Exception {
    Path unpacked = unpack(folder.resolve("package"));
    Path launcher = unpacked.resolve("bin/velk");
    Path command = unpacked.resolve("command");
    run(launcher, Map.of("VELK_CLASS_ARCHIVES", command.toString()));
    assumeTrue(filesOf(command).stream().noneMatch(file -> file.toString().endsWith("-none")));
    assertTrue(usesArchive(launcher, Map.of()));
    assertTrue(usesArchive(launcher, Map.of("VELK_CLASS_ARCHIVES", "")));
    assertFalse(Files.exists(archives));
  }

  /** Ends before it is connected, which is all the same to the archive. */
  private String copyNowhere(String log) throws Exception {
    Path rules = Files.writeString(folder.resolve("rules"), "[public.a] = keep");
    String nowhere = "postgresql://velk@127.0.0.1:1/";
    List<String> command = new ArrayList<>(List.of(LAUNCHER.toString(), "copy", "-r", rules + ""));
    command.addAll(List.of("--from", nowhere + "source", "--to", nowhere + "target"));
    ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
    builder.environment().put("HOME", home.toString());
    builder.environment().put("VELK_JAVA_OPTIONS", "'-Xlog:class+load:file=" + log + "'");
    builder.environment().remove("XDG_CACHE_HOME");
    builder.environment().remove("VELK_CLASS_ARCHIVES");
    Process process = builder.start();
    String told = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    assertEquals(ExitCode.INPUT_OUTPUT, process.waitFor(), told);
    return told;
  }

  @Test
  void ofCopiesIsAnotherOneAndUntilThenThatOfAll() throws Exception {
    Path masking = make(LAUNCHER);
    Path log = folder.resolve("copy.log");
    String shared = " source: shared objects file (top)";
    String driver = "org.postgresql.jdbc.PgConnection" + shared;
    String told = copyNowhere(log.toString());
    String first = Files.readString(log);
    assertTrue(first.contains(Velk.class.getName() + shared), told);
    assertFalse(first.contains(driver), told);
    List<Path> both = filesOf(archives);
    assertEquals(2, both.size());
    assertTrue(both.contains(masking));
    assertEquals(told, copyNowhere(log.toString()));
    assertTrue(Files.readString(log).contains(driver), told);
    assertEquals(List.of(), classesOfJars(log));
    assertEquals(both, filesOf(archives));
    assertTrue(usesArchive());
  }

  @Test
  void isNotMadeWhereNobodyWantsIt() throws Exception {
    for (int i = 0; i < 2; i++) {
      run(LAUNCHER, Map.of("VELK_CLASS_ARCHIVES", ""));
    }
    assertEquals(List.of(), filesOf(home));
  }

  @Test
  void isNotMadeWhereItCannotBe() throws Exception {
    Path file = Files.createFile(folder.resolve("file"));
    for (String place : List.of("/proc", file.toString(), file + "/folder", "/dev/null")) {
      run(LAUNCHER, Map.of("VELK_CLASS_ARCHIVES", place));
      run(LAUNCHER, Map.of("VELK_CLASS_ARCHIVES", place));
    }
    for (String nowhere : List.of("", folder.resolve("nowhere").toString(), "/proc")) {
      run(LAUNCHER, Map.of("HOME", nowhere));
      run(LAUNCHER, Map.of("HOME", nowhere));
    }
    assertFalse(Files.exists(folder.resolve("nowhere")));
  }

  @Test
  void isNotTriedAgainWhereThisJavaMakesNone() throws Exception {
    Path archive = make(LAUNCHER);
    Path none = Path.of(archive.toString().replaceFirst("-[0-9]+-[0-9]+[.]jsa$", "-none"));
    Files.move(archive, none);
    run();
    assertEquals(List.of(none), filesOf(archives));
  }

  @Test
  void isMadeWhateverBecomesOfTheRun() throws Exception {
    run();
    String closed = "\"$0\" mask -qs \"$1\" - - <&- 2>&1";
    ProcessBuilder builder =
        new ProcessBuilder("bash", "-c", closed, LAUNCHER.toString(), "service=s a=nonsense");
    builder.environment().put("HOME", home.toString());
    builder.environment().remove("XDG_CACHE_HOME");
    builder.environment().remove("VELK_CLASS_ARCHIVES");
    Process process = builder.start();
    process.getInputStream().readAllBytes();
    assertNotEquals(ExitCode.DONE, process.waitFor());
    List<Path> made = filesOf(archives);
    assertEquals(1, made.size());
    assumeTrue(made.get(0).toString().endsWith(".jsa"), "no such Java");
    assertTrue(usesArchive());
  }

  @Test
  void ofSomebodyElseIsNotUsed() throws Exception {
    Path archive = make(LAUNCHER);
    assumeTrue(Files.getAttribute(folder, "unix:uid").equals(0), "root alone gives files away");
    Files.setAttribute(archive, "unix:uid", 65534);
    assertFalse(usesArchive());
    assertTrue(usesArchive());
    Files.setAttribute(archives, "unix:uid", 65534);
    List<Path> before = filesOf(archives);
    assertFalse(usesArchive());
    assertEquals(before, filesOf(archives));
  }

  @Test
  void thatOthersMayWriteIsNotUsed() throws Exception {
    Path archive = make(LAUNCHER);
    for (String mode : List.of("rw-rw-r--", "rw-r--rw-")) {
      Files.setPosixFilePermissions(archive, PosixFilePermissions.fromString(mode));
      assertFalse(usesArchive());
      assertTrue(usesArchive());
      archive = filesOf(archives).get(0);
    }
    for (String mode : List.of("rwxrwxr-x", "rwxr-xrwx")) {
      Files.setPosixFilePermissions(archives, PosixFilePermissions.fromString(mode));
      assertFalse(usesArchive());
    }
    Files.setPosixFilePermissions(archives, PosixFilePermissions.fromString("rwxr-xr-x"));
    assertTrue(usesArchive());
  }

  /** A folder that the user names may hold anything, of any age. */
  @Test
  void takesTheWayOfNoOtherFile() throws Exception {
    Path named = Files.createDirectories(folder.resolve("named"));
    List<Path> others = new ArrayList<>();
    for (String name :
        List.of(
            "velk-trace.json",
            "velk-people.csv",
            "velk-2024.backup",
            "velk-2024-01.csv",
            "below/velk-1-2-3.jsa")) {
      others.add(named.resolve(name));
    }
    others.add(Files.createDirectories(named.resolve("velk-2-3-4.jsa")));
    Files.createDirectories(named.resolve("below"));
    for (Path other : others) {
      if (!Files.exists(other)) {
        Files.writeString(other, "theirs");
      }
      Files.setLastModifiedTime(other, FileTime.fromMillis(0));
    }
    Path old = Files.writeString(named.resolve("velk-1-2-3.jsa"), "an old archive");
    Files.setLastModifiedTime(old, FileTime.fromMillis(0));
    run(LAUNCHER, Map.of("VELK_CLASS_ARCHIVES", named.toString()));
    others.forEach(other -> assertTrue(Files.exists(other), other::toString));
    assertFalse(Files.exists(old));
  }

  @Test
  void isWholeHoweverManyRunsMakeIt() throws Exception {
    make(LAUNCHER);
    Files.list(archives).forEach(file -> assertTrue(file.toFile().delete()));
    List<Process> runs = new ArrayList<>();
    for (int i = 0; i < 4; i++) {
      runs.add(start(LAUNCHER, Map.of()));
    }
    for (Process run : runs) {
      expectMasked(run);
    }
    List<Path> made = filesOf(archives);
    assertNotEquals(List.of(), made);
    for (Path archive : made) {
      assertEquals(named(archive, Files.readAllBytes(archive)), archive);
    }
    assertTrue(usesArchive());
  }

  @Test
  void leavesTheOptionsOfJavaToTheUser() throws Exception {
    make(LAUNCHER);
    for (String options :
        List.of(
            "-XX:+UseSerialGC",
            "-XX:+UseParallelGC -XX:TieredStopAtLevel=4 -Xmx128m",
            "-Xshare:off",
            "-XX:SharedArchiveFile=/nowhere.jsa")) {
      run(LAUNCHER, Map.of("VELK_JAVA_OPTIONS", options));
    }
  }
}
