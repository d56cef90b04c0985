/**
 * Masks tables of Apache Spark: {@link com.brel.sorn.velk.spark.VelkMasking} whole ones by a
 * masking string, the functions {@code velk_mask} and {@code velk_try_mask} single values in SQL.
 * Both give what the command gives by the same string and the same key.
 */
package com.brel.sorn.velk.spark;
