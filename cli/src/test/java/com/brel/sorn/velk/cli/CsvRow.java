package com.brel.sorn.velk.cli;

/**
 * A row of a CSV file with all that is needed to write it again as it was.
 *
 * @param line the line that it starts in, counted from 1
 * @param values its values; an unquoted empty one is null
 * @param quoted which of them stand in quotes
 * @param end what ends it
 */
record CsvRow(long line, String[] values, boolean[] quoted, LineEnd end) {}
