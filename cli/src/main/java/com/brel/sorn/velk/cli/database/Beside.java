package com.brel.sorn.velk.cli.database;

import java.sql.SQLException;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.function.Consumer;

/**
 * What a database is asked for while something else is done: to wait for a server costs nothing.
 */
final class Beside<T> {
  /** Asks. */
  interface Work<T> {
    T get() throws SQLException;
  }

  private final CompletableFuture<T> result = new CompletableFuture<>();

  private Beside() {}

  static <T> Beside<T> begin(Work<T> work) {
    Beside<T> beside = new Beside<>();
    Thread thread = new Thread(() -> beside.complete(work), "velk-beside");
    thread.setDaemon(true);
    thread.start();
    return beside;
  }

  private void complete(Work<T> work) {
    try {
      result.complete(work.get());
    } catch (SQLException | RuntimeException | Error e) {
      result.completeExceptionally(e);
    }
  }

  /** Waits for the result, or throws what kept it from being there. */
  T get() throws SQLException {
    try {
      return result.get();
    } catch (ExecutionException e) {
      if (e.getCause() instanceof SQLException cause) {
        throw cause;
      }
      if (e.getCause() instanceof Error cause) {
        throw cause;
      }
      throw (RuntimeException) e.getCause();
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw CopyException.failed("interrupted while a database was asked");
    }
  }

  /** Waits until the database is asked nothing more. */
  void await() {
    result.handle((value, failure) -> null).join();
  }

  /** Has something done with the result once it is there, if ever. */
  void whenThere(Consumer<T> use) {
    result.thenAccept(use);
  }
}
