package com.brel.sorn.velk.cli.database;

import java.nio.file.Path;
import java.util.List;

/**
 * What a copy is asked to do.
 *
 * @param from the source
 * @param to the target
 * @param rules the text of the rules
 * @param tables the only tables to be copied, each with its schema or without; empty for all
 * @param jobs how many pieces are on their way at a time
 * @param resume whether to go on with a copy that has ended before it was complete
 * @param pages how many pages of a table are committed together
 * @param rows how many rows are, where a table has no pages
 * @param noSnapshot whether a source may be read that cannot show one state of all tables
 * @param drivers jars of drivers
 * @param dictionaries the files of values that the rules name
 */
public record CopySettings(
    DatabaseUrl from,
    DatabaseUrl to,
    String rules,
    List<String> tables,
    int jobs,
    boolean resume,
    long pages,
    int rows,
    boolean noSnapshot,
    List<Path> drivers,
    List<Path> dictionaries) {
  /**
   * Adds the dictionaries, which are known once the rules are read.
   *
   * @param dictionaries the files
   * @return settings that are the same otherwise
   */
  public CopySettings with(List<Path> dictionaries) {
    return new CopySettings(
        from,
        to,
        rules,
        tables,
        jobs,
        resume,
        pages,
        rows,
        noSnapshot,
        drivers,
        List.copyOf(dictionaries));
  }
}
