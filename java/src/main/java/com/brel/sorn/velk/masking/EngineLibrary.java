package com.brel.sorn.velk.masking;

import java.nio.file.Path;

/**
 * The engine that was loaded into this process.
 *
 * @param identification what the engine's provider library says of itself, or {@link #UNIDENTIFIED}
 * @param directory where all five libraries were loaded from; for {@link Source#JAR} the folder is
 *     gone by now, except on Windows
 * @param source how that directory was found
 */
public record EngineLibrary(String identification, Path directory, Source source) {
  /** The identification of an engine that says nothing known of itself. */
  public static final String UNIDENTIFIED = "unidentified engine";

  /** How the libraries were found. */
  public enum Source {
    /** The directory that the system property {@code velk.library.dir} names. */
    PROPERTY,
    /** A directory of the system property {@code java.library.path}. */
    LIBRARY_PATH,
    /**
     * The directory that the system property {@code velk.library.packaged} names. A launcher says
     * so where the libraries lie beside what it launches, so that none need be unpacked.
     */
    PACKAGE,
    /**
     * The copy in the jar, unpacked to a folder of its own in the temporary folder ({@code
     * java.io.tmpdir}) that only this user may enter, and removed as soon as it is loaded. On
     * Windows no process can delete what it has loaded: there the next process that unpacks a copy
     * removes those of processes that ended, and the folder is as private as the temporary files
     * around it, which are this user's own unless {@code java.io.tmpdir} says otherwise.
     */
    JAR
  }
}
