package com.brel.sorn.velk.cli;

import com.fasterxml.jackson.databind.MappingIterator;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;

/** A process that masks one slice, and the thread that listens to it. */
final class SliceProcess {
  private final Process process;
  private final Path output;
  private final Thread listener;
  private volatile SliceMessage latest = SliceMessage.progress(0, 0, 0);

  /**
   * @param number its number among the processes
   * @param heard called after each message, on another thread
   */
  SliceProcess(SliceTask task, int number, ObjectMapper json, Runnable heard) throws IOException {
    output = Path.of(task.output());
    // Where both processes are stopped together, nobody else removes it.
    output.toFile().deleteOnExit();
    ProcessBuilder builder =
        new ProcessBuilder(command()).redirectError(ProcessBuilder.Redirect.INHERIT);
    separateTrace(builder.environment(), number);
    process = builder.start();
    // Its input stays open: by it the process knows that this one lives.
    process.getOutputStream().write(json.writeValueAsBytes(task));
    process.getOutputStream().write('\n');
    process.getOutputStream().flush();
    listener = new Thread(() -> listen(json, heard));
    listener.start();
  }

  /** This process again: its virtual machine, with its options and our own properties. */
  private static List<String> command() {
    List<String> command = new ArrayList<>();
    Path java = Path.of(System.getProperty("java.home"), "bin", "java");
    command.add(ProcessHandle.current().info().command().orElse(java.toString()));
    ManagementFactory.getRuntimeMXBean().getInputArguments().stream()
        .filter(option -> !option.startsWith("-javaagent") && !option.startsWith("-agentlib"))
        .forEach(command::add);
    System.getProperties().stringPropertyNames().stream()
        .filter(name -> name.startsWith("velk."))
        .forEach(name -> command.add("-D" + name + "=" + System.getProperty(name)));
    command.addAll(List.of("-cp", System.getProperty("java.class.path")));
    command.addAll(List.of(Velk.class.getName(), "mask-slice"));
    return command;
  }

  /** Two processes must not write one file: each has a trace of its own beside that of this one. */
  private static void separateTrace(Map<String, String> environment, int number) {
    String file = environment.getOrDefault("VELK_TRACE_FILE", "velk-trace.json");
    if (environment.containsKey("VELK_TRACE") && !file.equals("-")) {
      environment.put("VELK_TRACE_FILE", file + "." + number);
    }
  }

  private void listen(ObjectMapper json, Runnable heard) {
    try (MappingIterator<SliceMessage> messages =
        json.readerFor(SliceMessage.class).readValues(process.getInputStream())) {
      while (messages.hasNext()) {
        latest = messages.next();
        heard.run();
      }
    } catch (IOException | RuntimeException e) {
      // It broke off; what it told last has no report, and its exit code says the rest.
      process.destroy();
    }
  }

  /** Its report, null where it failed. */
  Report await() {
    try {
      listener.join();
      process.waitFor();
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new Failure(ExitCode.INTERNAL, "interrupted");
    }
    return latest.report();
  }

  Failure failure() {
    return latest.failure() != null
        ? new Failure(latest.exitCode(), latest.failure())
        : new Failure(ExitCode.INTERNAL, "a process ended with exit code " + process.exitValue());
  }

  Path output() {
    return output;
  }

  long rows() {
    return latest.rows();
  }

  long bytes() {
    return latest.bytes();
  }

  long errors() {
    return latest.errors();
  }

  void stop() {
    process.destroy();
  }
}
