package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.Engine;
import com.brel.sorn.velk.masking.ParsedService;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.locks.Lock;
import java.util.concurrent.locks.ReentrantLock;

/** The engine of a driver or an executor: opened at its first use, and open until it ends. */
final class ProcessEngine {
  /** A string that is parsed anew costs memory that is never given back, so they are kept. */
  private static final int MOST_KEPT = 256;

  private static final Map<String, ParsedService> PARSED =
      new LinkedHashMap<>(16, 0.75f, true) {
        private static final long serialVersionUID = 1L;

        @Override
        protected boolean removeEldestEntry(Map.Entry<String, ParsedService> eldest) {
          if (size() > MOST_KEPT) {
            eldest.getValue().close();
            return true;
          }
          return false;
        }
      };

  /** Where copies of these classes, of other class loaders, find the lock. */
  private static final String LOCK = "com.brel.sorn.velk.spark.lock";

  private static Engine engine;

  /** Null where the engine allows threads. */
  private static volatile Lock lock;

  private ProcessEngine() {}

  /**
   * The engine.
   *
   * @throws IllegalStateException if another class loader of this process has it open
   * @throws com.brel.sorn.velk.masking.EngineLoadException if the libraries cannot be loaded
   */
  static synchronized Engine get() {
    if (engine == null) {
      try {
        engine = Engine.open();
        lock = engine.allowsThreads() ? null : shared();
      } catch (IllegalStateException e) {
        throw new IllegalStateException(
            e.getMessage()
                + ". With Spark, name the jars of VELK in spark.executor.extraClassPath and"
                + " spark.driver.extraClassPath, so that all sessions share them",
            e);
      }
    }
    return engine;
  }

  private static Lock shared() {
    return (Lock) System.getProperties().computeIfAbsent(LOCK, key -> new ReentrantLock(true));
  }

  /** Masks a batch of this process's engine, in turns where it does not allow threads. */
  static void mask(Batch batch) {
    Lock turns = lock;
    if (turns == null) {
      batch.mask();
      return;
    }
    turns.lock();
    try {
      batch.mask();
    } finally {
      turns.unlock();
    }
  }

  /**
   * Gives each column of a table its rule.
   *
   * @return the service, which the caller opens or closes
   * @throws com.brel.sorn.velk.VELKException if the engine refuses the string
   * @throws com.brel.sorn.velk.masking.TableException if rules and columns do not fit
   */
  static synchronized ParsedService table(String maskingString, List<String> names) {
    ParsedService parsed = PARSED.get(maskingString);
    if (parsed == null) {
      parsed = get().parse(maskingString);
      PARSED.put(maskingString, parsed);
    }
    return parsed.forTable(names);
  }
}
