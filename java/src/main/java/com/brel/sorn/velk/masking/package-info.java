/**
 * Data masking for applications: open the engine, describe a service column by column, mask rows.
 *
 * <p>Start with {@link com.brel.sorn.velk.masking.Engine#open()}. Any thread may call; one lock of
 * the whole process is held over some thousands of values at a time, for which another thread
 * waits. Only a description that is still being built belongs to one thread.
 */
package com.brel.sorn.velk.masking;
