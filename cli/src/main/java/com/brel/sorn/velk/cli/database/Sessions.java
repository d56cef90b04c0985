package com.brel.sorn.velk.cli.database;

import java.lang.management.ManagementFactory;
import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.SQLException;
import java.text.NumberFormat;
import java.util.GregorianCalendar;

/** The sessions in which a copy is planned, which are opened while the engine is. */
public final class Sessions implements AutoCloseable {
  private final CopySettings settings;
  private final Beside<Connection> source;
  private final Beside<Connection> target;

  private Sessions(CopySettings settings) {
    this.settings = settings;
    this.source = Postgres.connecting(settings.from());
    this.target = Postgres.connecting(settings.to());
  }

  /**
   * Begins to load the driver and what of Java it takes for its first session, and the copy for its
   * fingerprint: all of it takes as long as reading the arguments does.
   */
  public static void prepare() {
    Beside.begin(
        () -> {
          DriverManager.drivers().count();
          ManagementFactory.getMemoryMXBean().getHeapMemoryUsage();
          NumberFormat.getIntegerInstance();
          new GregorianCalendar();
          return Fingerprints.digest("");
        });
  }

  /**
   * Begins to open them.
   *
   * @param settings says of which databases
   * @return the sessions; null where the databases are not both PostgreSQL, which takes more
   */
  public static Sessions begin(CopySettings settings) {
    boolean both = settings.from().isPostgres() && settings.to().isPostgres();
    return both ? new Sessions(settings) : null;
  }

  Postgres source() {
    return Postgres.open(settings.from(), true, source);
  }

  Postgres target() {
    return Postgres.open(settings.to(), true, target);
  }

  @Override
  public void close() {
    source.whenThere(Sessions::close);
    target.whenThere(Sessions::close);
  }

  private static void close(Connection connection) {
    try {
      connection.close();
    } catch (SQLException e) {
      // Nothing of it is needed any more.
    }
  }
}
