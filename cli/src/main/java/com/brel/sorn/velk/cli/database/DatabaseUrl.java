package com.brel.sorn.velk.cli.database;

import java.net.URI;
import java.net.URISyntaxException;
import java.net.URLDecoder;
import java.nio.charset.StandardCharsets;
import java.util.Locale;
import java.util.Map;
import java.util.Properties;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Where a database is, and who asks; it is shown without password and parameters. */
public final class DatabaseUrl {
  private static final Pattern POSTGRES = Pattern.compile("(?s)(jdbc:)?postgres(ql)?:.*");
  private static final Pattern OTHER = Pattern.compile("(?s)jdbc:[A-Za-z][\\w+.-]*:.+");

  /** What stands behind a host instead: a port, and a parameter, whose value may have an @. */
  private static final String PORT = "\\d{1,5}[/,?;](?:[^@]*[?;:&])?[\\w.]+=";

  /** Before a host; a password may hold what is no part of a host. */
  private static final Pattern BEFORE_HOST =
      Pattern.compile("(?s)(jdbc:[^/@?;]*//)(?!\\[)([^:@/?;]*)(?::(?!" + PORT + ")(.*))?@(.*)");

  private static final Pattern BEFORE_SERVICE =
      Pattern.compile("(?s)(jdbc:(?:[\\w+.-]+:)+)([^/@:?;]+)/(.*)@(.*)");

  private static final Pattern SECRET =
      Pattern.compile("(?i)(\\w*(password|pwd|secret|token)\\w*)\\s*=\\s*[^&;\\s]*");

  private final String address;
  private final String shown;
  private final boolean postgres;
  private String user;
  private String password;

  /**
   * Reads a URL.
   *
   * @param text {@code postgresql://[user[:password]@]host[:port]/database[?parameters]}, the same
   *     with {@code mariadb:}, or any other that begins with {@code jdbc:}
   * @param side the option that it belongs to
   * @param environment where a password may stand: {@code VELK_FROM_PASSWORD}, {@code
   *     VELK_TO_PASSWORD}, of PostgreSQL else {@code PGPASSWORD}
   */
  public DatabaseUrl(String text, String side, Map<String, String> environment) {
    String option = "--" + side;
    postgres = POSTGRES.matcher(text).matches();
    if (postgres) {
      URI uri = parse(text, option);
      address = postgresAddress(uri);
      takeUser(uri.getRawUserInfo());
      user = user != null ? user : environment.get("PGUSER");
      user = user != null ? user : System.getProperty("user.name");
      shown = "postgresql://" + user + "@" + uri.getHost() + port(uri) + uri.getPath();
    } else {
      address = withoutUser(text.startsWith("mariadb://") ? "jdbc:" + text : text, option);
      shown = shown();
    }
    password = password != null ? password : environment.get(variable(side));
    password = password != null || !postgres ? password : environment.get("PGPASSWORD");
  }

  private static String variable(String side) {
    return "VELK_" + side.toUpperCase(Locale.ROOT) + "_PASSWORD";
  }

  /** The parser's own message would hold the text, and with it a password. */
  private static URI parse(String text, String option) {
    URI uri = null;
    try {
      uri = new URI(text.replaceFirst("^jdbc:", ""));
    } catch (URISyntaxException e) {
      // Told below.
    }
    String path = uri == null ? null : uri.getPath();
    if (uri == null || uri.getHost() == null || path == null || path.length() < 2) {
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

  private static String port(URI uri) {
    return uri.getPort() < 0 ? "" : ":" + uri.getPort();
  }

  private static String postgresAddress(URI uri) {
    String query = uri.getRawQuery() == null ? "" : "?" + uri.getRawQuery();
    return "jdbc:postgresql://" + uri.getHost() + port(uri) + uri.getRawPath() + query;
  }

  private void takeUser(String info) {
    if (info == null || info.isEmpty()) {
      return;
    }
    int colon = info.indexOf(':');
    user = decoded(colon < 0 ? info : info.substring(0, colon));
    password = colon < 0 ? null : decoded(info.substring(colon + 1));
  }

  /** The decoder's own message would hold a part of the text. */
  private static String decoded(String text) {
    try {
      return URLDecoder.decode(text.replace("+", "%2B"), StandardCharsets.UTF_8);
    } catch (IllegalArgumentException e) {
      throw CopyException.refused(
          "the URL of a database: % in a user's name or a password is written %25");
    }
  }

  /** Takes user and password out of a URL of any database, wherever such URLs have them. */
  private String withoutUser(String url, String option) {
    if (!OTHER.matcher(url).matches()) {
      throw CopyException.refused(
          option
              + ": no URL of a database: postgresql://[user@]host[:port]/database,"
              + " mariadb://[user@]host[:port]/database or jdbc:...");
    }
    String left = url;
    Matcher host = BEFORE_HOST.matcher(url);
    Matcher service = BEFORE_SERVICE.matcher(url);
    if (host.matches()) {
      user = decoded(host.group(2));
      password = host.group(3) == null ? null : decoded(host.group(3));
      left = host.group(1) + host.group(4);
    } else if (service.matches()) {
      user = service.group(2);
      password = service.group(3);
      left = service.group(1) + "@" + service.group(4);
    }
    String parameter = parameter(left, "user");
    user = parameter == null ? user : parameter;
    parameter = parameter(left, "password");
    password = parameter == null ? password : parameter;
    String cleaned =
        left.replaceAll(
            "(?i)(?<=" + before(left) + ")(user|password)=" + value(left) + "[&;]?", "");
    return cleaned.equals(left) ? left : cleaned.replaceFirst("[?&;:]$", "");
  }

  /** H2, DB2 and SQL Server part parameters by semicolons and take them as they are. */
  private static String parameter(String url, String name) {
    Matcher found =
        Pattern.compile("(?i)" + before(url) + name + "=(" + value(url) + ")").matcher(url);
    if (!found.find()) {
      return null;
    }
    return hasQuery(url) ? decoded(found.group(1)) : found.group(1);
  }

  private static boolean hasQuery(String url) {
    return url.matches("(?s)[^;?]*[?].*");
  }

  private static String before(String url) {
    return hasQuery(url) ? "[?&]" : "[;:]";
  }

  private static String value(String url) {
    return hasQuery(url) ? "[^&]*" : "[^;]*";
  }

  private String shown() {
    String place = SECRET.matcher(address.replaceFirst("(?s)[?;].*", "")).replaceAll("$1=***");
    int slashes = place.indexOf("//");
    return user == null || slashes < 0
        ? place
        : place.substring(0, slashes + 2) + user + "@" + place.substring(slashes + 2);
  }

  boolean isPostgres() {
    return postgres;
  }

  /** As the driver wants it, without user and password. */
  String jdbc() {
    return address;
  }

  Properties credentials() {
    Properties properties = new Properties();
    if (user != null) {
      properties.setProperty("user", user);
    }
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

  /** A driver's message with nothing of the URL that may be secret. */
  String stripped(String message) {
    String text = String.valueOf(message).replace(address, shown);
    text = password == null || password.isEmpty() ? text : text.replace(password, "***");
    return SECRET.matcher(text).replaceAll("$1=***");
  }

  @Override
  public String toString() {
    return shown;
  }
}
