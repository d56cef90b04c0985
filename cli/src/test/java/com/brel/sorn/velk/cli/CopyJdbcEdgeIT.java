package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Values that a driver or a target would take and quietly make others of. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "its servers are this machine's")
class CopyJdbcEdgeIT extends DatabaseMakes {
  /** A table of each database with a key, and a column of a type. */
  private static void tables(String from, String type, String to, String targetType) {
    makes.get(from).create("source");
    makes.get(from).execute("source", "CREATE TABLE a (id int PRIMARY KEY, x " + type + ")");
    makes.get(to).create("target");
    makes.get(to).execute("target", "CREATE TABLE a (id int PRIMARY KEY, x " + targetType + ")");
  }

  private static void insert(String from, String values) {
    makes.get(from).execute("source", "INSERT INTO a VALUES " + values);
  }

  private static String table(String make) {
    return Map.of("mariadb", "[source.a]", "h2", "[PUBLIC.A]", "postgres", "[public.a]").get(make);
  }

  private Run copy(String from, String to, String rule, String... more) throws IOException {
    String rules = "service=s key=env:MASK_KEY\n" + table(from) + rule;
    Path file = Files.writeString(folder.resolve("rules"), rules);
    String source = makes.get(from).url("source");
    String target = makes.get(to).url("target");
    List<String> arguments =
        new ArrayList<>(
            List.of("copy", "--from", source, "--to", target, "-r", file.toString(), "-q"));
    arguments.addAll(List.of(more));
    return Run.velk(arguments.toArray(String[]::new));
  }

  private Run keep(String from, String to) throws IOException {
    return copy(from, to, "=keep");
  }

  private static void assertTold(Run run, String text) {
    assertTrue(run.err().contains(text), run.err());
  }

  private static void assertNothingIn(String make) {
    assertEquals("0", makes.get(make).row("target", "SELECT count(*) FROM a"));
  }

  @ParameterizedTest
  @CsvSource({"mariadb", "h2"})
  void theEndOfADayIsNotMadeTheMomentBeforeIt(String to) throws IOException {
    tables("postgres", "time(6)", to, "time(6)");
    insert("postgres", "(1, '24:00')");
    Run run = keep("postgres", to).expect(ExitCode.INPUT_OUTPUT);
    assertTold(
        run, "table public.a, at column \"x\": the source cannot be read: a value is refused");
    assertNothingIn(to);
    makes.get("postgres").execute("source", "UPDATE a SET x = '23:59:59.999999'");
    makes.get(to).create("target");
    makes.get(to).execute("target", "CREATE TABLE a (id int PRIMARY KEY, x time(6))");
    keep("postgres", to).expect(ExitCode.DONE);
    assertEquals("23:59:59.999999", makes.get(to).row("target", "SELECT x FROM a"));
  }

  @ParameterizedTest
  @CsvSource({"mariadb", "postgres"})
  void halfASurrogatePairIsNotMadeAQuestionMark(String to) throws IOException {
    tables("h2", "varchar(9)", to, "varchar(9)");
    insert("h2", "(1, U&'\\+01f600'), (2, U&'a\\d800')");
    Run run = keep("h2", to).expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err()
            .contains(
                "the target refuses the row that has, masked, \"ID\" = 2: a value is refused"
                    + " (SQLSTATE 22021"),
        run.err());
    assertNothingIn(to);
  }

  @Test
  void halfASurrogatePairIsKeptFromH2ToH2() throws IOException {
    tables("h2", "varchar(9)", "h2", "varchar(9)");
    insert("h2", "(1, U&'a\\d800')");
    keep("h2", "h2").expect(ExitCode.DONE);
    assertEquals("a\ud800", makes.get("h2").row("target", "SELECT x FROM a"));
  }

  @ParameterizedTest
  @CsvSource({
    "timestamptz, timestamp(6) NOT NULL DEFAULT current_timestamp(6)",
    "int, int NOT NULL AUTO_INCREMENT UNIQUE"
  })
  void nullIsNotMadeTheTimeOfDayNorANumber(String type, String targetType) throws IOException {
    tables("postgres", type, "mariadb", targetType);
    insert("postgres", "(7, NULL)");
    Run run = keep("postgres", "mariadb").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err()
            .contains(
                "the target refuses the row that has, masked, \"id\" = 7: a constraint is"
                    + " violated (SQLSTATE 23000"),
        run.err());
    assertNothingIn("mariadb");
  }

  @Test
  void nullIsNotMadeTheDefaultOfAColumn() throws IOException {
    tables("mariadb", "int", "h2", "int DEFAULT 3 DEFAULT ON NULL");
    insert("mariadb", "(6, 5), (7, NULL)");
    Run run = keep("mariadb", "h2").expect(ExitCode.INPUT_OUTPUT);
    assertTold(
        run,
        "the target refuses the row that has, masked, \"id\" = 7: a constraint is violated"
            + " (SQLSTATE 23000");
    assertNothingIn("h2");
    tables("mariadb", "int", "h2", "int DEFAULT 3 DEFAULT ON NULL");
    insert("mariadb", "(6, 5)");
    keep("mariadb", "h2").expect(ExitCode.DONE);
    assertEquals("6|5", makes.get("h2").row("target", "SELECT id, x FROM a"));
  }

  @Test
  void nullGoesToATimestampThatMayBeNull() throws IOException {
    tables("postgres", "timestamptz", "mariadb", "timestamp(6) NULL");
    insert("postgres", "(7, NULL)");
    keep("postgres", "mariadb").expect(ExitCode.DONE);
    assertEquals("7|null", makes.get("mariadb").row("target", "SELECT id, x FROM a"));
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = ';',
      value = {
        "postgres; smallint; year; int2 does not go over to year(4) by JDBC",
        "mariadb; smallint; year; smallint does not go over to year(4) by JDBC",
        "mariadb; varchar(1); enum('a','b'); varchar(1) does not go over to enum('a','b') by JDBC",
        "mariadb; enum('2','a'); enum('a','b'); enum('2','a') does not go over to enum('a','b') by",
        "mariadb; varchar(3); set('a','b'); varchar(3) does not go over to set('a','b') by JDBC",
        "mariadb; double; double(5,2); double does not go over to double(5,2) by JDBC",
        "mariadb; float(5,2); float(4,1); float(5,2) does not go over to float(4,1) by JDBC",
        "postgres; numeric; numeric; numeric(100000,0) of the target is narrower than numeric",
        "h2; numeric(9,2); numeric; numeric(100000,0) of the target is narrower than numeric(9,2)",
        "mariadb; varbinary(3); binary(6); binary(6) of the target is narrower than varbinary(3)",
        "h2; varbinary(3); binary(6); binary(6) of the target is narrower than binary varying(3)",
        "h2; decfloat(9); numeric(9,0); numeric(9,0) of the target is narrower than decfloat(9)",
        "h2; decfloat(9); bigint; bigint of the target is narrower than decfloat(9)",
        "h2; decfloat(9); decfloat(3); decfloat(9) does not go over to decfloat(3) by JDBC",
        "h2; interval second(2,9); interval second(2,0); interval second(2,9) does not go over to"
            + " interval second(2,0) by JDBC",
        "h2; interval year(4); interval day(4); interval year(4,0) does not go over to interval day(4,0)"
      })
  void aTypeThatMakesOtherValuesOfWhatItIsGivenIsRefused(
      String from, String type, String targetType, String refusal) throws IOException {
    String to = from.equals("h2") || type.equals("numeric") ? "h2" : "mariadb";
    tables(from, type, to, targetType);
    Run run = keep(from, to).expect(ExitCode.USAGE);
    assertTold(run, refusal);
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = ';',
      quoteCharacter = '`',
      value = {
        "mariadb; year; 1901; year",
        "mariadb; enum('2','a'); '2'; enum('2','a')",
        "mariadb; set('x','y'); 'x,y'; set('x','y')",
        "mariadb; enum('2','a'); '2'; varchar(1)",
        "mariadb; year; 2155; smallint",
        "mariadb; double(5,2); 1.25; double(5,2)",
        "mariadb; double(5,2); 1.25; double",
        "mariadb; binary(2); 'ab'; binary(2)",
        "mariadb; binary(2); 'ab'; varbinary(2)",
        "h2; decfloat(9); 1.2345; decfloat(9)",
        "h2; interval second(2,9); INTERVAL '1.123456789' SECOND; interval second(2,9)",
        "h2; interval year(4); INTERVAL '1234' YEAR; interval year(4)"
      })
  void suchATypeGoesOverToItself(String make, String type, String value, String targetType)
      throws IOException {
    tables(make, type, make, targetType);
    insert(make, "(1, " + value + ")");
    keep(make, make).expect(ExitCode.DONE);
    String whole = makes.get(make).row("target", "SELECT x FROM a");
    assertEquals(makes.get(make).row("source", "SELECT x FROM a"), whole);
  }

  @Test
  void aLabelIsMaskedByAnotherOneAlone() throws IOException {
    tables("mariadb", "enum('a','b')", "mariadb", "enum('a','b')");
    insert("mariadb", "(1, 'a')");
    Run run = copy("mariadb", "mariadb", "\nid=keep x=classes").expect(ExitCode.USAGE);
    assertTold(run, "classes gives no value of the type enum('a','b')");
    copy("mariadb", "mariadb", "\nid=keep x=fixed('b')").expect(ExitCode.DONE);
    assertEquals("b", makes.get("mariadb").row("target", "SELECT x FROM a"));
  }

  @Test
  void blanksInFrontOfALineEndFillNothingUp() throws IOException {
    tables("postgres", "char(5)", "mariadb", "varchar(5)");
    insert("postgres", "(1, E'ab  \\n'), (2, 'ab')");
    copy("postgres", "mariadb", "\nid=keep x=classes").expect(ExitCode.DONE);
    String masked = makes.get("mariadb").row("target", "SELECT x FROM a WHERE id = 1");
    assertTrue(masked.matches("[a-z]{2}  \n"), masked);
    String filled = makes.get("mariadb").row("target", "SELECT x FROM a WHERE id = 2");
    assertTrue(filled.matches("[a-z]{2}"), filled);
  }

  @Test
  void twoTablesDoNotGoIntoOneThatIsCalledAlike() throws IOException {
    tables("h2", "int", "mariadb", "int");
    makes.get("h2").execute("source", "CREATE TABLE \"a\" (id int PRIMARY KEY, x int)");
    Run run = copy("h2", "mariadb", "=keep\n[PUBLIC.a]=keep").expect(ExitCode.USAGE);
    assertTold(run, "table PUBLIC.A: the target has no such table");
    assertTold(run, "table PUBLIC.a: the target has no such table");
  }

  @Test
  void whatATriggerSaysAtTheEndOfATransactionIsNotShown() throws IOException {
    tables("mariadb", "varchar(20)", "postgres", "varchar(20)");
    insert("mariadb", "(1, 's3cret')");
    TestDatabases target = makes.get("postgres");
    target.execute(
        "target",
        "CREATE FUNCTION tell() RETURNS trigger LANGUAGE plpgsql AS"
            + " $$ BEGIN RAISE EXCEPTION 'not %', NEW.x; END $$",
        "CREATE CONSTRAINT TRIGGER t AFTER INSERT ON a DEFERRABLE INITIALLY DEFERRED"
            + " FOR EACH ROW EXECUTE FUNCTION tell()",
        // Whatever role the session has.
        "ALTER TABLE a ENABLE ALWAYS TRIGGER t");
    Run run = keep("mariadb", "postgres").expect(ExitCode.INPUT_OUTPUT);
    assertTrue(
        run.err()
            .contains(
                "table source.a: the target refuses a piece: the database fails (SQLSTATE P0001"),
        run.err());
    assertFalse(run.err().contains("s3cret"), run.err());
    assertNothingIn("postgres");
  }

  @Test
  void aDecimalOfManyDigitsIsMaskedAndKept() throws IOException {
    tables("h2", "numeric(2000,3)", "postgres", "numeric");
    insert("h2", "(1, 1.125)");
    keep("h2", "postgres").expect(ExitCode.DONE);
    assertEquals("1.125", makes.get("postgres").row("target", "SELECT x FROM a"));
    tables("h2", "numeric(2000,3)", "h2", "numeric(2000,3)");
    insert("h2", "(1, 1.125)");
    copy("h2", "h2", "\nID=keep X=noise(percent=10)").expect(ExitCode.DONE);
    String masked = makes.get("h2").row("target", "SELECT x FROM a");
    assertTrue(masked.matches("(0\\.9|1\\.[012])\\d+"), masked);
  }

  @Test
  void aDecimalWhosePointIsAnywhereIsMaskedAndKept() throws IOException {
    tables("h2", "decfloat(9)", "postgres", "numeric");
    insert("h2", "(1, 1.2345), (2, 1e50)");
    keep("h2", "postgres").expect(ExitCode.DONE);
    String kept = "SELECT string_agg(x::text, ' ' ORDER BY id) FROM a";
    assertEquals("1.2345 1" + "0".repeat(50), makes.get("postgres").row("target", kept));
    makes.get("postgres").create("target");
    makes.get("postgres").execute("target", "CREATE TABLE a (id int PRIMARY KEY, x numeric)");
    copy("h2", "postgres", "\nID=keep X=noise(percent=10)").expect(ExitCode.DONE);
    String near = "SELECT x BETWEEN 1.1 AND 1.4 FROM a WHERE id = 1";
    assertEquals("t", makes.get("postgres").row("target", near));
  }

  @Test
  void rowsThatADeferrableConstraintWouldRefuseEndTheCopy() throws Exception {
    tables("h2", "varchar(20)", "postgres", "varchar(20)");
    makes.get("postgres").execute("target", "ALTER TABLE a ADD UNIQUE (x) DEFERRABLE");
    insert("h2", "(1, 'wrong'), (2, 'wrong too'), (3, null), (4, null)");
    String fixed = "\nID=keep X=card on_error=fixed('z')";
    Run run = copy("h2", "postgres", fixed).expect(ExitCode.INPUT_OUTPUT);
    assertTold(run, "2 rows are not unique by constraint \"a_x_key\"");
  }

  /** The command's own session before this one may not have ended yet. */
  @Test
  void theLockOfASessionThatEndsIsWaitedFor() throws Exception {
    tables("h2", "int", "postgres", "int");
    insert("h2", "(1, 2)");
    try (Connection other = makes.get("postgres").connect("target");
        Statement statement = other.createStatement()) {
      statement.execute("SELECT pg_advisory_lock(" + 0x76656c6b_636f7079L + ")");
      Run refused = keep("h2", "postgres").expect(ExitCode.USAGE);
      assertTrue(refused.err().contains("another copy writes into the target"), refused.err());
      Thread ending =
          new Thread(
              () -> {
                try {
                  Thread.sleep(3000);
                  statement.execute("SELECT pg_advisory_unlock_all()");
                } catch (InterruptedException | SQLException e) {
                  throw new IllegalStateException(e);
                }
              });
      ending.start();
      keep("h2", "postgres").expect(ExitCode.DONE);
      ending.join();
    }
    assertEquals("1|2", makes.get("postgres").row("target", "SELECT id, x FROM a"));
  }

  @Test
  void aLockOfMariaDbIsWaitedForAMinute() throws IOException {
    tables("mariadb", "int", "mariadb", "int");
    insert("mariadb", "(1, 0)");
    makes
        .get("mariadb")
        .execute(
            "target",
            "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW SET NEW.x ="
                + " 1000 * @@SESSION.lock_wait_timeout + @@SESSION.innodb_lock_wait_timeout");
    keep("mariadb", "mariadb").expect(ExitCode.DONE);
    assertEquals("60060", makes.get("mariadb").row("target", "SELECT x FROM a"));
  }

  @Test
  void whatMariaDbIsToLeaveUncheckedIsChecked() throws IOException {
    tables("mariadb", "int", "mariadb", "int CHECK (x < 2)");
    insert("mariadb", "(1, 1), (2, 2)");
    String unchecked =
        "SET GLOBAL unique_checks = %s, check_constraint_checks = %s, sql_select_limit = %s";
    makes.get("mariadb").execute("target", unchecked.formatted(0, 0, 1));
    try {
      Run run = keep("mariadb", "mariadb").expect(ExitCode.INPUT_OUTPUT);
      assertTold(
          run, "the target refuses the row that has, masked, \"id\" = 2: a constraint is violated");
      makes
          .get("mariadb")
          .execute(
              "target",
              "ALTER TABLE a MODIFY x int",
              "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW SET NEW.x = @@SESSION.unique_checks");
      copy("mariadb", "mariadb", "=keep", "--resume").expect(ExitCode.DONE);
      assertEquals("2|1", makes.get("mariadb").row("target", "SELECT count(*), min(x) FROM a"));
    } finally {
      makes.get("mariadb").execute("target", unchecked.formatted(1, 1, "18446744073709551615"));
    }
  }

  /** No row is looked for that would be to blame: each try would wait for the lock anew. */
  @Test
  void aLockThatIsNotGivenIsNoRefusedValue() throws IOException {
    tables("mariadb", "int", "mariadb", "int");
    insert("mariadb", "(1, 0), (2, 0), (3, 0), (4, 0)");
    makes
        .get("mariadb")
        .execute(
            "target",
            "CREATE TABLE tries (id int) ENGINE = Aria TRANSACTIONAL = 0",
            "CREATE TRIGGER t BEFORE INSERT ON a FOR EACH ROW BEGIN INSERT INTO tries VALUES (NEW.id);"
                + " SIGNAL SQLSTATE 'HY000' SET MYSQL_ERRNO = 1205, MESSAGE_TEXT = 'secret'; END");
    Run run = keep("mariadb", "mariadb").expect(ExitCode.INPUT_OUTPUT);
    assertTold(
        run,
        "table source.a: the target refuses a piece: another session holds a lock for too long"
            + " (SQLSTATE HY000, code 1205)");
    assertFalse(run.err().contains("secret"), run.err());
    assertEquals("1", makes.get("mariadb").row("target", "SELECT count(*) FROM tries"));
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = ';',
      value = {
        "mariadb; bigint AUTO_INCREMENT UNIQUE; root@; reader@; writer@; source.*; target.*; CREATE ON"
            + " target.*",
        "h2; bigint GENERATED ALWAYS AS IDENTITY; USER=sa; USER=reader; USER=writer; SCHEMA PUBLIC;"
            + " SCHEMA PUBLIC; ALTER ANY SCHEMA"
      })
  void whatIsToBeGrantedIsEnough(
      String make,
      String type,
      String owner,
      String reader,
      String writer,
      String from,
      String to,
      String more)
      throws IOException {
    tables(make, type, make, type);
    insert(make, "(1, DEFAULT)");
    TestDatabases databases = makes.get(make);
    String noPassword = make.equals("h2") ? " PASSWORD ''" : "";
    databases.execute(
        "source", "CREATE USER reader" + noPassword, "GRANT SELECT ON " + from + " TO reader");
    databases.execute(
        "target",
        "CREATE USER writer" + noPassword,
        "GRANT SELECT, INSERT, UPDATE, DELETE ON " + to + " TO writer",
        "GRANT " + more + " TO writer");
    Path file =
        Files.writeString(
            folder.resolve("rules"), "service=s key=env:MASK_KEY\n" + table(make) + "=keep");
    String source = databases.url("source").replace(owner, reader);
    String target = databases.url("target").replace(owner, writer);
    Run run = Run.velk("copy", "--from", source, "--to", target, "-r", file.toString(), "-q");
    assertEquals("", run.expect(ExitCode.DONE).err());
    assertEquals("1|1", databases.row("target", "SELECT id, x FROM a"));
  }

  /** Of a driver that says less than there is, or more than it should. */
  @ParameterizedTest
  @CsvSource(
      delimiter = ';',
      value = {
        "early; from; 4; the source has 9 rows and 3 were read",
        "quoting; from; 4; the source cannot be read: a value is refused (SQLSTATE null",
        "running; from; 1; internal error: java.lang.NumberFormatException at ",
        "unwritten; to; 4; 9 rows were written and 0 are there"
      })
  void aDriverIsNotBelieved(String lie, String side, int exitCode, String told) throws IOException {
    tables("h2", "varchar(9)", "h2", "varchar(9)");
    insert("h2", "(1, 's3cret')");
    makes.get("h2").execute("source", "INSERT INTO a SELECT x, 'b' FROM system_range(2, 9)");
    Path file =
        Files.writeString(folder.resolve("rules"), "service=s key=env:MASK_KEY\n[PUBLIC.A]=keep");
    String from = lying("source", lie, side.equals("from"));
    String to = lying("target", lie, side.equals("to"));
    Run run = Run.velk("copy", "--from", from, "--to", to, "-r", file.toString(), "-q");
    run.expect(exitCode);
    assertTold(run, told);
    assertFalse(run.err().contains("s3cret"), run.err());
    assertEquals("0", makes.get("h2").row("target", "SELECT \"finished\" FROM \"velk_copy_run\""));
  }

  private static String lying(String database, String lie, boolean isLying) {
    String url = makes.get("h2").url(database);
    return isLying ? url.replace("jdbc:h2:", "jdbc:lying:" + lie + ":") : url;
  }
}
