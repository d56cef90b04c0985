package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.NativeProvider;
import com.brel.sorn.velk.VELK;
import com.brel.sorn.velk.VELKException;
import java.util.concurrent.locks.ReentrantLock;
import org.jspecify.annotations.Nullable;

/** The native library of this process. Its natives are meant for one calling thread at a time. */
final class Bridge {
  /**
   * Held over every native call, and over all the calls of a piece of a batch together. Fair, so
   * that a large batch does not take it again before those who wait.
   */
  static final ReentrantLock LOCK = new ReentrantLock(true);

  static final VELK VELK = new VELK();
  static final NativeProvider PROVIDER = new NativeProvider();

  /** The engine whose framework runs, or null; guarded by {@link #LOCK}. */
  static @Nullable Engine running;

  /** An engine whose start failed and whose framework runs all the same, or null; guarded, too. */
  static @Nullable Engine leftOver;

  private Bridge() {}

  /** Natives answer the trace facility's status where they did nothing: never to be passed over. */
  static void check(int status, String call) {
    if (status != 0) {
      throw new VELKException(call + " did nothing: the trace facility answered " + status, status);
    }
  }
}
