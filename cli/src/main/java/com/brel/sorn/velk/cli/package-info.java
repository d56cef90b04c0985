/**
 * The {@code velk} command: masks CSV files by masking strings.
 *
 * <p>{@link com.brel.sorn.velk.cli.Velk} is where it starts.
 */
package com.brel.sorn.velk.cli;
