package com.brel.sorn.velk.cli;

/**
 * Rows that stand together in a file.
 *
 * @param from its first byte; at 0 the header stands
 * @param to the byte behind it
 * @param line the line it starts in, counted from 1
 * @param row the number of its first row; the header has number 0
 */
record Slice(long from, long to, long line, long row) {}
