package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.ServiceDefinition;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.concurrent.locks.ReentrantLock;
import java.util.function.IntSupplier;
import org.jspecify.annotations.Nullable;

/**
 * A provider of a service's own making for one thread, and the native records around it. The thread
 * that masks with it closes it; its service may end the provider at any time between two calls.
 */
final class Lane implements AutoCloseable {
  private final MaskingService service;
  private final @Nullable ServiceDefinition definition;
  private final List<Column> columns;

  /** Held while the engine is called; behind {@link Bridge#LOCK} where both are. */
  private final ReentrantLock use = new ReentrantLock();

  /** What the engine says; tests say otherwise. */
  boolean allowsThreads;

  private int provider;
  private boolean ended;
  private long handle;

  /**
   * Describes a lane.
   *
   * @param definition without records; null where every column goes round the engine
   * @param columns those of the table
   */
  Lane(MaskingService service, @Nullable ServiceDefinition definition, List<Column> columns) {
    this.service = service;
    this.definition = definition;
    this.columns = columns;
  }

  /**
   * Starts the provider and opens the lane; whatever fails, nothing native stays behind. Under
   * {@link Bridge#LOCK}.
   *
   * @param order for each column of the table that of the definition, or -1
   * @param onError what a value with an error becomes
   */
  void open(Engine engine, int[] order, OnError onError) {
    allowsThreads = NativeBulk.allowsThreads();
    try {
      if (definition != null) {
        Definitions.toC(definition);
        start(engine, definition);
      }
      handle = requireOpened(open(order, onError.replacement()));
    } catch (RuntimeException | Error e) {
      end();
      release();
      throw e;
    }
  }

  /** A handle that is another's must not be ended here. */
  private void start(Engine engine, ServiceDefinition definition) {
    String id = definition.serviceId;
    int started = Bridge.PROVIDER.initializeProvider0(id, definition, false);
    engine.requireUnused(MaskingService.requireStarted(id, started));
    provider = started;
  }

  private long open(int[] order, @Nullable String replacement) {
    long record = definition == null ? 0 : definition.pointer();
    byte[] utf8 = replacement == null ? null : replacement.getBytes(StandardCharsets.UTF_8);
    return NativeBulk.open(provider, record, sizes(order), order, utf8);
  }

  private int[] sizes(int[] order) {
    int width = definition == null ? 0 : definition.fieldDefinitions.size();
    int[] sizes = new int[2 * width];
    for (int column = 0; column < order.length; column++) {
      if (order[column] >= 0) {
        BufferSize size = columns.get(column).bufferSize();
        sizes[2 * order[column]] = size.least();
        sizes[2 * order[column] + 1] = size.greatest();
      }
    }
    return sizes;
  }

  long handle() {
    return handle;
  }

  /** The columns of the table. */
  List<Column> columns() {
    return columns;
  }

  boolean hasProvider(int number) {
    return provider == number;
  }

  /** Takes a step that calls the engine. */
  int mask(IntSupplier step) {
    if (!allowsThreads) {
      Bridge.LOCK.lock();
    }
    use.lock();
    try {
      if (ended) {
        throw new IllegalStateException("the service \"" + service.id() + "\" is closed");
      }
      return step.getAsInt();
    } finally {
      use.unlock();
      if (!allowsThreads) {
        Bridge.LOCK.unlock();
      }
    }
  }

  /** The text of an error of a column, on the thread that met it. */
  String explain(int column, int code) {
    return columns.get(column).explain(code, text(code));
  }

  /** The text of a code, the engine's or one of this API. */
  String text(int code) {
    return switch (code) {
      case FieldError.ZERO_CHARACTER, FieldError.LONE_SURROGATE, FieldError.NOT_UTF8 ->
          Text.describe(code);
      case FieldError.ROW -> "the engine reports an error of the whole row";
      default -> {
        String[] text = new String[1];
        mask(
            () -> {
              text[0] = NativeBulk.errorText(code);
              return 0;
            });
        yield text[0] == null ? "the engine has no text" : text[0];
      }
    };
  }

  /** Answers what a step answered, unless that is the code of a failure. */
  int check(int status) {
    if (status < 0) {
      throw failure(status, "the bulk lane");
    }
    return status;
  }

  /** Refuses every code of a step that masks: the engine's are told with its text. */
  void checkMasked(int status) {
    check(status);
    if (status > 0) {
      String text = text(status);
      throw new VELKException(text.startsWith(status + " ") ? text : status + " " + text, status);
    }
  }

  static Error outOfMemory() {
    return new OutOfMemoryError("native memory for the values of a batch");
  }

  /** What a code of this lane's own says. */
  static RuntimeException failure(int status, String call) {
    return switch (status) {
      case NativeBulk.OUT_OF_MEMORY -> throw outOfMemory();
      case NativeBulk.MOVED ->
          new VELKException("the engine put another buffer in the place of a value's", status);
      case NativeBulk.TOO_LONG -> new VELKException("no buffer holds a value, or a batch", status);
      default -> new VELKException(call + " failed: " + status, status);
    };
  }

  static long requireOpened(long handle) {
    if (handle == 0) {
      throw outOfMemory();
    }
    return handle;
  }

  /** From here on nothing is masked. */
  void suspend() {
    use.lock();
    ended = true;
    use.unlock();
  }

  /** From here on nothing is masked, even if the engine fails to end the provider. */
  void end() {
    use.lock();
    try {
      ended = true;
      if (provider != 0) {
        Bridge.check(Bridge.PROVIDER.terminateProvider0(provider), "terminateProvider0");
        provider = 0;
      }
    } finally {
      use.unlock();
    }
  }

  /** Frees the records that the provider was started with, once the engine reads them no more. */
  void release() {
    if (definition != null) {
      Definitions.free(definition);
    }
  }

  /**
   * Wipes and frees the native records and ends the provider; a second call does nothing.
   *
   * @throws VELKException if the engine fails to end the provider; it is ended with its engine
   */
  @Override
  public void close() {
    Bridge.LOCK.lock();
    try {
      NativeBulk.close(handle);
      handle = 0;
      if (service.hasLane(this)) {
        end();
        release();
        service.forget(this);
      }
    } finally {
      Bridge.LOCK.unlock();
    }
  }
}
