package com.brel.sorn.velk.cli;

import java.io.IOException;

/** Says what became of a run when the process is stopped, by a key or a signal. */
final class Interruption {
  private final Thread hook;

  /** What is left to be done, and said. */
  interface Stop {
    /** Gives a text for the user, null for none. */
    String stop() throws IOException;
  }

  Interruption(Streams streams, Stop stop) {
    hook = new Thread(() -> tell(streams, stop));
    Runtime.getRuntime().addShutdownHook(hook);
  }

  private static void tell(Streams streams, Stop stop) {
    try {
      String text = stop.stop();
      if (text != null) {
        // Behind the progress bar, where there is one.
        streams.say((streams.terminalWidth() > 0 ? "\n" : "") + "velk: " + text);
      }
    } catch (IOException e) {
      streams.say("velk: stopped; " + Reason.of(e));
    }
  }

  /** For a run that has ended by itself. */
  void close() {
    try {
      Runtime.getRuntime().removeShutdownHook(hook);
    } catch (IllegalStateException e) {
      // It is at work already.
    }
  }
}
