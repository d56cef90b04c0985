package com.brel.sorn.velk.masking;

import java.nio.file.Path;

/**
 * The engine that was loaded into this process.
 *
 * @param identification what the engine's provider library says of itself, or {@link #UNIDENTIFIED}
 * @param directory where all five libraries were loaded from
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
     * The copy in the jar, unpacked to a temporary directory that only this user may enter. It is
     * removed when the virtual machine ends normally; one that is killed leaves it behind. On
     * Windows the directory is as private as the temporary files around it, which are this user's
     * own unless {@code java.io.tmpdir} says otherwise, and no process can delete what it has
     * loaded: there the next process that unpacks a copy removes those of processes that ended.
     */
    JAR
  }
}
