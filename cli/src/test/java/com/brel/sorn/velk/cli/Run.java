package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintStream;
import java.lang.management.ManagementFactory;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Pattern;

/**
 * One run of the command in this process.
 *
 * @param exitCode the exit code
 * @param bytes what it wrote to standard output
 * @param err what it wrote to standard error
 */
record Run(int exitCode, byte[] bytes, String err) {
  /** How a virtual machine begins what it has to say of JNI calls, and other warnings. */
  private static final Pattern WARNING =
      Pattern.compile(
          "(WARNING|FATAL ERROR) in native method|^\\[[\\d.]+s\\]\\[", Pattern.MULTILINE);

  static Run velk(String... arguments) {
    return velk(new byte[0], 0, arguments);
  }

  static Run velk(byte[] in, int terminalWidth, String... arguments) {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    ByteArrayOutputStream err = new ByteArrayOutputStream();
    int exitCode = Velk.run(streams(in, out, err, terminalWidth), arguments);
    return new Run(exitCode, out.toByteArray(), err.toString(StandardCharsets.UTF_8));
  }

  /** Streams of which none is a console. */
  static Streams streams(byte[] in, OutputStream out, OutputStream err, int terminalWidth) {
    Charset utf8 = StandardCharsets.UTF_8;
    PrintStream errors = new PrintStream(err, true, utf8);
    return new Streams(new ByteArrayInputStream(in), out, utf8, errors, utf8, terminalWidth);
  }

  /** A run in a process of its own, without standard input. */
  static Run ofItsOwn(List<String> options, String... arguments)
      throws IOException, InterruptedException {
    List<String> command = new ArrayList<>();
    command.add(ProcessHandle.current().info().command().orElseThrow());
    command.add("-Dvelk.library.dir=" + System.getProperty("velk.library.dir"));
    // This one's own, which say what it need not ask or warn of, and whether it checks JNI calls.
    ManagementFactory.getRuntimeMXBean().getInputArguments().stream()
        .filter(option -> option.matches("-XX:.*|-Xcheck:.*|-Xlog:.*|.*native-access.*"))
        .forEach(command::add);
    command.addAll(options);
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), Velk.class.getName()));
    command.addAll(List.of(arguments));
    Path err = Files.createTempFile("velk-test", ".err");
    try {
      Process process = new ProcessBuilder(command).redirectError(err.toFile()).start();
      process.getOutputStream().close();
      byte[] out = process.getInputStream().readAllBytes();
      Run run = new Run(process.waitFor(), out, Files.readString(err));
      expectNoWarning(run.out(), run.err());
      return run;
    } finally {
      Files.delete(err);
    }
  }

  /** A child's output is not among that of the tests, where a warning would be noticed. */
  static void expectNoWarning(String... texts) {
    for (String text : texts) {
      assertFalse(WARNING.matcher(text).find(), text);
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
