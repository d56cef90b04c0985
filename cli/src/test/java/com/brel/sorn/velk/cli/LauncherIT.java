package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import java.util.regex.Pattern;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

/** What is packaged, started as users start it. */
class LauncherIT {
  private static final Path LAUNCHER = Path.of(System.getProperty("velk.launcher"));
  private static final boolean ON_WINDOWS = OS.WINDOWS.isCurrentOs();
  private static final String BASH = "what a shell of Linux does";

  @TempDir Path folder;

  private record Ended(int exitCode, String out, String err) {}

  private Ended velk(String... arguments) throws Exception {
    return start(Map.of(), LAUNCHER.toString(), arguments);
  }

  private Ended start(Map<String, String> variables, String program, String... arguments)
      throws Exception {
    List<String> command = new ArrayList<>(List.of(program));
    for (String argument : arguments) {
      // A batch file has its arguments as they stand in the command line.
      command.add(ON_WINDOWS ? argument.replace("\"", "\\\"") : argument);
    }
    Path err = folder.resolve("err");
    Path in = folder.resolve("in");
    if (!Files.exists(in)) {
      Files.createFile(in);
    }
    ProcessBuilder builder =
        new ProcessBuilder(command).redirectError(err.toFile()).redirectInput(in.toFile());
    // What a terminal's shell says of it is not to be believed.
    builder.environment().put("TERM", "xterm");
    // Nothing of a run lies in the user's home.
    builder.environment().put("VELK_CLASS_ARCHIVES", "");
    if (!ON_WINDOWS) {
      // The poorest of locales: arguments are UTF-8 all the same.
      builder.environment().put("LC_ALL", "C");
    }
    builder.environment().putAll(variables);
    Process process = builder.start();
    String out = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    Ended run = new Ended(process.waitFor(), out, Files.readString(err));
    Run.expectNoWarning(run.out(), run.err());
    return run;
  }

  /** One more option of the virtual machine, beside those that the tests are run with. */
  private static Map<String, String> option(String option) {
    String others = System.getenv().getOrDefault("VELK_JAVA_OPTIONS", "");
    return Map.of("VELK_JAVA_OPTIONS", others + " " + option);
  }

  @Test
  void theLauncherMasksFromStandardInputToStandardOutput() throws Exception {
    Files.writeString(folder.resolve("in"), "a,b,c\r\nx,2,\"я\r\n\"\"\n\"\r\n");
    Ended run = velk("mask", "-s", "service=s a=fixed('ä') b=null c=keep", "-", "-");
    assertEquals("a,b,c\r\nä,,\"я\r\n\"\"\n\"\r\n", run.out(), run.err());
    assertEquals(ExitCode.DONE, run.exitCode());
    assertTrue(run.err().contains("1 row, "), run.err());
  }

  @Test
  void theLauncherMasksWithSeveralThreads() throws Exception {
    Path in = Files.writeString(folder.resolve("in"), "a\n" + "x\ny\n".repeat(50));
    Path out = folder.resolve("ä.csv");
    String rules = "service=s a=fixed('ä')";
    Ended run = velk("mask", "-j", "2", "-s", rules, in.toString(), out.toString());
    assertEquals(ExitCode.DONE, run.exitCode(), run.err());
    assertEquals("a\n" + "ä\n".repeat(100), Files.readString(out));
  }

  @Test
  void argumentsHaveBlanksAndQuotes() throws Exception {
    Path in = Files.writeString(folder.resolve("a  b & (c)!.csv"), "a b,c\n1,2\n");
    Path out = folder.resolve("out & more.csv");
    String rules = "service=s \"a b\"=fixed('x  y & z! ^') c=keep";
    Ended run = velk("mask", "-s", rules, in.toString(), out.toString());
    assertEquals(ExitCode.DONE, run.exitCode(), run.err());
    assertEquals("a b,c\nx  y & z! ^,2\n", Files.readString(out));
  }

  @Test
  void aRulesFileHoldsWhatNoCommandLineNeedCarry() throws Exception {
    Files.writeString(folder.resolve("in"), "имя\nx\n");
    Path rules = Files.writeString(folder.resolve("rules"), "service=s \"имя\"=fixed('Zoë я')");
    Ended run = velk("mask", "-q", "-r", rules.toString(), "-", "-");
    assertEquals(new Ended(ExitCode.DONE, "имя\nZoë я\n", ""), run);
  }

  @Test
  void theLauncherStartsFromAFolderOfAnyName() throws Exception {
    Path in = Files.writeString(folder.resolve("in"), "a\nx\n");
    // Wine's shell, other than Windows', reads the percent signs of a folder as its script's own.
    String percent = ON_WINDOWS ? "" : " 100% %OS%";
    Path unpacked = unpack(folder.resolve("we (you) & they!  ^" + percent));
    Path launcher = unpacked.resolve("bin").resolve(LAUNCHER.getFileName());
    String rules = "service=s a=keep";
    Ended run = start(Map.of(), launcher.toString(), "mask", "-q", "-s", rules, in.toString(), "-");
    assertEquals(new Ended(ExitCode.DONE, "a\nx\n", ""), run);
  }

  /** As a package is: bin and command. */
  private static Path unpack(Path target) throws IOException {
    Path built = LAUNCHER.resolveSibling("../cli/target").normalize();
    Path command = target.resolve("command");
    copy(LAUNCHER, target.resolve("bin"));
    for (Path from : List.of(built, built.resolve("lib"))) {
      try (Stream<Path> jars = Files.list(from)) {
        for (Path jar : jars.filter(file -> file.toString().endsWith(".jar")).toList()) {
          copy(jar, command.resolve(built.relativize(from)));
        }
      }
    }
    return target;
  }

  /** The libraries of a package, beside its command. */
  private static Path addLibraries(Path unpacked) throws IOException {
    Path lib = Files.createDirectories(unpacked.resolve("lib"));
    String suffix = System.mapLibraryName("").replace("lib", "");
    try (Stream<Path> jars = Files.list(unpacked.resolve("command/lib"))) {
      Path api =
          jars.filter(jar -> jar.toString().matches(".*velk-[0-9][^/\\\\]*")).findFirst().get();
      try (JarFile jar = new JarFile(api.toFile())) {
        for (JarEntry entry : Collections.list(jar.entries())) {
          if (entry.getName().matches("native/.*" + Pattern.quote(suffix))) {
            Path name = Path.of(entry.getName()).getFileName();
            Files.copy(jar.getInputStream(entry), lib.resolve(name));
          }
        }
      }
    }
    return lib;
  }

  private static Path copy(Path file, Path folder) throws IOException {
    Path copy = Files.createDirectories(folder).resolve(file.getFileName());
    return Files.copy(file, copy, StandardCopyOption.COPY_ATTRIBUTES);
  }

  @Test
  void thePackagedCommandLoadsTheLibrariesBesideIt() throws Exception {
    Path unpacked = unpack(folder.resolve("we (you) & they"));
    Path lib = addLibraries(unpacked);
    Path launcher = unpacked.resolve("bin").resolve(LAUNCHER.getFileName());
    assertTrue(loadedBy(launcher, Map.of()).contains(" from " + lib + System.lineSeparator()));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "Java knows what it is called there")
  void theTemporaryFolderIsTheShells() throws Exception {
    Path launcher = unpack(folder.resolve("package")).resolve("bin/velk");
    Path temporary = Files.createDirectory(folder.resolve("my own"));
    String told = loadedBy(launcher, Map.of("TMPDIR", temporary.toString()));
    assertTrue(told.contains(" from " + temporary.resolve("velk-")), told);
    assertEquals(List.of(), velkFiles(temporary));
    // One that is not there is no reason to fail.
    String missing = folder.resolve("missing").toString();
    told = loadedBy(launcher, Map.of("TMPDIR", missing));
    assertFalse(told.contains(missing), told);
  }

  /** What the log says of the libraries. */
  private String loadedBy(Path launcher, Map<String, String> variables) throws Exception {
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Path config = folder.resolve("logging.properties");
    Files.writeString(
        config,
        """
        handlers=java.util.logging.ConsoleHandler
        java.util.logging.ConsoleHandler.level=FINE
        com.brel.sorn.velk.level=FINE
        """);
    Map<String, String> all =
        new HashMap<>(option("\"-Djava.util.logging.config.file=" + config + "\""));
    all.putAll(variables);
    String rules = "service=s a=keep";
    Ended run = start(all, launcher.toString(), "mask", "-q", "-s", rules, "-", "-");
    assertEquals("a\nx\n", run.out(), run.err());
    assertTrue(run.err().contains("loaded VELK reference engine "), run.err());
    return run.err();
  }

  private static List<Path> velkFiles(Path temporary) throws IOException {
    try (Stream<Path> files = Files.list(temporary)) {
      return files.filter(file -> file.getFileName().toString().startsWith("velk-")).toList();
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "its libraries go with the next run there")
  void aRunThatIsKilledLeavesNoLibraries() throws Exception {
    Path launcher = unpack(folder.resolve("package")).resolve("bin/velk");
    for (boolean forcibly : List.of(false, true)) {
      Path temporary = Files.createDirectory(folder.resolve("forcibly " + forcibly));
      Path out = folder.resolve("out " + forcibly);
      ProcessBuilder builder =
          new ProcessBuilder(
              launcher.toString(), "mask", "-q", "-s", "service=s a=keep", "-", out.toString());
      builder.environment().put("TMPDIR", temporary.toString());
      Process process = builder.start();
      process.getOutputStream().write("a\n1\n".getBytes(StandardCharsets.UTF_8));
      process.getOutputStream().flush();
      awaitPart();
      if (forcibly) {
        process.destroyForcibly();
      } else {
        process.destroy();
      }
      process.waitFor();
      assertEquals(List.of(), velkFiles(temporary));
    }
  }

  private void awaitPart() throws Exception {
    long deadline = System.nanoTime() + 30_000_000_000L;
    while (parts().isEmpty() && System.nanoTime() < deadline) {
      Thread.sleep(20);
    }
    assertFalse(parts().isEmpty());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "the jar is the same")
  void aRecentJavaHasNothingToWarnOfWithoutTheLauncherEither() throws Exception {
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Path java = Path.of(System.getProperty("velk.recent.java"), "bin", "java");
    String jar = jarOfTheCommand().toString();
    String[] arguments = {"-jar", jar, "mask", "-q", "-s", "service=s a=keep", "-", "-"};
    assertEquals(
        new Ended(ExitCode.DONE, "a\nx\n", ""), start(Map.of(), java.toString(), arguments));
  }

  private static Path jarOfTheCommand() throws IOException {
    try (Stream<Path> files = Files.list(LAUNCHER.resolveSibling("../cli/target").normalize())) {
      return files
          .filter(file -> file.toString().matches(".*/velk-cli-[^/]*\\.jar"))
          .findFirst()
          .get();
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void theReadmeMasksTheSampleWhenPasted() throws Exception {
    Path root = LAUNCHER.getParent().getParent();
    String readme = Files.readString(root.resolve("README.md"));
    List<String> blocks =
        Pattern.compile("^```sh\\n(.*?)^```$", Pattern.DOTALL | Pattern.MULTILINE)
            .matcher(readme)
            .results()
            .map(block -> block.group(1))
            .filter(block -> block.contains("bin/velk mask"))
            .toList();
    assertEquals(1, blocks.size());
    // The build is what this test is part of.
    String build = "scripts/build linux && mvn -q -DskipTests package\n";
    assertTrue(blocks.get(0).startsWith(build), blocks.get(0));
    for (String name : List.of("bin", "examples")) {
      Files.createSymbolicLink(folder.resolve(name), root.resolve(name));
    }
    String pasted = "cd '" + folder + "'\n" + blocks.get(0).substring(build.length());
    Ended run = start(Map.of("MASK_KEY", ""), "bash", "-c", pasted);
    assertEquals(ExitCode.FIELD_ERRORS, run.exitCode(), run.err());
    assertTrue(run.err().contains("50 rows, 5 values could not be masked"), run.err());
    assertEquals(List.of("name 4", "name 29", "card 43", "name 45", "card 50"), unmasked());
    // Links are not the temporary folder's to follow.
    Files.delete(folder.resolve("bin"));
    Files.delete(folder.resolve("examples"));
  }

  /** The values of the sample that are null in the masked file alone: column and row. */
  private List<String> unmasked() throws IOException {
    List<String> found = new ArrayList<>();
    try (CsvSource before = open("examples/people.csv");
        CsvSource after = open("masked.csv")) {
      List<String> names = List.of(before.next().values());
      assertEquals(names, List.of(after.next().values()));
      for (int row = 1; row <= 50; row++) {
        String[] was = before.next().values();
        String[] is = after.next().values();
        for (int column = 0; column < was.length; column++) {
          if (was[column] != null && is[column] == null) {
            found.add(names.get(column) + " " + row);
          }
        }
      }
      assertNull(after.next());
    }
    return found;
  }

  private CsvSource open(String name) throws IOException {
    return new CsvSource(Files.newInputStream(folder.resolve(name)));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aPipeIsMaskedWithSeveralThreadsToo() throws Exception {
    Files.writeString(folder.resolve("in"), "a\nx\n");
    String rules = "service=s a=fixed('y')";
    String pipe = "exec \"$0\" mask -q \"$@\" <(printf 'a\\nx\\n') ";
    for (String jobs : List.of("1", "2")) {
      String[] arguments = {"-c", pipe + "-", LAUNCHER.toString(), "-s", rules, "-j", jobs};
      assertEquals(new Ended(ExitCode.DONE, "a\ny\n", ""), start(Map.of(), "bash", arguments));
    }
  }

  @Test
  void librariesThatAreNotThereAreAFailureOfTheEngine() throws Exception {
    Path nowhere = folder.resolve("no libraries");
    Map<String, String> options = option("\"-Dvelk.library.dir=" + nowhere + "\"");
    Ended run = start(options, LAUNCHER.toString(), "mask", "-s", "service=s a=keep", "-", "-");
    assertEquals(ExitCode.ENGINE, run.exitCode(), run.err());
    Path library = nowhere.resolve(System.mapLibraryName("VELKProvider"));
    assertTrue(run.err().contains(library + ": not there"), run.err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "quotes there are Windows' own")
  void optionsHaveTheQuotesOfAShellAndNothingElseOfIt() throws Exception {
    Map<String, String> options = option("-Dvelk.library.dir='$(echo a)  *'#\"`b`\" -Dx=y");
    Ended run = start(options, LAUNCHER.toString(), "mask", "-s", "service=s a=keep", "-", "-");
    assertTrue(run.err().contains("/$(echo a)  *#`b`/libVELKProvider.so: "), run.err());
    Ended open = start(option("'-Dx=y"), LAUNCHER.toString(), "--version");
    assertEquals(ExitCode.ENGINE, open.exitCode());
    assertTrue(open.err().contains("unmatched single quote"), open.err());
  }

  @Test
  void aRecentJavaHasNothingToWarnOf() throws Exception {
    Path in = Files.writeString(folder.resolve("in"), "a\nx\n");
    String out = folder.resolve("out.csv").toString();
    Map<String, String> java = Map.of("VELK_JAVA_HOME", System.getProperty("velk.recent.java"));
    for (String jobs : List.of("1", "2")) {
      String rules = "service=s a=keep";
      String[] arguments = {"mask", "-q", "-j", jobs, "-s", rules, in.toString(), out};
      Ended run = start(java, LAUNCHER.toString(), arguments);
      assertEquals(new Ended(ExitCode.DONE, "", ""), run);
    }
  }

  @Test
  void whatIsToldIsUtf8WhateverThePlatformPrefers() throws Exception {
    Files.writeString(folder.resolve("in"), "naïve\nä\n");
    Map<String, String> options = option("-Dfile.encoding=ISO-8859-1");
    String rules = "service=s \"naïve\"=keep";
    Ended done = start(options, LAUNCHER.toString(), "preview", "-s", rules, "-");
    assertEquals("naïve\nä\n", done.out(), done.err());
    Ended wrong = start(options, LAUNCHER.toString(), "mäsk");
    assertTrue(wrong.err().contains("'mäsk'"), wrong.err());
  }

  @Test
  void thereIsOneTraceOfSeveralThreads() throws Exception {
    Path in = Files.writeString(folder.resolve("in"), "a\n" + "x\n".repeat(10));
    String trace = folder.resolve("trace.json").toString();
    Ended run =
        start(
            Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", trace),
            LAUNCHER.toString(),
            "mask",
            "-j",
            "2",
            "-s",
            "service=s a=keep",
            in.toString(),
            folder.resolve("out.csv").toString());
    assertEquals(ExitCode.DONE, run.exitCode(), run.err());
    JsonNode events = new ObjectMapper().readTree(Path.of(trace).toFile());
    assertTrue(events.findValuesAsText("name").contains("VELK.terminateFramework0"));
    assertFalse(Files.exists(Path.of(trace + ".1")));
  }

  @Test
  void theLauncherPassesTheExitCodeOn() throws Exception {
    String rules = "service=s a=keep a.type=integer";
    Files.writeString(folder.resolve("in"), "a\nx\n");
    assertEquals(ExitCode.DONE, velk("--version").exitCode());
    assertEquals(ExitCode.USAGE, velk("mask").exitCode());
    assertEquals(ExitCode.FIELD_ERRORS, velk("mask", "-s", rules, "-", "-").exitCode());
    assertEquals(
        ExitCode.INPUT_OUTPUT,
        velk("mask", "-s", rules, "--on-error", "stop", "-", "-").exitCode());
    Ended keyless = velk("mask", "-s", "service=s key=env:NO_KEY a=hash", "-", "-");
    assertEquals(ExitCode.ENGINE, keyless.exitCode(), keyless.err());
  }

  @Test
  void onlyATerminalIsToldInColours() throws Exception {
    Ended run = velk("nonsense");
    String told = "Unmatched argument at index 0: 'nonsense'";
    assertEquals(told, run.err().lines().findFirst().orElse(""));
  }

  @Test
  void aLauncherWithoutJavaAsksForIt() throws Exception {
    String nowhere = folder.resolve("no Java (x86)").toString();
    Ended run = start(Map.of("VELK_JAVA_HOME", nowhere), LAUNCHER.toString(), "--version");
    assertEquals(ExitCode.ENGINE, run.exitCode());
    assertTrue(run.err().startsWith("velk: there is no Java; install one of "), run.err());
    assertEquals(1, run.err().lines().count());
  }

  @Test
  void aLauncherWithoutABuildSaysHowToBuild() throws Exception {
    Path copy = copy(LAUNCHER, folder.resolve("not built (yet)/bin"));
    Ended run = start(Map.of(), copy.toString(), "--version");
    assertEquals(ExitCode.ENGINE, run.exitCode());
    String advice = ON_WINDOWS ? "the README says how to build it" : "build it with: ";
    assertTrue(run.err().startsWith("velk: the command is not built yet; " + advice), run.err());
    assertEquals(1, run.err().lines().count());
  }

  @Test
  void aLauncherWithFilesMissingAsksToUnpackThePackageAgain() throws Exception {
    Path unpacked = folder.resolve("half (unpacked)");
    Path copy = copy(LAUNCHER, unpacked.resolve("bin"));
    Path command = Files.createDirectories(unpacked.resolve("command"));
    for (String present : List.of("README", "velk-cli-1.jar")) {
      Files.createFile(command.resolve(present));
      Ended run = start(Map.of(), copy.toString(), "--version");
      assertEquals(ExitCode.ENGINE, run.exitCode());
      assertTrue(run.err().startsWith("velk: files are missing in "), run.err());
      assertEquals(1, run.err().lines().count());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "there it ends without a word to it")
  void aRunThatIsKilledLeavesNothingUnderTheNameOfTheOutput() throws Exception {
    Path out = folder.resolve("out.csv");
    Process process =
        new ProcessBuilder(
                LAUNCHER.toString(), "mask", "-q", "-s", "service=s a=keep", "-", out.toString())
            .start();
    process.getOutputStream().write("a\n1\n".getBytes(StandardCharsets.UTF_8));
    process.getOutputStream().flush();
    awaitPart();
    process.destroy();
    process.waitFor();
    assertFalse(Files.exists(out));
    assertEquals(List.of(), parts());
  }

  private List<Path> parts() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.filter(file -> file.toString().endsWith(".part")).toList();
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aShellLearnsToComplete() throws Exception {
    String learn = "source <(\"$0\" generate-completion) && complete -p velk";
    Ended run = start(Map.of(), "bash", "-c", learn, LAUNCHER.toString());
    assertTrue(run.out().startsWith("complete "), run.err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "both are for Linux")
  void thereAreAManPageForEachSubcommandAndACompletion() throws IOException {
    Path man = Path.of(System.getProperty("velk.man"));
    for (String page : List.of("velk", "velk-mask", "velk-check", "velk-preview", "velk-init")) {
      assertTrue(Files.readString(man.resolve(page + ".1")).contains(".SH \"OPTIONS\""), page);
    }
    String completion = Files.readString(Path.of(System.getProperty("velk.completion")));
    assertTrue(completion.contains("--max-errors"));
    assertFalse(completion.contains("mask-slice"));
  }
}
