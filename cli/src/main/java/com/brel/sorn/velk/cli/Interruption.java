package com.brel.sorn.velk.cli;

import java.io.IOException;

/** Says what became of the output when the process is stopped, by a key or a signal. */
final class Interruption {
  private final Thread hook;

  Interruption(Streams streams, Output output) {
    hook = new Thread(() -> tell(streams, output));
    Runtime.getRuntime().addShutdownHook(hook);
  }

  private static void tell(Streams streams, Output output) {
    try {
      String text = output.stop();
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
