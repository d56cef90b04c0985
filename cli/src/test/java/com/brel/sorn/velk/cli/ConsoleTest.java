package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.Charset;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** A console has characters of its own; Java names them by these properties. */
class ConsoleTest {
  private static final List<String> CONSOLE =
      List.of("-Dstdout.encoding=IBM850", "-Dstderr.encoding=US-ASCII");
  private static final String ROWS = "naïve\nZoë Ø я\n";

  @TempDir Path folder;
  private String in;
  private String rules;

  @BeforeEach
  void aFileThatTheConsoleCannotShowInFull() throws Exception {
    in = Files.writeString(folder.resolve("in.csv"), ROWS).toString();
    rules = Files.writeString(folder.resolve("rules"), "service=s \"naïve\"=keep").toString();
  }

  @Test
  void textsAreInItsCharactersWithAMarkForWhatItCannotShow() throws Exception {
    Run shown = Run.ofItsOwn(CONSOLE, "preview", "-r", rules, in).expect(ExitCode.DONE);
    assertArrayEquals("naïve\nZoë Ø ?\n".getBytes(Charset.forName("IBM850")), shown.bytes());
    Files.writeString(Path.of(in), "naive\n");
    Run wrong = Run.ofItsOwn(CONSOLE, "preview", "-r", rules, in).expect(ExitCode.USAGE);
    assertTrue(wrong.err().contains("\"na?ve\""), wrong.err());
  }

  @Test
  void rowsAreUtf8WhereverTheyGo() throws Exception {
    Path report = folder.resolve("report");
    String[] toConsole = {"mask", "-r", rules, "--report", report.toString(), in, "-"};
    assertEquals(ROWS, Run.ofItsOwn(CONSOLE, toConsole).expect(ExitCode.DONE).out());
    assertTrue(Files.readString(report).contains("naïve"));
  }

  @Test
  void aReportIsATextWhereItGoesToTheConsole() throws Exception {
    String out = folder.resolve("out.csv").toString();
    Run run = Run.ofItsOwn(CONSOLE, "mask", "-r", rules, "--report", "-", in, out);
    String told = new String(run.expect(ExitCode.DONE).bytes(), Charset.forName("IBM850"));
    assertTrue(told.contains("naïve"), told);
    assertEquals(ROWS, Files.readString(Path.of(out)));
  }
}
