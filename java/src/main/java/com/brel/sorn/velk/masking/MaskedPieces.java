package com.brel.sorn.velk.masking;

import java.util.ArrayList;
import java.util.Collections;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import org.jspecify.annotations.Nullable;

/** Masks the rows of an endless batch, a piece whenever one is asked for. */
final class MaskedPieces implements Iterator<MaskedRow> {
  private final MaskingService service;
  private final Iterator<? extends List<? extends @Nullable String>> source;
  private Iterator<MaskedRow> masked = Collections.emptyIterator();
  private @Nullable String @Nullable [] next;
  private long taken;
  private boolean broken;

  MaskedPieces(
      MaskingService service, Iterator<? extends List<? extends @Nullable String>> source) {
    this.service = service;
    this.source = source;
  }

  @Override
  public boolean hasNext() {
    if (broken) {
      throw new IllegalStateException("masking the rows before these has failed");
    }
    if (!masked.hasNext()) {
      String[][] piece = take();
      masked = piece.length == 0 ? masked : mask(piece);
    }
    return masked.hasNext();
  }

  @Override
  public MaskedRow next() {
    if (!hasNext()) {
      throw new NoSuchElementException();
    }
    return masked.next();
  }

  /** Behind a piece that failed there are no more. */
  private Iterator<MaskedRow> mask(String[][] piece) {
    long first = taken - piece.length - (next == null ? 0 : 1);
    broken = true;
    Iterator<MaskedRow> rows = service.mask(piece, first).stream().iterator();
    broken = false;
    return rows;
  }

  /** The rows of the next piece; the one that it has no room for waits for the one behind it. */
  private String[][] take() {
    Piece piece = service.newPiece();
    List<String[]> rows = new ArrayList<>();
    while (next != null || source.hasNext()) {
      if (next == null) {
        next = service.copy(taken, source.next());
        taken++;
      }
      if (!piece.take(next)) {
        break;
      }
      rows.add(next);
      next = null;
    }
    return rows.toArray(String[][]::new);
  }
}
