package com.brel.sorn.velk.masking;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** Native memory for values, which is wiped where it grows and when it is closed. */
final class NativeMemory implements AutoCloseable {
  private static final ByteBuffer NOTHING = ByteBuffer.allocateDirect(0);

  private long handle;
  private ByteBuffer view = NOTHING;

  /** Room for at least so many bytes, the former ones in front; an earlier view is dead. */
  ByteBuffer room(long bytes) {
    return bytes <= view.capacity() ? view : grow(bytes);
  }

  private ByteBuffer grow(long bytes) {
    if (bytes > Integer.MAX_VALUE) {
      throw new IllegalArgumentException("no buffer holds " + bytes + " bytes");
    }
    long larger = Math.min(Math.max(bytes, 2L * view.capacity()), Integer.MAX_VALUE);
    view = viewOf((int) larger);
    return view;
  }

  /** What a native has written. */
  ByteBuffer written() {
    int size = handle == 0 ? 0 : NativeBulk.memorySize(handle);
    if (size < 0) {
      throw Lane.failure(size, "memorySize");
    }
    // A native may have let it grow, and the view that was known may be dead.
    view = NOTHING;
    return viewOf(size);
  }

  private ByteBuffer viewOf(int bytes) {
    ByteBuffer buffer = NativeBulk.memoryView(handle(), bytes);
    if (buffer == null) {
      throw Lane.failure(NativeBulk.OUT_OF_MEMORY, "memoryView");
    }
    return buffer.order(ByteOrder.nativeOrder());
  }

  /** Starts a new output. */
  void clear() {
    NativeBulk.memoryClear(handle());
  }

  long handle() {
    if (handle == 0) {
      handle = Lane.requireOpened(NativeBulk.memoryOpen());
    }
    return handle;
  }

  /** Address of the view's start. */
  long address() {
    return NativeBulk.address(view);
  }

  /** Wipes and frees it; it can be used again. */
  @Override
  public void close() {
    view = NOTHING;
    long closing = handle;
    handle = 0;
    if (closing != 0) {
      NativeBulk.memoryClose(closing);
    }
  }
}
