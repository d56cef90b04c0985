package com.brel.sorn.velk.cli.database;

import java.net.URI;
import java.net.URISyntaxException;
import java.net.URLDecoder;
import java.nio.charset.StandardCharsets;
import java.util.Map;
import java.util.Properties;

/** Where a database is, and who asks; it is shown without password and parameters. */
public final class DatabaseUrl {
  private final URI uri;
  private final String user;
  private String password;

  /**
   * Reads a URL.
   *
   * @param text {@code postgresql://[user[:password]@]host[:port]/database[?parameters]}
   * @param side the option that it belongs to
   * @param environment where a password may stand: {@code VELK_FROM_PASSWORD}, {@code
   *     VELK_TO_PASSWORD}, else {@code PGPASSWORD}
   */
  public DatabaseUrl(String text, String side, Map<String, String> environment) {
    String option = "--" + side;
    uri = parse(text, option);
    String info = uri.getRawUserInfo();
    int colon = info == null ? -1 : info.indexOf(':');
    user =
        info == null || info.isEmpty()
            ? environment.getOrDefault("PGUSER", System.getProperty("user.name"))
            : decoded(colon < 0 ? info : info.substring(0, colon));
    String variable = "VELK_" + side.toUpperCase(java.util.Locale.ROOT) + "_PASSWORD";
    password =
        colon >= 0
            ? decoded(info.substring(colon + 1))
            : environment.getOrDefault(variable, environment.get("PGPASSWORD"));
  }

  /** The parser's own message would hold the text, and with it a password. */
  private static URI parse(String text, String option) {
    URI uri = null;
    try {
      uri = new URI(text.replaceFirst("^jdbc:", ""));
    } catch (URISyntaxException e) {
      // Told below.
    }
    boolean known =
        uri != null && ("postgresql".equals(uri.getScheme()) || "postgres".equals(uri.getScheme()));
    String path = known ? uri.getPath() : null;
    if (!known || uri.getHost() == null || path == null || path.length() < 2) {
      throw CopyException.refused(
          option + ": no URL of a database: postgresql://[user@]host[:port]/database");
    }
    String query = uri.getRawQuery();
    if (query != null && query.matches("(?i)(.*&)?(user|password)=.*")) {
      throw CopyException.refused(
          option + ": user and password are no parameters: postgresql://user@host/database");
    }
    return uri;
  }

  private static String decoded(String text) {
    return URLDecoder.decode(text.replace("+", "%2B"), StandardCharsets.UTF_8);
  }

  /** As the driver wants it, without user and password. */
  String jdbc() {
    String port = uri.getPort() < 0 ? "" : ":" + uri.getPort();
    String query = uri.getRawQuery() == null ? "" : "?" + uri.getRawQuery();
    return "jdbc:postgresql://" + uri.getHost() + port + uri.getRawPath() + query;
  }

  Properties credentials() {
    Properties properties = new Properties();
    properties.setProperty("user", user);
    if (password != null) {
      properties.setProperty("password", password);
    }
    return properties;
  }

  boolean hasPassword() {
    return password != null;
  }

  void password(String asked) {
    password = asked;
  }

  @Override
  public String toString() {
    String port = uri.getPort() < 0 ? "" : ":" + uri.getPort();
    return "postgresql://" + user + "@" + uri.getHost() + port + uri.getPath();
  }
}
