package com.brel.sorn.velk.cli;

import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.FilterOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.channels.Channels;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.Set;
import java.util.concurrent.locks.LockSupport;

/**
 * What is written: {@code -} for standard output, or a file that appears under its name only when
 * it is complete. Until then it has another name beside it; closed without {@link #commit}, and
 * when the process is stopped, it is removed. The file at the end of a link is written, and the
 * link stays; a pipe or a terminal is written into as it is.
 */
final class Output implements Closeable {
  private static final Set<StandardOpenOption> NEW =
      Set.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE);

  /** Code points of a file's name that stand in that of the other beside it, which has a limit. */
  private static final int LONGEST_START = 40;

  private final String name;
  private final Streams streams;

  /** Where the file will be; null where what is written cannot be taken back. */
  private Path target;

  private Path temporary;
  private final OutputStream stream;
  private Interruption interruption;
  private boolean isOwn;
  private boolean committed;
  private boolean stopped;

  Output(String name, Streams streams) {
    this.name = name;
    this.streams = streams;
    if (name.isEmpty()) {
      throw Failure.usage("a file to be written has an empty name; \"-\" is standard output");
    }
    try {
      stream = Input.isStandard(name) ? streams.out() : open(Path.of(name));
    } catch (IOException e) {
      throw failed(e);
    }
  }

  private OutputStream open(Path named) throws IOException {
    Path file = Target.follow(named);
    String descriptor = Target.ownDescriptor(file).orElse("");
    if (descriptor.equals("1")) {
      return streams.out();
    }
    if (descriptor.equals("2")) {
      return standardError();
    }
    boolean isThere = Files.exists(file);
    if (isThere && !Files.isRegularFile(file)) {
      return intoWhatIsNoFile(file);
    }
    if (Files.isSymbolicLink(file)) {
      throw Failure.inputOutput(
          shown() + " is a file that is open already; \"-\" is standard output");
    }
    return beside(file, Ownership.of(file));
  }

  /** By itself it says nothing of what it could not write. */
  private OutputStream standardError() {
    return new FilterOutputStream(streams.err()) {
      @Override
      public void flush() throws IOException {
        if (streams.err().checkError()) {
          throw new FileSystemException(name, null, "it could not be written");
        }
      }
    };
  }

  private OutputStream intoWhatIsNoFile(Path file) throws IOException {
    if (Files.isDirectory(file) || Target.isDisk(file)) {
      throw Failure.inputOutput(shown() + " is no regular file; \"-\" is standard output");
    }
    return buffered(Files.newOutputStream(file, StandardOpenOption.WRITE));
  }

  private OutputStream beside(Path file, Ownership former) throws IOException {
    target = file;
    temporary = beside(file);
    OutputStream made =
        Channels.newOutputStream(Files.newByteChannel(temporary, NEW, former.atFirst()));
    temporary.toFile().deleteOnExit();
    try {
      former.passOn(temporary);
    } catch (IOException e) {
      made.close();
      Files.deleteIfExists(temporary);
      throw e;
    }
    return buffered(made);
  }

  private OutputStream buffered(OutputStream out) {
    isOwn = true;
    return new NamedOutput(new BufferedOutputStream(out), name);
  }

  /** A name that nobody else uses, in the directory of a file. */
  static Path beside(Path target) {
    // Neither another process's nor one that a killed process left behind.
    String own = ProcessHandle.current().pid() + "-" + System.nanoTime();
    int[] name = target.getFileName().toString().codePoints().limit(LONGEST_START).toArray();
    String start = new String(name, 0, name.length);
    return target.resolveSibling("." + start + "." + own + ".part");
  }

  /** Refuses a name that something has already. */
  static void requireNew(String name) {
    if (!Input.isStandard(name) && Files.exists(Path.of(name), LinkOption.NOFOLLOW_LINKS)) {
      throw Failure.inputOutput(Show.text(name) + ": it exists already");
    }
  }

  OutputStream stream() {
    return stream;
  }

  /**
   * Writes a text that goes with another output: nobody's end of a pipe keeps that back in silence.
   */
  void write(byte[] text) throws IOException {
    try {
      stream.write(text);
      stream.flush();
    } catch (ClosedPipe e) {
      throw Failure.inputOutput("standard output: " + Reason.of(e) + "; no output was written");
    }
  }

  /** Says what became of it when the process is stopped. */
  void tellWhenStopped() {
    interruption = new Interruption(streams, this::stop);
  }

  /** Gives the file its name, in the place of a former file of that name. */
  synchronized void commit() throws IOException {
    while (stopped) {
      // The process is at its end, and has said so.
      LockSupport.park();
    }
    if (target == null) {
      stream.flush();
    } else {
      moveInPlace();
    }
    committed = true;
  }

  private void moveInPlace() {
    try {
      stream.close();
      Files.move(
          temporary, target, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
    } catch (IOException e) {
      throw failed(e);
    }
  }

  /**
   * Gives the file up because the process is being stopped.
   *
   * @return what is to be said of it, null where it was complete before
   */
  synchronized String stop() throws IOException {
    stopped = !committed;
    if (committed) {
      return null;
    }
    if (target == null) {
      return "stopped; what was written is not complete";
    }
    Files.deleteIfExists(temporary);
    return "stopped; no output was written";
  }

  /** Told by the name that the user knows, or by the folder that lets nobody make a file. */
  private Failure failed(IOException e) {
    if (e instanceof AccessDeniedException && target != null) {
      Path folder = target.toAbsolutePath().getParent();
      return Failure.inputOutput(
          Show.text(Reason.denied(folder).toString()) + ": permission denied in this directory");
    }
    return Failure.inputOutput(shown() + ": " + Reason.of(e));
  }

  private String shown() {
    return Show.text(name);
  }

  @Override
  public void close() throws IOException {
    if (interruption != null) {
      interruption.close();
    }
    if (!isOwn) {
      return;
    }
    try {
      stream.close();
    } finally {
      if (temporary != null && !committed) {
        Files.deleteIfExists(temporary);
      }
    }
  }
}
