package com.brel.sorn.velk.cli;

import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;

/** Masks the slices of a file in a process each, and puts the results together in their order. */
final class ParallelMasker {
  private final SliceTask task;
  private final List<Slice> slices;
  private final Path output;
  private final ObjectMapper json = new ObjectMapper();

  /** Read by the threads that listen while more are still being started. */
  private final List<SliceProcess> processes = new CopyOnWriteArrayList<>();

  private Progress progress;

  ParallelMasker(SliceTask task, List<Slice> slices, Path output) {
    this.task = task;
    this.slices = slices;
    this.output = output;
  }

  void run(Report report, Progress told, OutputStream out) throws IOException {
    progress = told;
    try {
      for (Slice slice : slices) {
        SliceTask part = task.of(slice, Output.beside(output).toString());
        processes.add(new SliceProcess(part, processes.size() + 1, json, this::update));
      }
      for (SliceProcess process : processes) {
        report.add(await(process));
        // While the later ones are still at work.
        move(process.output(), out);
      }
      task.policy().check(report.errorCount());
    } finally {
      end();
    }
  }

  private void move(Path part, OutputStream out) throws IOException {
    try {
      Files.copy(part, out);
      Files.delete(part);
    } catch (NoSuchFileException e) {
      // A process that is stopped takes its part along, be it complete.
      task.policy().check(errors());
      throw e;
    }
  }

  /** The failure of the first slice that fails is told, whichever failed first. */
  private Report await(SliceProcess process) {
    Report report = process.await();
    if (report == null) {
      task.policy().check(errors());
      throw process.failure();
    }
    return report;
  }

  private long errors() {
    return processes.stream().mapToLong(SliceProcess::errors).sum();
  }

  /** Too many errors end all slices, each of which alone may have too few to know. */
  private synchronized void update() {
    progress.update(
        processes.stream().mapToLong(SliceProcess::rows).sum(),
        processes.stream().mapToLong(SliceProcess::bytes).sum());
    if (errors() > task.policy().most()) {
      processes.forEach(SliceProcess::stop);
    }
  }

  private void end() throws IOException {
    for (SliceProcess process : processes) {
      process.stop();
    }
    for (SliceProcess process : processes) {
      process.await();
      Files.deleteIfExists(process.output());
    }
  }
}
