package com.brel.sorn.velk.cli;

/**
 * What a process that masks a slice tells: how far it is, and at the end its report or its failure.
 *
 * @param rows rows done
 * @param bytes bytes read
 * @param errors values that could not be masked
 * @param report the report of a slice that is done, else null
 * @param failure why the slice failed, else null
 * @param exitCode the exit code of the failure
 */
record SliceMessage(
    long rows, long bytes, long errors, Report report, String failure, int exitCode) {

  static SliceMessage progress(long rows, long bytes, long errors) {
    return new SliceMessage(rows, bytes, errors, null, null, ExitCode.DONE);
  }

  static SliceMessage done(Report report, long bytes) {
    return new SliceMessage(report.rows, bytes, report.errorCount(), report, null, ExitCode.DONE);
  }

  static SliceMessage failed(String message, int exitCode) {
    return new SliceMessage(0, 0, 0, null, message, exitCode);
  }
}
