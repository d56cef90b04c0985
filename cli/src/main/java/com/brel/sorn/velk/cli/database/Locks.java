package com.brel.sorn.velk.cli.database;

import java.sql.SQLException;

/** Locks in the target by which copies keep out of each other's way. */
final class Locks {
  private static final long COPY = 0x76656c6b_636f7079L;
  private static final long WRITERS = COPY + 1;

  private Locks() {}

  /**
   * Makes the session that of the only copy into its database. The server may still be about to end
   * sessions of a copy that was killed, and one of them to commit: they are waited for.
   */
  static void enter(Postgres target) throws SQLException {
    if (!target.isTrue("SELECT pg_try_advisory_lock(?)", COPY)) {
      throw CopyException.refused("another copy writes into the target");
    }
    target.text("SELECT pg_advisory_lock(?)", WRITERS);
    target.text("SELECT pg_advisory_unlock(?)", WRITERS);
  }

  /** Makes the session one that writes pieces. */
  static void joinWriters(Postgres target) throws SQLException {
    target.text("SELECT pg_advisory_lock_shared(?)", WRITERS);
  }

  /** Asks the servers whether two sessions are in one database. */
  static boolean areInOneDatabase(Postgres one, Postgres other, long number) throws SQLException {
    one.text("SELECT pg_advisory_lock(?)", number);
    try {
      boolean free = other.isTrue("SELECT pg_try_advisory_lock(?)", number);
      if (free) {
        other.text("SELECT pg_advisory_unlock(?)", number);
      }
      return !free || identity(one).equals(identity(other));
    } finally {
      one.text("SELECT pg_advisory_unlock(?)", number);
    }
  }

  /** The same on a server and on those that replicate it. */
  static String identity(Postgres session) throws SQLException {
    return session.text(
        "SELECT system_identifier || '/' || d.oid FROM pg_control_system(), pg_database d"
            + " WHERE d.datname = current_database()");
  }
}
