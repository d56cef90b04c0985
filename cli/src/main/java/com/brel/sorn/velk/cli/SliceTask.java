package com.brel.sorn.velk.cli;

/**
 * What a process that masks a slice is told.
 *
 * @param maskingString the masking string
 * @param input the file
 * @param policy what becomes of values that cannot be masked
 * @param usualEnd the line end for a row that cannot do without one
 * @param slice the slice, null in a task of all slices
 * @param output where the masked slice goes
 */
record SliceTask(
    String maskingString,
    String input,
    ErrorPolicy policy,
    LineEnd usualEnd,
    Slice slice,
    String output) {
  SliceTask(String maskingString, String input, ErrorPolicy policy, LineEnd usualEnd) {
    this(maskingString, input, policy, usualEnd, null, null);
  }

  SliceTask of(Slice part, String file) {
    return new SliceTask(maskingString, input, policy, usualEnd, part, file);
  }
}
