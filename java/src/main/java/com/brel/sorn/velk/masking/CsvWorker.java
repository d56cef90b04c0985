package com.brel.sorn.velk.masking;

import java.util.concurrent.atomic.AtomicBoolean;
import org.jspecify.annotations.Nullable;

/** Masks block after block with a lane of its own, on one thread at a time. */
final class CsvWorker implements AutoCloseable {
  /** Rows, lines, the last row's line and line end; then the fault. */
  private static final int STATE = 10;

  private final Lane lane;
  private final int format;
  private final @Nullable CsvFingerprints fingerprints;
  private final AtomicBoolean stopped;
  private long block;

  CsvWorker(Lane lane, int format, @Nullable CsvFingerprints fingerprints, AtomicBoolean stopped) {
    this.lane = lane;
    this.format = format;
    this.fingerprints = fingerprints;
    this.stopped = stopped;
  }

  /** Masks a slot's block. Where this throws, nothing of it is left in the slot's output. */
  void mask(CsvSlot slot) {
    slot.clearOutput();
    try {
      run(slot);
      long[] state = new long[STATE];
      NativeBulk.blockState(block, state);
      slot.counts = new CsvCounts(lane.columns());
      slot.counts.read(lane);
      slot.counts.rows = state[0];
      slot.lines = state[1];
      slot.fault = CsvFault.read(state, 4);
      if (fingerprints != null) {
        slot.counts.fingerprints = fingerprints.read(slot, slot.counts.rows);
      }
    } catch (RuntimeException | Error e) {
      slot.discard();
      throw e;
    }
  }

  private void run(CsvSlot slot) {
    if (block == 0) {
      block = Lane.requireOpened(NativeBulk.blockOpen());
    }
    lane.check(
        NativeBulk.blockBegin(
            block,
            lane.handle(),
            format,
            slot.text.handle(),
            slot.from,
            slot.bytes,
            slot.lineEndBefore,
            slot.output.handle()));
    if (slot.hasHeader) {
      lane.check(NativeBulk.blockCopyRow(block, lane.handle()));
    }
    while (lane.check(NativeBulk.blockLoad(block, lane.handle())) > 0) {
      if (stopped.get()) {
        throw new IllegalStateException("the run has ended");
      }
      lane.checkMasked(lane.mask(() -> NativeBulk.mask(lane.handle())));
      lane.check(NativeBulk.blockWrite(block, lane.handle()));
    }
  }

  /** Wipes and frees what it holds. */
  @Override
  public void close() {
    long closing = block;
    block = 0;
    NativeBulk.blockClose(closing);
    lane.close();
  }
}
