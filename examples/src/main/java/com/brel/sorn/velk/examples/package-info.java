/** What an application does with the masking API. */
package com.brel.sorn.velk.examples;
