package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.FrameworkDefinition;
import java.io.InputStream;
import java.nio.channels.IllegalBlockingModeException;
import java.nio.channels.ReadableByteChannel;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import org.jspecify.annotations.Nullable;

/**
 * The masking engine of this process. There is one at a time; it can be opened again after it was
 * closed.
 */
public final class Engine implements AutoCloseable {
  private final EngineLibrary library;
  private final FrameworkDefinition definition;
  private final List<MaskingService> services = new ArrayList<>();
  private final List<ParsedService> parsed = new ArrayList<>();

  /** In code points, of the rules that were asked for. */
  private final Map<Rule, Integer> longestResults = new HashMap<>();

  private Engine(EngineLibrary library, FrameworkDefinition definition) {
    this.library = library;
    this.definition = definition;
  }

  /**
   * Loads the native libraries, if this process has not yet, and starts the engine. What it traces
   * is decided by its environment ({@code VELK_TRACE} and {@code VELK_TRACE_FILE}).
   *
   * @return the running engine
   * @throws EngineLoadException if the libraries cannot be loaded
   * @throws IllegalStateException if the engine is open already, be it in another class loader
   * @throws VELKException if the engine does not start
   */
  public static Engine open() {
    return open(Definitions.framework(null));
  }

  /**
   * As {@link #open()}, with a choice of what is traced.
   *
   * @param trace what is traced, and where to
   * @return the running engine
   * @throws EngineLoadException if the libraries cannot be loaded
   * @throws IllegalStateException if the engine is open already, be it in another class loader
   * @throws VELKException if the engine does not start
   */
  public static Engine open(Trace trace) {
    return open(Definitions.framework(Objects.requireNonNull(trace, "trace")));
  }

  private static Engine open(FrameworkDefinition definition) {
    Bridge.LOCK.lock();
    try {
      if (Bridge.running != null) {
        throw new IllegalStateException("the engine is open already; there is one in a process");
      }
      if (Bridge.leftOver != null) {
        Bridge.leftOver.undo();
      }
      OpenMark.set();
      Engine engine = new Engine(NativeLibraries.load(), definition);
      engine.start();
      Bridge.running = engine;
      return engine;
    } finally {
      clearMark();
      Bridge.LOCK.unlock();
    }
  }

  /** Where no framework of ours runs any more, another class loader may open the engine. */
  private static void clearMark() {
    if (Bridge.running == null && Bridge.leftOver == null) {
      OpenMark.clear();
    }
  }

  /**
   * Starts the framework. Whatever fails behind the look-up, nothing native stays behind, or it is
   * left over until the engine is opened again; a look-up that fails cannot be released.
   */
  private void start() {
    Bridge.VELK.init0();
    try {
      Definitions.toC(definition);
      int status = Bridge.VELK.initializeFramework0(definition);
      // With a status the framework runs already: only its first trace record failed.
      Bridge.leftOver = status == 0 ? null : this;
      Bridge.check(status, "initializeFramework0");
    } catch (RuntimeException | Error e) {
      try {
        undo();
      } catch (VELKException next) {
        e.addSuppressed(next);
      }
      throw e;
    }
  }

  /** Undoes a start that failed; a framework that cannot be ended keeps its records. */
  private void undo() {
    VELKException failure = null;
    if (Bridge.leftOver == this) {
      failure = terminate(null);
      Bridge.leftOver = null;
    }
    throwAny(attempt(failure, this::release));
  }

  /**
   * Tells which engine was loaded, and from where.
   *
   * @return the loaded engine
   */
  public EngineLibrary library() {
    return library;
  }

  /**
   * Tells whether batches of several threads are masked at the same time; else they take turns.
   *
   * @return true if the engine says that it allows it
   * @throws IllegalStateException if the engine is closed
   */
  public boolean allowsThreads() {
    Bridge.LOCK.lock();
    try {
      requireOpen();
      return NativeBulk.allowsThreads();
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  /**
   * Begins the description of a service.
   *
   * @param id the service's name, 1 to 9 ASCII letters, digits, {@code _} and {@code -}
   * @return an empty description
   * @throws IllegalArgumentException if the name is none
   */
  public ServiceBuilder service(String id) {
    return new ServiceBuilder(this, id);
  }

  /**
   * Reads CSV, as it is masked. The engine itself has no part in that, but for the libraries that
   * it has loaded.
   *
   * @param in the input, which is not closed
   * @param format how it is written
   * @return its reader
   */
  public CsvReader csvReader(InputStream in, CsvFormat format) {
    return CsvReader.of(Objects.requireNonNull(in, "in"), Objects.requireNonNull(format, "format"));
  }

  /**
   * Reads CSV, as it is masked.
   *
   * @param in the input in blocking mode, which is not closed
   * @param format how it is written
   * @return its reader
   * @throws IllegalBlockingModeException if the channel is not in blocking mode
   */
  public CsvReader csvReader(ReadableByteChannel in, CsvFormat format) {
    CsvMasking.requireBlocking(Objects.requireNonNull(in, "in"));
    return CsvReader.of(in, Objects.requireNonNull(format, "format"));
  }

  /**
   * Reads a masking string.
   *
   * @param maskingString the masking string, such as {@code service=people key=env:MASK_KEY
   *     name=classes}
   * @return the service that it describes, to be opened or closed
   * @throws IllegalArgumentException if the string is empty, or contains U+0000 or half a surrogate
   *     pair; it then never reaches the engine
   * @throws IllegalStateException if the engine is closed
   * @throws VELKException if the engine refuses the string, with the place and the reason
   */
  public ParsedService parse(String maskingString) {
    Text.requireFitString(Objects.requireNonNull(maskingString, "maskingString"));
    Bridge.LOCK.lock();
    try {
      requireOpen();
      ParsedService service = ParsedService.parse(this, maskingString);
      parsed.add(service);
      return service;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  /**
   * Reads a masking string for a table whose database declares the types of its columns, so that
   * the string need not. A type that the string says wins; a column that is kept has none, and to
   * those of patterns and positions {@link ParsedService#typed} gives theirs.
   *
   * @param maskingString the masking string
   * @param types the types by the names of columns; others than the string's may be among them
   * @return the service that it describes, to be opened or closed
   * @throws IllegalArgumentException if the string is empty, or contains U+0000 or half a surrogate
   *     pair; it then never reaches the engine
   * @throws IllegalStateException if the engine is closed
   * @throws VELKException if the engine refuses the string, with the place and the reason
   */
  public ParsedService parse(String maskingString, Map<String, Type> types) {
    Text.requireFitString(Objects.requireNonNull(maskingString, "maskingString"));
    StringBuilder typed = new StringBuilder(maskingString);
    MaskingStringReader.untyped(maskingString)
        .forEach(
            (name, key) -> {
              Type type = types.getOrDefault(name, Type.text());
              if (!type.equals(Type.text())) {
                typed.append('\n').append(key).append(".type=").append(type);
              }
            });
    return parse(typed.toString());
  }

  /**
   * Asks for the longest result of a column's rule, by a masking string: of a column without a
   * limit the engine then tells it. It is asked once for each rule, because the bridge keeps a
   * string's array of pairs for good.
   *
   * @param key the place of the key, null for none
   * @return the longest result in code points where it may exceed its value, else 0
   * @throws VELKException if the engine refuses the rule
   */
  int longestResult(ColumnRule column, @Nullable String key) {
    Bridge.LOCK.lock();
    try {
      requireOpen();
      Integer known = longestResults.get(column.rule());
      return known != null ? known : askLongestResult(column, key);
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private int askLongestResult(ColumnRule column, @Nullable String key) {
    ColumnRule text = new ColumnRule(column.name(), Type.text(), column.rule(), false);
    String question = MaskingString.of("longest", key, OnError.UNSAID, false, List.of(text));
    try (ParsedService answer = ParsedService.parse(this, question)) {
      int longest = answer.longestResult();
      longestResults.put(column.rule(), longest);
      return longest;
    }
  }

  private void requireOpen() {
    if (Bridge.running != this) {
      throw new IllegalStateException("the engine is closed");
    }
  }

  /** The records of a parsed service are now another's, or none's. */
  void forget(ParsedService service) {
    parsed.remove(service);
  }

  MaskingService start(MaskingService service) {
    Bridge.LOCK.lock();
    try {
      requireOpen();
      service.start();
      services.add(service);
      return service;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  boolean hasService(MaskingService service) {
    return services.contains(service);
  }

  /** Refuses a second service with one handle: nobody can tell whose it is, so neither masks. */
  void requireUnused(int handle) {
    for (MaskingService service : services) {
      if (service.hasHandle(handle)) {
        service.suspend();
        throw new VELKException(
            "initializeProvider0 answered the handle of another service: neither masks any more",
            handle);
      }
    }
  }

  /** The services that are still open, in the order in which they are closed. */
  List<MaskingService> latestFirst() {
    List<MaskingService> reversed = new ArrayList<>(services);
    Collections.reverse(reversed);
    return reversed;
  }

  void forget(MaskingService service) {
    services.remove(service);
  }

  /**
   * Closes the services that are still open, the latest first, then ends the engine; a second call
   * does nothing.
   *
   * @throws VELKException if anything failed, a trace that could not be written to its end among
   *     it. The engine is closed all the same, unless it could not be ended even in a second try:
   *     then it stays open, so that it can be closed again
   */
  @Override
  public void close() {
    Bridge.LOCK.lock();
    try {
      if (Bridge.running == this) {
        end();
      }
    } finally {
      clearMark();
      Bridge.LOCK.unlock();
    }
  }

  private void end() {
    VELKException failure = null;
    for (MaskingService service : latestFirst()) {
      failure = attempt(failure, service::close);
    }
    failure = terminate(failure);
    // Its framework gone, the engine reads no record any more, not even of a service it kept.
    Bridge.running = null;
    List.copyOf(services).forEach(MaskingService::release);
    List.copyOf(parsed).forEach(ParsedService::release);
    throwAny(attempt(failure, this::release));
  }

  /**
   * Ends the framework. A call that fails is made once more, because a trace that could not be
   * written is given up by the first one.
   *
   * @return what failed before and here, null for nothing; the framework has ended
   */
  private static @Nullable VELKException terminate(@Nullable VELKException failure) {
    VELKException first = attempt(null, Engine::terminateOnce);
    if (first == null) {
      return failure;
    }
    VELKException all = join(failure, first);
    VELKException second = attempt(null, Engine::terminateOnce);
    if (second != null) {
      throw join(all, second);
    }
    return all;
  }

  private static void terminateOnce() {
    Bridge.check(Bridge.VELK.terminateFramework0(), "terminateFramework0");
  }

  /** Takes a step that must not keep the next one from being taken; returns all that failed. */
  private static @Nullable VELKException attempt(@Nullable VELKException failure, Runnable step) {
    try {
      step.run();
      return failure;
    } catch (VELKException e) {
      return join(failure, e);
    }
  }

  private static void throwAny(@Nullable VELKException failure) {
    if (failure != null) {
      throw failure;
    }
  }

  private static VELKException join(@Nullable VELKException first, VELKException next) {
    if (first == null) {
      return next;
    }
    first.addSuppressed(next);
    return first;
  }

  private void release() {
    Definitions.free(definition);
    Bridge.check(Bridge.VELK.destroy0(), "destroy0");
  }
}
