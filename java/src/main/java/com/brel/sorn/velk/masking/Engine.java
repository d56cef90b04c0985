package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.internal.FrameworkDefinition;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;

/**
 * The masking engine of this process. There is one at a time; it can be opened again after it was
 * closed.
 */
public final class Engine implements AutoCloseable {
  private final EngineLibrary library;
  private final FrameworkDefinition definition;
  private final List<MaskingService> services = new ArrayList<>();
  private final List<ParsedService> parsed = new ArrayList<>();

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
   * @throws IllegalStateException if the engine is open already
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
   * @throws IllegalStateException if the engine is open already
   * @throws VELKException if the engine does not start
   */
  public static Engine open(Trace trace) {
    return open(Definitions.framework(Objects.requireNonNull(trace)));
  }

  private static Engine open(FrameworkDefinition definition) {
    Bridge.LOCK.lock();
    try {
      if (Bridge.running != null) {
        throw new IllegalStateException("the engine is open already; there is one in a process");
      }
      Engine engine = new Engine(NativeLibraries.load(), definition);
      engine.start();
      Bridge.running = engine;
      return engine;
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  /** Starts the framework; whatever fails, nothing native stays behind. */
  private void start() {
    Bridge.VELK.init0();
    try {
      Definitions.toC(definition);
      int status = Bridge.VELK.initializeFramework0(definition);
      if (status != 0) {
        // The framework runs already: only its first trace record failed.
        Bridge.check(Bridge.VELK.terminateFramework0(), "terminateFramework0");
        Bridge.check(status, "initializeFramework0");
      }
    } catch (RuntimeException | Error e) {
      try {
        release();
      } catch (VELKException next) {
        e.addSuppressed(next);
      }
      throw e;
    }
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
   * Reads a masking string.
   *
   * @param maskingString the masking string, such as {@code service=people key=env:MASK_KEY
   *     name=classes}
   * @return the service that it describes, to be opened or closed
   * @throws IllegalArgumentException if the string contains U+0000 or half a surrogate pair; it
   *     then never reaches the engine
   * @throws IllegalStateException if the engine is closed
   * @throws VELKException if the engine refuses the string, with the place and the reason
   */
  public ParsedService parse(String maskingString) {
    Text.requireFitString(maskingString);
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

  void forget(MaskingService service) {
    services.remove(service);
  }

  /**
   * Closes the services that are still open, the latest first, then ends the engine; a second call
   * does nothing.
   *
   * @throws VELKException if the engine fails. It then stays open where it could not be ended, so
   *     that it can be closed again
   */
  @Override
  public void close() {
    Bridge.LOCK.lock();
    try {
      if (Bridge.running == this) {
        end();
      }
    } finally {
      Bridge.LOCK.unlock();
    }
  }

  private void end() {
    VELKException failure = null;
    for (int i = services.size() - 1; i >= 0; i--) {
      try {
        services.get(i).close();
      } catch (VELKException e) {
        failure = join(failure, e);
      }
    }
    try {
      Bridge.check(Bridge.VELK.terminateFramework0(), "terminateFramework0");
    } catch (VELKException e) {
      throw join(failure, e);
    }
    // Its framework gone, the engine reads no record any more, not even of a service it kept.
    Bridge.running = null;
    List.copyOf(services).forEach(MaskingService::release);
    List.copyOf(parsed).forEach(ParsedService::release);
    release();
    if (failure != null) {
      throw failure;
    }
  }

  private static VELKException join(VELKException first, VELKException next) {
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
