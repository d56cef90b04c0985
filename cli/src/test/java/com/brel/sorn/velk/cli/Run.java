package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * One run of the command in this process.
 *
 * @param exitCode the exit code
 * @param bytes what it wrote to standard output
 * @param err what it wrote to standard error
 */
record Run(int exitCode, byte[] bytes, String err) {

  static Run velk(String... arguments) {
    return velk(new byte[0], 0, arguments);
  }

  static Run velk(byte[] in, int terminalWidth, String... arguments) {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    ByteArrayOutputStream err = new ByteArrayOutputStream();
    PrintStream errors = new PrintStream(err, true, StandardCharsets.UTF_8);
    int exitCode =
        Velk.run(new Streams(new ByteArrayInputStream(in), out, errors, terminalWidth), arguments);
    return new Run(exitCode, out.toByteArray(), err.toString(StandardCharsets.UTF_8));
  }

  /** A run in a process of its own, without standard input. */
  static Run ofItsOwn(List<String> options, String... arguments)
      throws IOException, InterruptedException {
    List<String> command = new ArrayList<>();
    command.add(ProcessHandle.current().info().command().orElseThrow());
    command.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    // This one's own, which say what it need not ask or warn of.
    ManagementFactory.getRuntimeMXBean().getInputArguments().stream()
        .filter(option -> option.startsWith("-XX:") || option.contains("native-access"))
        .forEach(command::add);
    command.addAll(options);
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), Velk.class.getName()));
    command.addAll(List.of(arguments));
    Path err = Files.createTempFile("velk-test", ".err");
    try {
      Process process = new ProcessBuilder(command).redirectError(err.toFile()).start();
      process.getOutputStream().close();
      byte[] out = process.getInputStream().readAllBytes();
      return new Run(process.waitFor(), out, Files.readString(err));
    } finally {
      Files.delete(err);
    }
  }

  /** Masks a text from standard input to standard output. */
  static Run mask(String rules, String csv, String... options) {
    return mask(rules, csv.getBytes(StandardCharsets.UTF_8), options);
  }

  static Run mask(String rules, byte[] csv, String... options) {
    String[] arguments = new String[options.length + 5];
    System.arraycopy(new String[] {"mask", "-s", rules, "-", "-"}, 0, arguments, 0, 5);
    System.arraycopy(options, 0, arguments, 5, options.length);
    return velk(csv, 0, arguments);
  }

  String out() {
    return new String(bytes, StandardCharsets.UTF_8);
  }

  /** The report that was written in JSON to standard error, behind the lines of progress. */
  JsonNode report() throws IOException {
    return new ObjectMapper().readTree(err.substring(err.indexOf('{')));
  }

  Run expect(int code) {
    assertEquals(code, exitCode, err);
    return this;
  }
}
