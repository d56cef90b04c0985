/**
 * Masked copies of databases: what the rules and the catalogues say is planned first, then every
 * table is read in one snapshot, masked and written piece by piece, each with its mark.
 */
package com.brel.sorn.velk.cli.database;
