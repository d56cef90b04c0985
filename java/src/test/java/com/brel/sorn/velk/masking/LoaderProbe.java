package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Stream;

/** Opens the engine in a virtual machine of its own and says what came of it. */
final class LoaderProbe {
  private LoaderProbe() {}

  public static void main(String[] arguments) throws IOException {
    PrintStream out = new PrintStream(System.out, true, StandardCharsets.UTF_8);
    int attempts = Integer.parseInt(arguments[0]);
    // Named at its start, a folder that is not there makes a recent virtual machine warn.
    String temporary = System.getProperty("velk.probe.tmpdir");
    if (temporary != null) {
      System.setProperty("java.io.tmpdir", temporary);
    }
    EngineLoadException last = null;
    for (int i = 0; i < attempts; i++) {
      try (Engine engine = Engine.open()) {
        EngineLibrary library = engine.library();
        out.println("source: " + library.source());
        out.println("directory: " + library.directory());
        out.println("temporary files while it is open: " + temporaryFiles());
        out.println("identification: " + library.identification());
        out.println("masked: " + Columns.mask(engine, Type.text(), Rule.fixed("ok"), "a"));
        if (Boolean.getBoolean("velk.probe.killed")) {
          Runtime.getRuntime().halt(0);
        }
      } catch (EngineLoadException e) {
        out.println("attempt " + i + ": " + e.getMessage());
        out.println("told before: " + (e == last));
        last = e;
        out.println("cause: " + (e.getCause() == null ? null : e.getCause().getClass().getName()));
        out.println("temporary files: " + temporaryFiles());
      }
    }
  }

  private static List<Path> temporaryFiles() throws IOException {
    Path temporary = Path.of(System.getProperty("java.io.tmpdir"));
    if (!Files.exists(temporary)) {
      return List.of();
    }
    try (Stream<Path> files = Files.list(temporary)) {
      return files.filter(file -> file.getFileName().toString().startsWith("velk-")).toList();
    }
  }
}
