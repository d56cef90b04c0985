package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.PosixFilePermissions;
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
    String told = "velk: Unmatched argument at index 0: 'nonsense'";
    assertEquals(told, run.err().lines().findFirst().orElse(""));
  }

  @Test
  void aPlaceWithoutJavaIsToldByWhatNamesIt() throws Exception {
    String nowhere = folder.resolve("no Java (x86)").toString();
    String ours = "VELK_JAVA_HOME";
    for (String name : ON_WINDOWS ? List.of(ours) : List.of(ours, "JAVA_HOME")) {
      Map<String, String> variables = new HashMap<>(Map.of(ours, ""));
      variables.put(name, nowhere);
      Ended run = start(variables, LAUNCHER.toString(), "--version");
      assertEquals(ExitCode.ENGINE, run.exitCode());
      assertTrue(run.err().startsWith("velk: " + name + " names "), run.err());
      assertTrue(run.err().contains("no"), run.err());
      assertTrue(run.err().strip().endsWith("; name a Java of version 17 or later"), run.err());
      assertEquals(1, run.err().lines().count());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aJavaThatIsTooOldIsTold() throws Exception {
    Path old = Files.createDirectories(folder.resolve("old/bin")).getParent();
    Path java = Files.writeString(old.resolve("bin/java"), "#!/bin/sh\nexit 0\n");
    assertTrue(java.toFile().setExecutable(true));
    for (String[] version : new String[][] {{"1.8.0_402", "8"}, {"11.0.2", "11"}}) {
      Files.writeString(
          old.resolve("release"), "IMPLEMENTOR=\"x\"\nJAVA_VERSION=\"" + version[0] + "\"\n");
      Map<String, String> variables = Map.of("VELK_JAVA_HOME", old.toString());
      Ended run = start(variables, LAUNCHER.toString(), "--version");
      String told = " is Java " + version[1] + ", and version 17 or later is needed; ";
      assertTrue(run.err().contains(told), run.err());
      assertEquals(ExitCode.ENGINE, run.exitCode());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aReaderThatHasEnoughEndsTheRunInSilence() throws Exception {
    Files.writeString(folder.resolve("in"), "a\n" + "x\n".repeat(200_000));
    String rules = "service=s a=keep";
    for (String language : List.of("C", "C.UTF-8")) {
      Ended run =
          start(
              Map.of("LC_ALL", language),
              "bash",
              "-c",
              "exec 3<&0 </dev/null; \"$0\" \"$@\" <&3 | head -n 1; echo ${PIPESTATUS[0]}",
              LAUNCHER.toString(),
              "mask",
              "-s",
              rules,
              "-",
              "-");
      assertEquals(new Ended(ExitCode.DONE, "a\n141\n", ""), run);
    }
    String preview = "\"$0\" \"$@\" | true; echo ${PIPESTATUS[0]}";
    Ended texts = start(Map.of(), "bash", "-c", preview, LAUNCHER.toString(), "mask", "--help");
    assertEquals(new Ended(ExitCode.DONE, "141\n", ""), texts);
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void whatJavaSaysOfItselfIsNoRow() throws Exception {
    // Once the process is Java and takes the signal.
    String quit =
        "until grep -q 'SigCgt:.*[4567c-f]$' /proc/$pid/status; do sleep 0.1; done; sleep 1; "
            + "kill -QUIT $pid; sleep 1; ";
    String run =
        "exec 3> >(exec \"$0\" mask -qs 'service=s a=keep' - - >\"$1\"); pid=$!; "
            + quit
            + "echo a >&3; echo x >&3; exec 3>&-; wait $pid";
    Path out = folder.resolve("out.csv");
    Ended ended = inShell(run, out.toString());
    assertEquals("a\nx\n", Files.readString(out));
    assertTrue(ended.err().contains("Full thread dump"), ended.err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aReportThatNobodyReadsDoesNotKeepTheOutputBackInSilence() throws Exception {
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Path out = folder.resolve("out.csv");
    String mask = "\"$0\" mask -s 'service=s a=keep' --report - - \"$1\" | true; ";
    Ended run = inShell(mask + "echo ${PIPESTATUS[0]}", out.toString());
    String told = "velk: standard output: closed by its reader; no output was written\n";
    assertEquals("4\n", run.out());
    assertTrue(run.err().endsWith(told), run.err());
    assertFalse(Files.exists(out));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void anArchiveIsKnownHoweverSlowlyItComes() throws Exception {
    String slowly = "(printf '\\x28'; sleep 0.3; printf '\\xb5\\x2f\\xfd') | ";
    Ended run = inShell(slowly + "\"$0\" mask -s 'service=s a=keep' - -");
    assertEquals("", run.out());
    assertTrue(run.err().contains("standard input: it is compressed by zstd"), run.err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aGroupThatCannotBeKeptIsNotExchangedForAnother() throws Exception {
    assumeTrue("root".equals(System.getProperty("user.name")), "root alone can hand files over");
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Path out = Files.writeString(folder.resolve("out.csv"), "former");
    mode(folder, "rwxrwxrwx");
    for (String[] modes : new String[][] {{"rw-r-----", "rw-------"}, {"rwxrwxr--", "rwxr--r--"}}) {
      Files.setAttribute(out, "unix:uid", 0);
      Files.setAttribute(out, "unix:gid", 0);
      mode(out, modes[0]);
      Ended run =
          inShell(asNobody() + " \"$0\" mask -q -s 'service=s a=keep' - \"$1\"", out.toString());
      assertEquals(new Ended(ExitCode.DONE, "", ""), run);
      assertEquals(modes[1], PosixFilePermissions.toString(Files.getPosixFilePermissions(out)));
      assertEquals(65534, Files.getAttribute(out, "unix:gid"));
    }
  }

  private Ended inShell(String script, String... arguments) throws Exception {
    List<String> all = new ArrayList<>(List.of("-c", script, LAUNCHER.toString()));
    all.addAll(List.of(arguments));
    return start(Map.of(), "bash", all.toArray(String[]::new));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void standardStreamsThatAreClosedAreTold() throws Exception {
    String[] arguments = {"mask", "-q", "-s", "service=s a=keep", "-", "-"};
    Ended in = inShell("exec \"$0\" \"$@\" <&-", arguments);
    assertEquals(new Ended(ExitCode.INPUT_OUTPUT, "", "velk: standard input: it is closed\n"), in);
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Ended out = inShell("exec \"$0\" \"$@\" >&-", arguments);
    assertEquals(
        new Ended(ExitCode.INPUT_OUTPUT, "", "velk: standard output: it is closed\n"), out);
    Ended err = inShell("exec \"$0\" \"$@\" 2>&-", arguments);
    assertEquals(new Ended(ExitCode.DONE, "a\nx\n", ""), err);
    Path file = folder.resolve("out.csv");
    arguments[5] = file.toString();
    Ended all = inShell("exec \"$0\" \"$@\" >&- 2>&-", arguments);
    assertEquals(new Ended(ExitCode.DONE, "", ""), all);
    assertEquals("a\nx\n", Files.readString(file));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aFullDeviceBehindStandardOutputIsTold() throws Exception {
    String full = "velk: standard output: No space left on device\n";
    Files.writeString(folder.resolve("in"), "a\nx\n");
    Path file = folder.resolve("out.csv");
    String report = " --report /dev/stderr - \"$1\" 2>/dev/full";
    Ended lost = inShell("\"$0\" mask -q -s 'service=s a=keep'" + report, file.toString());
    assertEquals(ExitCode.INPUT_OUTPUT, lost.exitCode());
    assertFalse(Files.exists(file));
    for (String word : List.of("--help", "generate-completion")) {
      Ended run = inShell("exec \"$0\" \"$@\" >/dev/full", word);
      assertEquals(new Ended(ExitCode.INPUT_OUTPUT, "", full), run);
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aFileThatStandardInputComesFromIsNotWrittenOver() throws Exception {
    Path in = Files.writeString(folder.resolve("data.csv"), "a\nx\n");
    String over = "exec \"$0\" mask -s 'service=s a=null' - \"$1\" <\"$1\"";
    Ended run = inShell(over, in.toString());
    assertEquals(ExitCode.USAGE, run.exitCode(), run.err());
    assertEquals("velk: the output would take the place of the input\n", run.err());
    assertEquals("a\nx\n", Files.readString(in));
    String growing = "exec \"$0\" mask -s 'service=s a=null' \"$1\" - >>\"$1\"";
    run = inShell(growing, in.toString());
    assertEquals("velk: the output would take the place of the input\n", run.err());
    assertEquals("a\nx\n", Files.readString(in));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void anOpenFileIsWrittenToOnlyWhereItIsAStandardStreamOrAPipe() throws Exception {
    Path log = Files.writeString(folder.resolve("log"), "former\n");
    Files.writeString(folder.resolve("in"), "a\nx\n");
    String mask = "\"$0\" mask -q -s 'service=s a=keep' - ";
    Ended appended = inShell("exec " + mask + "/dev/stdout >>\"$1\"", log.toString());
    assertEquals(new Ended(ExitCode.DONE, "", ""), appended);
    assertEquals("former\na\nx\n", Files.readString(log));
    Ended other = inShell("exec " + mask + "/dev/fd/7 7>>\"$1\"", log.toString());
    String told = "velk: /dev/fd/7 is a file that is open already; \"-\" is standard output\n";
    assertEquals(new Ended(ExitCode.INPUT_OUTPUT, "", told), other);
    assertEquals("former\na\nx\n", Files.readString(log));
    Ended substituted = inShell(mask + ">(sed s/^/piped-/) | cat");
    assertEquals(new Ended(ExitCode.DONE, "piped-a\npiped-x\n", ""), substituted);
  }

  @Test
  void aTraceIsNotWrittenOverWhatIsRead() throws Exception {
    Path in = Files.writeString(folder.resolve("data.csv"), "a\nx\n");
    String names = "Anna\nBert\nCarl\nDora\nEmil\nFranz\nGina\nHans\n";
    Path list = Files.writeString(folder.resolve("list"), names);
    Path rules =
        Files.writeString(
            folder.resolve("rules"),
            "service=s key=env:MASK_KEY a=dict(file='" + list + "', scope=x)");
    String out = folder.resolve("out.csv").toString();
    Map<String, Path> files =
        Map.of("the input", in, "the rules file", rules, "a dictionary", list);
    for (Map.Entry<String, Path> file : files.entrySet()) {
      byte[] before = Files.readAllBytes(file.getValue());
      Map<String, String> trace =
          Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", file.getValue().toString());
      String[] arguments = {"mask", "-r", rules.toString(), in.toString(), out};
      Ended run = start(trace, LAUNCHER.toString(), arguments);
      String told = "velk: the trace would take the place of " + file.getKey();
      assertEquals(told, run.err().strip());
      assertEquals(ExitCode.USAGE, run.exitCode());
      assertArrayEquals(before, Files.readAllBytes(file.getValue()));
      assertFalse(Files.exists(Path.of(out)));
    }
    Map<String, String> same = Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", out);
    Ended run =
        start(same, LAUNCHER.toString(), "mask", "-r", rules.toString(), in.toString(), out);
    assertEquals("velk: the output and the trace would go to the same place", run.err().strip());
  }

  @Test
  void aTraceOfACopyIsNotWrittenOverWhatItReads() throws Exception {
    Path list = Files.writeString(folder.resolve("list"), "Anna\nBert\nCarl\nDora\n");
    Path rules =
        Files.writeString(
            folder.resolve("rules"),
            "service=s key=env:MASK_KEY\n[public.t]\na=dict(file='" + list + "', scope=x)\n");
    String nowhere = "postgresql://127.0.0.1:1/";
    String[] arguments = {
      "copy", "--from", nowhere + "a", "--to", nowhere + "b", "-r", rules.toString()
    };
    for (Map.Entry<String, Path> file :
        Map.of("the rules file", rules, "a dictionary", list).entrySet()) {
      byte[] before = Files.readAllBytes(file.getValue());
      Map<String, String> trace =
          Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", file.getValue().toString());
      Ended run = start(trace, LAUNCHER.toString(), arguments);
      String told = "velk: the trace would take the place of " + file.getKey();
      assertEquals(told, run.err().strip());
      assertEquals(ExitCode.USAGE, run.exitCode());
      assertArrayEquals(before, Files.readAllBytes(file.getValue()));
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "its files have no such modes")
  void aReportOfACopyIsNotWrittenOverPasswords() throws Exception {
    Path rules = Files.writeString(folder.resolve("rules"), "[public.t] = keep\n");
    Path passwords = Files.writeString(folder.resolve("passwords"), "*:*:*:me:secret\n");
    String nowhere = "postgresql://127.0.0.1:1/";
    for (String mode : List.of("rw-------", "rw-r--r--")) {
      Files.setPosixFilePermissions(passwords, PosixFilePermissions.fromString(mode));
      Ended run =
          start(
              Map.of("PGPASSFILE", passwords.toString()),
              LAUNCHER.toString(),
              "copy",
              "--from",
              nowhere + "a",
              "--to",
              nowhere + "b",
              "-r",
              rules.toString(),
              "--report",
              passwords.toString());
      String told = "velk: the report would take the place of the file of passwords";
      assertEquals(told, run.err().strip());
      assertEquals(ExitCode.USAGE, run.exitCode());
      assertEquals("*:*:*:me:secret\n", Files.readString(passwords));
    }
  }

  @Test
  void aTraceThatCannotBeWrittenIsTold() throws Exception {
    Files.writeString(folder.resolve("in"), "a\nx\n");
    String[] arguments = {"mask", "-q", "-s", "service=s a=keep", "-", "-"};
    Ended word = start(Map.of("VELK_TRACE", "al"), LAUNCHER.toString(), arguments);
    String words = "they are all, data, entry and message, or a number";
    assertEquals("velk: VELK_TRACE: \"al\" is no word of it; " + words, word.err().strip());
    assertEquals(ExitCode.USAGE, word.exitCode());
    Path missing = folder.resolve("missing");
    Map<String, String> nowhere =
        Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", missing.resolve("t.json").toString());
    Ended place = start(nowhere, LAUNCHER.toString(), arguments);
    String told = "velk: VELK_TRACE_FILE: " + missing + ": there is no such directory";
    assertEquals(told, place.err().strip());
    assertEquals(ExitCode.INPUT_OUTPUT, place.exitCode());
    Map<String, String> directory =
        Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", folder.toString());
    Ended run = start(directory, LAUNCHER.toString(), arguments);
    assertEquals("velk: VELK_TRACE_FILE: " + folder + ": it is a directory", run.err().strip());
    if (!ON_WINDOWS) {
      Map<String, String> device = Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", "/dev/full");
      Ended full = start(device, LAUNCHER.toString(), arguments);
      String end = "velk: /dev/full: the trace could not be written to its end\n";
      assertEquals(new Ended(ExitCode.ENGINE, "a\nx\n", end), full);
      Path link = Files.createSymbolicLink(folder.resolve("link"), folder.resolve("t.json"));
      Map<String, String> linked = Map.of("VELK_TRACE", "all", "VELK_TRACE_FILE", link.toString());
      Ended refused = start(linked, LAUNCHER.toString(), arguments);
      String why = ": a trace is not written through a link; name the file itself\n";
      assertEquals("velk: VELK_TRACE_FILE: " + link + why, refused.err());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aFolderThatLetsNobodyInIsTold() throws Exception {
    String nobody = asNobody();
    Path secret = Files.createDirectories(folder.resolve("secret/inner")).getParent();
    Files.writeString(secret.resolve("in.csv"), "a\nx\n");
    Path open = Files.writeString(folder.resolve("open.csv"), "a\nx\n");
    Path closed = Files.writeString(folder.resolve("closed.csv"), "a\nx\n");
    mode(folder, "rwxr-xr-x");
    mode(closed, "rw-------");
    mode(secret, "rwx------");
    String mask = "exec " + nobody + " \"$0\" mask -s 'service=s a=keep' \"$@\"";
    String out = secret.resolve("inner/out.csv").toString();
    Ended shut = inShell(mask, open.toString(), out);
    assertEquals("velk: " + secret + ": permission denied in this directory\n", shut.err());
    assertEquals(ExitCode.INPUT_OUTPUT, shut.exitCode());
    Ended noFiles = inShell(mask, open.toString(), folder.resolve("out.csv").toString());
    assertEquals("velk: " + folder + ": permission denied in this directory\n", noFiles.err());
    Ended in = inShell(mask, secret.resolve("in.csv").toString(), "-");
    assertEquals("velk: " + secret + ": permission denied\n", in.err());
    Ended file = inShell(mask, closed.toString(), "-");
    assertEquals("velk: " + closed + ": permission denied\n", file.err());
    mode(secret, "rwxr-xr-x");
  }

  /** What starts a command as a user without rights: nothing where that is who runs the tests. */
  private static String asNobody() throws Exception {
    if (!"root".equals(System.getProperty("user.name"))) {
      return "";
    }
    String nobody = "setpriv --reuid 65534 --regid 65534 --clear-groups";
    List<String> looks = new ArrayList<>(List.of(nobody.split(" ")));
    looks.addAll(List.of("test", "-r", LAUNCHER.toString()));
    assumeTrue(
        new ProcessBuilder(looks).start().waitFor() == 0, "the launcher is closed to others");
    return nobody;
  }

  private static void mode(Path file, String mode) throws IOException {
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString(mode));
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
  void aRunThatIsStoppedSaysThatThereIsNoOutputAndLeavesNone() throws Exception {
    Path out = folder.resolve("out.csv");
    String untaken = "velk: stopped; what was written is not complete\n";
    for (Map.Entry<String, Integer> signal : Map.of("TERM", 143, "INT", 130).entrySet()) {
      Ended file = stopped(signal.getKey(), out.toString());
      String told = "velk: stopped; no output was written\n";
      assertEquals(new Ended(signal.getValue(), "", told), file);
      assertFalse(Files.exists(out));
      assertEquals(List.of(), parts());
      assertEquals(untaken, stopped(signal.getKey(), "-").err());
      assertEquals(List.of(), parts());
    }
  }

  /** A run that gets a signal while it waits for more to read. */
  private Ended stopped(String signal, String out) throws Exception {
    Path err = folder.resolve("err");
    Path report = folder.resolve("report");
    Process process =
        new ProcessBuilder(
                "env",
                // Where these tests run in the background, a shell has had them ignore it.
                "--default-signal=INT",
                LAUNCHER.toString(),
                "mask",
                "-q",
                "-s",
                "service=s a=keep",
                "--report",
                report.toString(),
                "-",
                out)
            .redirectError(err.toFile())
            .start();
    process.getOutputStream().write("a\n1\n".getBytes(StandardCharsets.UTF_8));
    process.getOutputStream().flush();
    awaitPart();
    // What is to be said is known a little later than a file is seen.
    Thread.sleep(800);
    assertEquals(
        0,
        new ProcessBuilder("kill", "-" + signal, Long.toString(process.pid())).start().waitFor());
    String written = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    Ended run = new Ended(process.waitFor(), written, Files.readString(err));
    assertFalse(Files.exists(report));
    return run;
  }

  private List<Path> parts() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.filter(file -> file.toString().endsWith(".part")).toList();
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void aShellLearnsToComplete() throws Exception {
    Path files = Files.createDirectory(folder.resolve("files"));
    Files.createFile(files.resolve("people.csv"));
    Files.createDirectory(files.resolve("people"));
    // As the shell calls it: the words typed so far, the last of them to be completed.
    String complete =
        """
        source <("$0" generate-completion) && cd "$1" || exit
        function_name=$(complete -p velk | sed 's/.*-F \\([^ ]*\\).*/\\1/')
        tried() {
          COMP_WORDS=(velk "$@") COMP_CWORD=$# COMP_LINE="velk $*" COMPREPLY=()
          COMP_POINT=${#COMP_LINE}
          "$function_name" 2>/dev/null
          echo "$*: $(printf '%s\\n' "${COMPREPLY[@]}" | sort | paste -sd " ")"
        }
        tried mask peo
        tried mask people.csv peo
        tried mask -r peo
        tried mask --rules peo
        tried mask --report peo
        tried mask --rules people.csv peo
        tried check peo
        tried check -r peo
        tried preview peo
        tried init peo
        tried init people.csv peo
        tried key new peo
        tried mask --report-fo
        tried mask --hel
        tried mas
        """;
    Ended run = inShell(complete, files.toString());
    String both = ": people people.csv";
    List<String> expected = new ArrayList<>();
    for (String typed :
        List.of(
            "mask peo",
            "mask people.csv peo",
            "mask -r peo",
            "mask --rules peo",
            "mask --report peo",
            "mask --rules people.csv peo",
            "check peo",
            "check -r peo",
            "preview peo",
            "init peo",
            "init people.csv peo",
            "key new peo")) {
      expected.add(typed + both);
    }
    expected.add("mask --report-fo: --report-format");
    expected.add("mask --hel: --help");
    expected.add("mas: mask");
    assertEquals(expected, run.out().lines().toList(), run.err());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = BASH)
  void coloursAreForTerminalsThatShowThem() throws Exception {
    String escape = "\u001B[";
    Map<String, String> plain = new HashMap<>(Map.of("TERM", "dumb"));
    assertFalse(onTerminal(plain, "mask", "--help").contains(escape));
    assertTrue(onTerminal(Map.of("TERM", "xterm"), "mask", "--help").contains(escape));
    Map<String, String> refused = Map.of("TERM", "xterm", "NO_COLOR", "1");
    assertFalse(onTerminal(refused, "mask", "--help").contains(escape));
  }

  /** What a terminal gets that all streams of a run are. */
  private String onTerminal(Map<String, String> variables, String... arguments) throws Exception {
    String command = "'" + LAUNCHER + "' " + String.join(" ", arguments);
    Ended run = start(variables, "script", "-qec", command, "/dev/null");
    assertEquals(ExitCode.DONE, run.exitCode(), run.out());
    assertTrue(run.out().contains("velk mask"), run.out());
    return run.out();
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
