/**
 * Data masking for applications: open the engine, describe a service column by column, mask rows.
 *
 * <p>Start with {@link com.brel.sorn.velk.masking.Engine#open()}. Any thread may call; one lock of
 * the whole process is held over some thousands of values at a time, for which another thread
 * waits. What belongs to one thread is a description that is still being built, a {@link
 * com.brel.sorn.velk.masking.Batch} and a {@link com.brel.sorn.velk.masking.CsvMasking}: those are
 * for many values, and are masked beside one another where the engine allows it.
 *
 * <p>The engine is loaded once in the life of a class loader, and closing it does not unload it:
 * the native library goes on referring to the classes {@link com.brel.sorn.velk.RowSet} and {@link
 * com.brel.sorn.velk.Row}. An application whose own class loader has them, as one in a web
 * container, therefore stays in memory when it is undeployed, once for each time that it is
 * deployed. Where that counts, put the jar where all applications share it.
 *
 * <p>Which engine was loaded, and from where, {@link com.brel.sorn.velk.masking.Engine#library()}
 * says, and a line of the {@link java.lang.System.Logger} {@code com.brel.sorn.velk} at level
 * {@code DEBUG}.
 *
 * <p>Whatever is not marked as nullable is never null, neither here nor in what is handed in.
 */
@NullMarked
package com.brel.sorn.velk.masking;

import org.jspecify.annotations.NullMarked;
