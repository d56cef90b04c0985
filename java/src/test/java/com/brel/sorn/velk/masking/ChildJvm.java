package com.brel.sorn.velk.masking;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.function.Consumer;

/** A program in a virtual machine of its own, checked like this one. */
record ChildJvm(int exitCode, String output) {

  static ChildJvm run(List<String> options, String classPath, String main, String... arguments)
      throws IOException, InterruptedException {
    return run(builder -> {}, options, classPath, main, arguments);
  }

  /** Starts a program, which nobody waits for. */
  static Process start(String classPath, String main, String... arguments) throws IOException {
    List<String> program = new ArrayList<>();
    program.addAll(List.of("-cp", classPath, main));
    program.addAll(List.of(arguments));
    return new ProcessBuilder(command(List.of(), program))
        .redirectError(ProcessBuilder.Redirect.INHERIT)
        .start();
  }

  /** As above, in surroundings of its own. */
  static ChildJvm run(
      Consumer<ProcessBuilder> surroundings,
      List<String> options,
      String classPath,
      String main,
      String... arguments)
      throws IOException, InterruptedException {
    List<String> program = new ArrayList<>();
    program.addAll(List.of("-cp", classPath, main));
    program.addAll(List.of(arguments));
    return run(surroundings, options, program);
  }

  /** As above, a program by the virtual machine's own words for it. */
  static ChildJvm run(
      Consumer<ProcessBuilder> surroundings, List<String> options, List<String> program)
      throws IOException, InterruptedException {
    ProcessBuilder builder =
        new ProcessBuilder(command(options, program)).redirectErrorStream(true);
    surroundings.accept(builder);
    Process process = builder.start();
    String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    int exitCode = process.waitFor();
    // What the checker says in a child must be seen by whoever counts its warnings.
    System.out.print(output);
    return new ChildJvm(exitCode, output.replace(System.lineSeparator(), "\n"));
  }

  private static List<String> command(List<String> options, List<String> program) {
    List<String> command = new ArrayList<>();
    command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
    command.addAll(inheritedOptions(options));
    command.addAll(options);
    command.addAll(program);
    return command;
  }

  /** What a child says of native access itself goes before what this virtual machine was told. */
  private static List<String> inheritedOptions(List<String> own) {
    boolean mayLoad = own.stream().noneMatch(option -> option.contains("native-access"));
    return ManagementFactory.getRuntimeMXBean().getInputArguments().stream()
        .filter(
            option ->
                option.startsWith("-Xcheck")
                    || option.startsWith("-XX:")
                    || mayLoad && option.contains("native-access"))
        .toList();
  }
}
