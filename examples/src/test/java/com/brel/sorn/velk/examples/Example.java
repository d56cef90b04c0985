package com.brel.sorn.velk.examples;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import org.junit.jupiter.api.function.Executable;

/** Where the examples stand, and what they print. */
final class Example {
  private Example() {}

  /** A file of the examples' own folder. */
  static Path file(String name) throws URISyntaxException {
    Path testClasses =
        Path.of(Example.class.getProtectionDomain().getCodeSource().getLocation().toURI());
    return testClasses.resolve("../..").resolve(name).normalize();
  }

  static String outputOf(Executable program) throws Throwable {
    PrintStream standard = System.out;
    ByteArrayOutputStream output = new ByteArrayOutputStream();
    System.setOut(new PrintStream(output, true, StandardCharsets.UTF_8));
    try {
      program.execute();
    } finally {
      System.setOut(standard);
    }
    return output.toString(StandardCharsets.UTF_8);
  }
}
