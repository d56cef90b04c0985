package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.Catalogue.Part;
import com.brel.sorn.velk.cli.database.Catalogue.Sequence;
import com.brel.sorn.velk.cli.database.Marks.Fingerprint;
import com.brel.sorn.velk.cli.database.Marks.Mark;
import com.brel.sorn.velk.masking.ColumnRule;
import com.brel.sorn.velk.masking.Engine;
import java.io.IOException;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.ThreadLocalRandom;
import java.util.function.Consumer;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * A masked copy of a database. It is planned when it is opened, which writes nothing; the source is
 * only ever read, in one snapshot, and its tables keep their form until this is closed.
 */
public final class DatabaseCopy implements MaskedCopy {
  /** How far a copy is. */
  public interface Listener {
    /**
     * Tells of a piece that is done.
     *
     * @param rows the rows of all pieces of this run
     * @param pages the pages of all pieces that are done
     */
    void done(long rows, long pages);
  }

  /**
   * What became of a table.
   *
   * @param name its name, as the rules have it
   * @param rows its rows
   * @param rules the rules of its columns; empty where it went over as it is
   * @param columns what became of the values of these columns
   * @param key where the key of its rules is, null where they have none
   */
  public record TableResult(
      String name, long rows, List<ColumnRule> rules, List<ColumnResult> columns, String key) {}

  private final Engine engine;
  private final CopySettings settings;
  private final Postgres source;
  private String snapshot;
  private String identity;
  private Plan plan;
  private volatile boolean hasMarks;

  private DatabaseCopy(Engine engine, CopySettings settings, Postgres source) {
    this.engine = engine;
    this.settings = settings;
    this.source = source;
  }

  /**
   * Plans a copy, with a session of each database that cannot write.
   *
   * @param engine masks the values
   * @param settings what is asked for
   * @param sessions those that were begun for it
   * @return the copy, not begun
   * @throws CopyException if it is refused, with all that is wrong
   */
  public static DatabaseCopy open(Engine engine, CopySettings settings, Sessions sessions) {
    RulesFile rules = new RulesFile(settings.rules());
    DatabaseCopy copy = new DatabaseCopy(engine, settings, sessions.source());
    try (Postgres target = sessions.target()) {
      copy.plan(rules, target);
      return copy;
    } catch (SQLException e) {
      copy.close();
      throw CopyException.failed(Postgres.told(e));
    } catch (RuntimeException e) {
      copy.close();
      throw e;
    }
  }

  private void plan(RulesFile rules, Postgres target) throws SQLException {
    if (Locks.areInOneDatabase(source, target, ThreadLocalRandom.current().nextLong())) {
      throw CopyException.refused(
          "the target is the source: " + settings.from() + " and " + settings.to());
    }
    identity = Locks.identity(source);
    List<TableName> all = CatalogueReader.names(source);
    List<String> findings = new ArrayList<>();
    List<TableName> chosen = chosen(all, settings.tables(), findings);
    beginSnapshot(chosen);
    if (!CatalogueReader.names(source).equals(all)) {
      throw CopyException.refused("the source got or lost tables just now: begin anew");
    }
    Beside<Catalogue> reading = Beside.begin(() -> CatalogueReader.read(target, chosen));
    Catalogue ours;
    try {
      ours = CatalogueReader.read(source, chosen);
    } finally {
      reading.await();
    }
    Catalogue theirs = reading.get();
    inspect(target, theirs, findings);
    requireRelations(target, ours, theirs, findings);
    plan =
        new Planner(engine, rules, ours, theirs, new PostgresCrossing(allowsReplicaRole(target)))
            .plan(all, findings);
  }

  /** Those of all tables that are to be copied. */
  static List<TableName> chosen(List<TableName> all, List<String> names, List<String> findings) {
    if (names.isEmpty()) {
      return all;
    }
    List<TableName> chosen = new ArrayList<>();
    for (String wanted : names) {
      List<TableName> found =
          all.stream()
              .filter(name -> name.toString().equals(wanted) || name.name().equals(wanted))
              .toList();
      if (found.size() == 1) {
        chosen.addAll(found);
      } else {
        findings.add(
            "--tables "
                + wanted
                + ": the source has "
                + (found.isEmpty() ? "no" : "more than one")
                + " such table");
      }
    }
    return chosen;
  }

  /** A table that was emptied or rewritten behind the snapshot's back would look empty in it. */
  private void beginSnapshot(List<TableName> tables) throws SQLException {
    source.beginSnapshot();
    source.lock(tables, "");
    snapshot = source.text("SELECT pg_export_snapshot()");
  }

  private void inspect(Postgres target, Catalogue tables, List<String> findings)
      throws SQLException {
    hasMarks = Marks.exist(target);
    if (hasMarks && !settings.resume()) {
      findings.add(
          "the target has the marks of a copy in schema velk_copy: --resume goes on with it");
    }
    if (!hasMarks && settings.resume()) {
      findings.add("--resume: the target has no marks of a copy");
    }
    for (Catalogue.Table table : tables.tables().values()) {
      // What cannot be written cannot always be read, and is refused for that.
      boolean looks = !hasMarks && !table.hidden() && table.findings().isEmpty();
      String rows = rows(tables, table.name());
      if (looks && target.isTrue("SELECT EXISTS (SELECT FROM " + rows + ")")) {
        findings.add("table " + table.name() + ": the target's is not empty");
      }
    }
  }

  /** A foreign key of one partition says nothing of the rows of others. */
  private static void requireRelations(
      Postgres target, Catalogue ours, Catalogue theirs, List<String> findings)
      throws SQLException {
    Set<String> known =
        theirs.foreignKeys().stream()
            .flatMap(key -> Stream.of(key.childRelation(), key.parentRelation()))
            .collect(Collectors.toSet());
    for (ForeignKey key : ours.foreignKeys()) {
      boolean both = theirs.tables().keySet().containsAll(List.of(key.child(), key.parent()));
      for (String relation : List.of(key.childRelation(), key.parentRelation())) {
        if (both
            && !known.contains(relation)
            && target.isTrue("SELECT to_regclass(?) IS NULL", relation)) {
          findings.add(
              "table "
                  + key.child()
                  + ": foreign key "
                  + TableName.quoted(key.name())
                  + " names "
                  + relation
                  + ", which is missing in the target");
        }
      }
    }
  }

  /** A table's own rows and those of its partitions, not those of others that inherit from it. */
  private static String rows(Catalogue target, TableName table) {
    List<Part> parts = target.tables().get(table).parts();
    boolean whole = parts.size() == 1 && parts.get(0).name().equals(table);
    return (whole ? "ONLY " : "") + table.sql();
  }

  static boolean allowsReplicaRole(Session target) throws SQLException {
    try {
      target.execute("SET session_replication_role = replica");
      target.execute("RESET session_replication_role");
      return true;
    } catch (SQLException e) {
      if ("42501".equals(e.getSQLState())) {
        return false;
      }
      throw e;
    }
  }

  @Override
  public List<List<String>> table() {
    return plan.table();
  }

  @Override
  public List<String> notes() {
    return plan.notes();
  }

  @Override
  public List<String> warnings() {
    return plan.warnings();
  }

  @Override
  public long pages() {
    return plan.steps().stream()
        .flatMap(step -> step.source().parts().stream())
        .mapToLong(Part::pages)
        .sum();
  }

  @Override
  public boolean hasMarks() {
    return hasMarks;
  }

  @Override
  public List<TableResult> run(Listener listener, Consumer<String> warned) throws IOException {
    try (PieceRun pieces = new PieceRun(engine, settings, plan, snapshot, checksumKey(), listener);
        Postgres control = Postgres.open(settings.to(), false)) {
      Locks.enter(control);
      prepare(control);
      if (!Marks.isFinished(control)) {
        pieces.run(Marks.read(control));
        pieces.end();
        finish(control, warned);
      } else {
        warned.accept("the copy was complete already");
      }
      return results(Marks.read(control));
    } catch (SQLException e) {
      throw CopyException.failed(Postgres.told(e));
    }
  }

  private void prepare(Postgres control) throws SQLException {
    Fingerprint ours = fingerprint();
    if (!hasMarks) {
      Marks.create(control, ours);
      hasMarks = true;
      return;
    }
    String difference = Marks.fingerprint(control).difference(ours);
    if (difference != null) {
      throw CopyException.refused(
          "--resume: the copy that was begun is another one, for it differs in " + difference);
    }
  }

  private byte[] checksumKey() {
    return Fingerprints.ofChecksums(engine, plan);
  }

  private Fingerprint fingerprint() {
    StringBuilder catalogue = new StringBuilder(identity);
    for (Step step : plan.steps()) {
      Catalogue.Table table = step.source();
      catalogue.append('\n').append(table.form());
      table.parts().forEach(part -> catalogue.append('\n').append(part.name().sql()));
    }
    return new Fingerprint(
        Fingerprints.ofRules(settings),
        HexFormat.of().formatHex(Fingerprints.ofKeys(engine, plan.keys(), "velk copy fingerprint")),
        Fingerprints.hex(engine.library().identification()),
        Fingerprints.hex(catalogue.toString()),
        settings.pages());
  }

  /** Sets the last mark, once all rows are found and no child is without its parent. */
  private void finish(Postgres control, Consumer<String> warned) throws SQLException {
    control.execute("BEGIN");
    Map<TableName, Long> rows = new TreeMap<>();
    results(Marks.read(control))
        .forEach(result -> rows.put(step(result.name()).source().name(), result.rows()));
    for (Step step : plan.steps()) {
      TableName table = step.source().name();
      long found = control.number("SELECT count(*) FROM " + rows(plan.target(), table));
      if (found != rows.get(table)) {
        throw CopyException.failed(
            "table "
                + table
                + ": "
                + rows.get(table)
                + " rows were written and "
                + found
                + " are there");
      }
    }
    for (ForeignKey key : plan.foreignKeys()) {
      requireParents(control, key);
    }
    // Whoever began the copy may have left unchecked what this user may not.
    UncheckedConstraints.require(control, plan.target().tables().keySet());
    for (Step step : plan.steps()) {
      for (Sequence sequence : step.source().sequences()) {
        follow(control, step, sequence, warned);
      }
    }
    Marks.finish(control);
    control.execute("COMMIT");
  }

  private Step step(String name) {
    return plan.steps().stream()
        .filter(step -> step.source().name().toString().equals(name))
        .findFirst()
        .orElseThrow();
  }

  private static void requireParents(Postgres control, ForeignKey key) throws SQLException {
    StringBuilder same = new StringBuilder();
    StringBuilder whole = new StringBuilder();
    for (int i = 0; i < key.columns().size(); i++) {
      String child = "c." + TableName.quoted(key.columns().get(i));
      String parent = "p." + TableName.quoted(key.parentColumns().get(i));
      whole.append(child).append(" IS NOT NULL AND ");
      same.append(i == 0 ? "" : " AND ").append(parent).append(' ').append(key.operators().get(i));
      same.append(' ').append(child);
    }
    long orphans =
        control.number(
            "SELECT count(*) FROM "
                + own(control, key.childRelation())
                + " c WHERE "
                + whole
                + "NOT EXISTS (SELECT FROM "
                + own(control, key.parentRelation())
                + " p WHERE "
                + same
                + ")");
    if (orphans > 0) {
      throw CopyException.failed(orphans(key, orphans));
    }
  }

  /** A key is not that of tables which inherit, be it of children or of parents. */
  private static String own(Postgres control, String relation) throws SQLException {
    return control.text(
        "SELECT CASE relkind WHEN 'p' THEN '' ELSE 'ONLY ' END || oid::regclass FROM pg_class"
            + " WHERE oid = ?::regclass",
        relation);
  }

  static String orphans(ForeignKey key, long count) {
    return "table "
        + key.child()
        + ": "
        + count
        + " rows are without their parent in foreign key "
        + TableName.quoted(key.name());
  }

  /** The target's of the same name that fills the column, or else the only one that does. */
  private List<Sequence> followers(TableName table, Sequence sequence) {
    List<Sequence> theirs =
        plan.target().tables().get(table).sequences().stream()
            .filter(other -> other.column().equals(sequence.column()))
            .toList();
    List<Sequence> namesakes =
        theirs.stream().filter(other -> other.name().equals(sequence.name())).toList();
    return theirs.size() > 1 || !namesakes.isEmpty() ? namesakes : theirs;
  }

  private void follow(Postgres control, Step step, Sequence sequence, Consumer<String> warned)
      throws SQLException {
    TableName table = step.source().name();
    List<Sequence> theirs = followers(table, sequence);
    if (theirs.isEmpty()) {
      warned.accept(
          "table "
              + table
              + ", column "
              + TableName.quoted(sequence.column())
              + ": the target has no sequence for it that could follow "
              + sequence.name());
    }
    String[] state =
        source
            .rows(
                "SELECT last_value, is_called FROM " + sequence.name().sql(),
                row -> new String[] {row.getString(1), row.getString(2)})
            .get(0);
    for (Sequence other : theirs) {
      set(control, other.name(), state);
    }
  }

  /** All rows are there by then: whoever is told which one it is can mend it. */
  private static void set(Postgres control, TableName sequence, String[] state) {
    try {
      control.text(
          "SELECT setval(?::regclass, ?::bigint, ?::boolean)", sequence.sql(), state[0], state[1]);
    } catch (SQLException e) {
      throw CopyException.failed(
          "sequence " + sequence + " of the target cannot follow: " + Postgres.told(e));
    }
  }

  private List<TableResult> results(List<Mark> marks) {
    List<TableResult> results = new ArrayList<>();
    for (Step step : plan.steps()) {
      Set<TableName> parts =
          step.source().parts().stream().map(Part::name).collect(Collectors.toSet());
      long rows = 0;
      List<ColumnResult> columns =
          new ArrayList<>(Collections.nCopies(step.rules().size(), ColumnResult.NONE));
      for (Mark mark : marks) {
        if (parts.contains(mark.piece().part())) {
          rows += mark.rows();
          for (int i = 0; i < columns.size(); i++) {
            columns.set(i, columns.get(i).plus(mark.columns().get(i)));
          }
        }
      }
      results.add(
          new TableResult(
              step.source().name().toString(), rows, step.rules(), columns, step.key()));
    }
    return results;
  }

  @Override
  public void close() {
    source.close();
  }
}
