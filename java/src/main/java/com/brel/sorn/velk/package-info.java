/**
 * The objects that cross into native code: rows of values, and the calls that mask them.
 *
 * <p>Field names and native signatures are fixed by the native library. Nothing here guards its
 * caller; applications use {@link com.brel.sorn.velk.masking} instead.
 */
@NullMarked
package com.brel.sorn.velk;

import org.jspecify.annotations.NullMarked;
