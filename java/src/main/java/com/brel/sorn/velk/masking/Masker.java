package com.brel.sorn.velk.masking;

import java.util.List;
import java.util.Objects;
import java.util.stream.Stream;
import org.jspecify.annotations.Nullable;

/**
 * Masks rows, as a {@link MaskingService} does; code that takes one of these can be tested without
 * an engine. {@link MaskedRows#of} makes what a stand-in gives back.
 */
public interface Masker extends AutoCloseable {
  /**
   * Names the service.
   *
   * @return its id
   */
  String id();

  /**
   * Lists the columns with their rules.
   *
   * @return the columns in the order that the values of a row have; the list cannot be changed
   */
  List<ColumnRule> columns();

  /**
   * Masks a batch of rows.
   *
   * @param rows the rows, each with one value for each column, null for a null value
   * @return the masked rows, in the same order
   */
  MaskedRows mask(Iterable<? extends List<? extends @Nullable String>> rows);

  /**
   * Masks one row.
   *
   * @param row one value for each column, null for a null value
   * @return the masked row
   */
  default MaskedRow maskRow(List<? extends @Nullable String> row) {
    return mask(List.of(Objects.requireNonNull(row, "row"))).get(0);
  }

  /**
   * Masks a stream of rows as they are asked for.
   *
   * @param rows the rows, each with one value for each column, null for a null value
   * @return the masked rows, in the same order; closing it closes the other
   */
  default Stream<MaskedRow> mask(Stream<? extends List<? extends @Nullable String>> rows) {
    return rows.map(this::maskRow);
  }

  /** Ends the masking; a second call does nothing. */
  @Override
  void close();
}
