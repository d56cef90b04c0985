package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.VELKException;
import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.OnError;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.sql.SQLException;
import java.util.List;
import java.util.concurrent.locks.ReentrantLock;
import org.postgresql.copy.CopyOperation;
import org.postgresql.copy.CopyOut;
import org.postgresql.copy.PGCopyOutputStream;

/** Reads rows, masks them and writes them, on a session of each database. */
final class PieceCopy {
  private static final int BUFFER = 1 << 16;

  /** Bytes of a row for which the lane needs much memory, to the end of the piece. */
  private static final int LARGE = 1 << 18;

  /** Held by the only piece of the process that goes on with large rows. */
  private static final ReentrantLock LARGE_ROWS = new ReentrantLock();

  private final Postgres source;
  private final Postgres target;
  private final byte[] checksumKey;

  PieceCopy(Postgres source, Postgres target, byte[] checksumKey) {
    this.source = source;
    this.target = target;
    this.checksumKey = checksumKey;
  }

  /**
   * What was copied.
   *
   * @param checksum a keyed one of what was read
   * @param report what became of the values, null where they went over as they are
   */
  record Copied(long rows, String checksum, CsvReport report) {
    /** What became of the values of each column. */
    List<ColumnResult> columns() {
      return report == null ? List.of() : report.columns().stream().map(ColumnResult::of).toList();
    }
  }

  /**
   * The target would not have what it was sent; the source has been read to its end all the same.
   */
  static final class TargetRefusal extends IOException {
    private static final long serialVersionUID = 1L;

    TargetRefusal(SQLException cause) {
      super(cause);
    }

    SQLException reason() {
      return (SQLException) getCause();
    }
  }

  /** Copies the rows that a condition is true of; whoever calls this commits. */
  Copied copy(Step step, TableName part, String condition) throws IOException, SQLException {
    try (Reading in = new Reading(step.read(part, condition), !step.keep())) {
      Copied copied;
      try {
        copied = write(step, in);
      } catch (IOException e) {
        SQLException refusal = refusal(e);
        if (refusal == null) {
          throw e;
        }
        in.drain();
        throw new TargetRefusal(refusal);
      }
      return copied;
    }
  }

  private Copied write(Step step, Reading in) throws IOException, SQLException {
    PGCopyOutputStream out;
    try {
      out = new PGCopyOutputStream(target.driver(), step.write(), BUFFER);
    } catch (SQLException e) {
      throw new TargetRefusal(e);
    }
    boolean complete = false;
    try {
      CsvReport report = mask(step, in, new Writing(out));
      long written = end(out);
      complete = true;
      long rows = in.rows();
      if (rows != written || report != null && report.rows() != rows) {
        throw CopyException.failed(
            "table "
                + step.source().name()
                + ": "
                + rows
                + " rows were read and "
                + written
                + " written");
      }
      return new Copied(rows, in.checksum(), report);
    } finally {
      if (!complete) {
        cancel(out);
      }
    }
  }

  private static long end(PGCopyOutputStream out) throws IOException {
    try {
      return out.endCopy();
    } catch (SQLException e) {
      throw new TargetRefusal(e);
    }
  }

  private static void cancel(CopyOperation copy) {
    try {
      if (copy.isActive()) {
        copy.cancelCopy();
      }
    } catch (SQLException e) {
      // The server has ended it, or answers that it has.
    }
  }

  private static CsvReport mask(Step step, Reading in, OutputStream out) throws IOException {
    if (step.keep()) {
      in.transferTo(out);
      out.flush();
      return null;
    }
    boolean stops = step.onError().way() != OnError.Way.REPLACEMENT;
    try {
      return step.service()
          .csv()
          .header(false)
          .onError(stops ? OnError.stop() : step.onError())
          .mask(in, out);
    } catch (CsvException e) {
      throw failed(step, e);
    } catch (VELKException e) {
      throw e.kind() == VELKException.Kind.VALUE ? failed(step, e) : e;
    }
  }

  private static CopyException failed(Step step, Exception e) {
    return CopyException.failed(
        "table " + step.source().name() + ", in a piece of it: " + e.getMessage());
  }

  /** Why the target ended the copy, null where something else did. */
  private static SQLException refusal(IOException e) {
    if (e instanceof TargetRefusal refusal) {
      return refusal.reason();
    }
    return null;
  }

  /** What goes to the target, whose failures are told apart from those of the source. */
  private static final class Writing extends OutputStream {
    private final PGCopyOutputStream out;

    Writing(PGCopyOutputStream out) {
      this.out = out;
    }

    @Override
    public void write(int value) throws IOException {
      write(new byte[] {(byte) value}, 0, 1);
    }

    @Override
    public void write(byte[] bytes, int from, int length) throws IOException {
      try {
        out.write(bytes, from, length);
      } catch (IOException e) {
        throw told(e);
      }
    }

    @Override
    public void flush() throws IOException {
      try {
        out.flush();
      } catch (IOException e) {
        throw told(e);
      }
    }

    private static IOException told(IOException e) {
      return e.getCause() instanceof SQLException cause ? new TargetRefusal(cause) : e;
    }
  }

  /** What comes from the source, with its checksum. */
  private final class Reading extends InputStream {
    private final CopyOut in;
    private final Checksum checksum = new Checksum(checksumKey);
    private final boolean masks;
    private byte[] row = {};
    private int taken;

    /**
     * Begins to read.
     *
     * @param masks whether what is read is masked
     */
    Reading(String sql, boolean masks) throws SQLException {
      this.masks = masks;
      in = source.copies().copyOut(sql);
    }

    @Override
    public int read() throws IOException {
      byte[] one = new byte[1];
      return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
    }

    /** Gives as many rows as there is place for. */
    @Override
    public int read(byte[] bytes, int from, int length) throws IOException {
      int count = 0;
      while (count < length && hasMore()) {
        int part = Math.min(length - count, row.length - taken);
        System.arraycopy(row, taken, bytes, from + count, part);
        taken += part;
        count += part;
      }
      checksum.update(bytes, from, count);
      return count > 0 || length == 0 ? count : -1;
    }

    /** Lets go of a row, which may be large, before it gets the next one. */
    private boolean hasMore() throws IOException {
      while (row != null && taken == row.length) {
        row = null;
        taken = 0;
        try {
          row = in.isActive() ? in.readFromCopy() : null;
        } catch (SQLException e) {
          throw new IOException("the source cannot be read: " + Postgres.told(e), e);
        }
      }
      if (masks && row != null && row.length > LARGE && !LARGE_ROWS.isHeldByCurrentThread()) {
        LARGE_ROWS.lock();
      }
      return row != null;
    }

    /**
     * Reads what is left, because a source that is interrupted would see another state after it.
     */
    void drain() throws IOException {
      while (hasMore()) {
        taken = row.length;
      }
    }

    long rows() {
      return in.getHandledRowCount();
    }

    String checksum() {
      return checksum.end();
    }

    @Override
    public void close() {
      cancel(in);
      if (LARGE_ROWS.isHeldByCurrentThread()) {
        LARGE_ROWS.unlock();
      }
    }
  }

  /** The checksum of a piece as the source has it now. */
  String checksum(Step step, Piece piece) throws IOException, SQLException {
    try (Reading in = new Reading(step.read(piece.part(), piece.condition()), false)) {
      in.transferTo(OutputStream.nullOutputStream());
      return in.checksum();
    }
  }
}
