/**
 * The definitions that cross into native code: what a framework and a service are started with.
 *
 * <p>Field names and native signatures are fixed by the native library. Nothing here guards its
 * caller; applications use {@link com.brel.sorn.velk.masking} instead.
 */
@NullMarked
package com.brel.sorn.velk.internal;

import org.jspecify.annotations.NullMarked;
