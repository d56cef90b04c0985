package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** What is packaged, started as users start it. */
class LauncherIT {
  private static final Path LAUNCHER = Path.of(System.getProperty("velk.launcher"));

  @TempDir Path folder;

  private record Ended(int exitCode, String out, String err) {}

  private Ended start(Path launcher, String... arguments) throws Exception {
    List<String> command = new ArrayList<>(List.of(launcher.toString()));
    command.addAll(List.of(arguments));
    Path err = folder.resolve("err");
    ProcessBuilder builder =
        new ProcessBuilder(command)
            .redirectError(err.toFile())
            .redirectInput(folder.resolve("in").toFile());
    // The poorest of locales: arguments are UTF-8 all the same.
    builder.environment().put("LC_ALL", "C");
    Process process = builder.start();
    String out = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    return new Ended(process.waitFor(), out, Files.readString(err));
  }

  @Test
  void theLauncherMasksFromStandardInputToStandardOutput() throws Exception {
    Files.writeString(folder.resolve("in"), "a,b\nx,2\n");
    Ended run = start(LAUNCHER, "mask", "-s", "service=s a=fixed('ä') b=null", "-", "-");
    assertEquals("a,b\nä,\n", run.out());
    assertEquals(ExitCode.DONE, run.exitCode());
    assertTrue(run.err().contains("1 rows"), run.err());
  }

  @Test
  void theLauncherMasksWithSeveralProcesses() throws Exception {
    Path in = Files.writeString(folder.resolve("in"), "a\n" + "x\ny\n".repeat(50));
    Path out = folder.resolve("ä.csv");
    String rules = "service=s a=fixed('ä')";
    Ended run = start(LAUNCHER, "mask", "-j", "2", "-s", rules, in.toString(), out.toString());
    assertEquals(ExitCode.DONE, run.exitCode(), run.err());
    assertEquals("a\n" + "ä\n".repeat(100), Files.readString(out));
  }

  @Test
  void theLauncherPassesTheExitCodeOn() throws Exception {
    Files.writeString(folder.resolve("in"), "");
    assertEquals(ExitCode.USAGE, start(LAUNCHER, "mask").exitCode());
    assertEquals(ExitCode.DONE, start(LAUNCHER, "--version").exitCode());
  }

  @Test
  void aLauncherWithoutABuildSaysHowToBuild() throws Exception {
    Files.writeString(folder.resolve("in"), "");
    Path copy = Files.createDirectories(folder.resolve("bin")).resolve("velk");
    Files.copy(LAUNCHER, copy);
    assertTrue(copy.toFile().setExecutable(true));
    Ended run = start(copy, "--version");
    assertEquals(ExitCode.ENGINE, run.exitCode());
    assertTrue(run.err().contains("not built yet; build it with"), run.err());
  }

  @Test
  void aRunThatIsKilledLeavesNothingUnderTheNameOfTheOutput() throws Exception {
    Path out = folder.resolve("out.csv");
    Process process =
        new ProcessBuilder(
                LAUNCHER.toString(), "mask", "-q", "-s", "service=s a=keep", "-", out.toString())
            .start();
    process.getOutputStream().write("a\n1\n".getBytes(StandardCharsets.UTF_8));
    process.getOutputStream().flush();
    long deadline = System.nanoTime() + 30_000_000_000L;
    while (parts().isEmpty() && System.nanoTime() < deadline) {
      Thread.sleep(20);
    }
    assertFalse(parts().isEmpty());
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
