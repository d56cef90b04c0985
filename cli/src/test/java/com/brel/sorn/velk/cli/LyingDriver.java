package com.brel.sorn.velk.cli;

import java.lang.reflect.InvocationHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.sql.Connection;
import java.sql.Driver;
import java.sql.DriverManager;
import java.sql.DriverPropertyInfo;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.util.Properties;
import java.util.logging.Logger;

/** Drives H2 by {@code jdbc:lying:LIE:...}, and does not say all that it says. */
public final class LyingDriver implements Driver {
  private static final String PREFIX = "jdbc:lying:";

  /** Rows that are read before a lie. */
  private static final int TRUE_ROWS = 3;

  @Override
  public boolean acceptsURL(String url) {
    return url.startsWith(PREFIX);
  }

  @Override
  public Connection connect(String url, Properties properties) throws SQLException {
    if (!acceptsURL(url)) {
      return null;
    }
    String[] parts = url.substring(PREFIX.length()).split(":", 2);
    Connection h2 = DriverManager.getConnection("jdbc:h2:" + parts[1], properties);
    return lying(Connection.class, h2, (method, result, count) -> told(parts[0], result));
  }

  private static Object told(String lie, Object result) {
    if (!(result instanceof PreparedStatement statement)) {
      return result;
    }
    return lying(
        PreparedStatement.class,
        statement,
        (called, real, count) ->
            switch (called.getName()) {
              case "executeQuery" -> rows(lie, (ResultSet) real);
              case "executeBatch" -> lie.equals("unwritten") ? unwritten(statement, real) : real;
              default -> real;
            });
  }

  private static Object unwritten(PreparedStatement statement, Object counts) throws SQLException {
    statement.getConnection().rollback();
    return counts;
  }

  private static Object rows(String lie, ResultSet rows) {
    return lying(
        ResultSet.class,
        rows,
        (called, real, count) -> {
          if (called.getName().equals("next") && count > TRUE_ROWS) {
            switch (lie) {
              case "early":
                return false;
              case "quoting":
                throw new SQLException("cannot read s3cret", null, 0);
              case "running":
                throw new NumberFormatException("For input string: s3cret");
              default:
                return real;
            }
          }
          return real;
        });
  }

  private interface Lie {
    Object of(Method method, Object result, int count) throws SQLException;
  }

  private static <T> T lying(Class<T> type, T real, Lie lie) {
    int[] rows = {0};
    InvocationHandler handler =
        (proxy, method, arguments) -> {
          try {
            Object result = method.invoke(real, arguments);
            rows[0] += method.getName().equals("next") ? 1 : 0;
            return lie.of(method, result, rows[0]);
          } catch (InvocationTargetException e) {
            throw e.getCause();
          }
        };
    return type.cast(Proxy.newProxyInstance(type.getClassLoader(), new Class<?>[] {type}, handler));
  }

  @Override
  public DriverPropertyInfo[] getPropertyInfo(String url, Properties properties) {
    return new DriverPropertyInfo[0];
  }

  @Override
  public int getMajorVersion() {
    return 1;
  }

  @Override
  public int getMinorVersion() {
    return 0;
  }

  @Override
  public boolean jdbcCompliant() {
    return false;
  }

  @Override
  public Logger getParentLogger() {
    return Logger.getGlobal();
  }
}
