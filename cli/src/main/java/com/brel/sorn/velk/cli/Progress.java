package com.brel.sorn.velk.cli;

import java.io.PrintStream;
import java.util.Locale;
import java.util.concurrent.TimeUnit;
import me.tongfei.progressbar.ConsoleProgressBarConsumer;
import me.tongfei.progressbar.ProgressBar;
import me.tongfei.progressbar.ProgressBarBuilder;
import me.tongfei.progressbar.ProgressBarStyle;

/** Tells how far a run is: rows, rows a second, share of the input, time left. */
abstract class Progress implements AutoCloseable {
  private final long start = System.nanoTime();
  private long rows;

  /** For a run that says nothing. */
  static Progress none() {
    return new Progress() {
      @Override
      void show(long bytes) {}

      @Override
      public void close() {}
    };
  }

  /**
   * One line that changes on a terminal, a line now and then elsewhere.
   *
   * @param size bytes of the input, 0 where that is not known
   */
  static Progress to(Streams streams, long size) {
    return streams.terminalWidth() > 0
        ? new Bar(streams, size)
        : new Lines(streams.err(), size, TimeUnit.SECONDS.toNanos(10)) {
          @Override
          public void close() {
            if (!streams.hasNoReader()) {
              super.close();
            }
          }
        };
  }

  /** So many rows are done in all, and so many bytes are read. */
  final void update(long done, long bytes) {
    rows = done;
    show(bytes);
  }

  abstract void show(long bytes);

  @Override
  public abstract void close();

  boolean hasRows() {
    return rows > 0;
  }

  String rate() {
    return Show.counted(rows, "row") + ", " + Math.round(rows / seconds()) + " rows/s";
  }

  double seconds() {
    return Math.max((System.nanoTime() - start) / 1e9, 1e-3);
  }

  /** Share of the input and time left are the library's part. */
  private static final class Bar extends Progress {
    private final ProgressBar bar;

    Bar(Streams streams, long size) {
      bar =
          new ProgressBarBuilder()
              .setTaskName("masking")
              .setInitialMax(size == 0 ? -1 : size)
              .setUnit(" MiB", 1 << 20)
              .setStyle(ProgressBarStyle.ASCII)
              .setUpdateIntervalMillis(200)
              .setConsumer(
                  new ConsoleProgressBarConsumer(streams.err(), streams.terminalWidth() - 1))
              .build();
    }

    @Override
    void show(long bytes) {
      bar.stepTo(bytes);
      bar.setExtraMessage(rate());
    }

    @Override
    public void close() {
      bar.close();
    }
  }

  /** For a log. */
  static class Lines extends Progress {
    private final PrintStream out;
    private final long size;
    private final long interval;
    private long last = System.nanoTime();

    /**
     * @param interval nanoseconds between two lines
     */
    Lines(PrintStream out, long size, long interval) {
      this.out = out;
      this.size = size;
      this.interval = interval;
    }

    @Override
    void show(long bytes) {
      if (System.nanoTime() - last >= interval) {
        last = System.nanoTime();
        out.print(rate() + share(bytes) + "\n");
      }
    }

    private String share(long bytes) {
      if (size == 0 || bytes == 0) {
        return "";
      }
      double share = Math.min(1, (double) bytes / size);
      long left = Math.round(seconds() * (1 - share) / share);
      return String.format(Locale.ROOT, ", %.0f%%, %d s left", 100 * share, left);
    }

    @Override
    public void close() {
      if (hasRows()) {
        out.print(rate() + "\n");
      }
    }
  }
}
