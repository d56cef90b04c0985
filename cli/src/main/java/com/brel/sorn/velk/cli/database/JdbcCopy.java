package com.brel.sorn.velk.cli.database;

import com.brel.sorn.velk.cli.database.Catalogue.ForeignKey;
import com.brel.sorn.velk.cli.database.DatabaseCopy.Listener;
import com.brel.sorn.velk.cli.database.DatabaseCopy.TableResult;
import com.brel.sorn.velk.cli.database.JdbcMarks.Mark;
import com.brel.sorn.velk.cli.database.Marks.Fingerprint;
import com.brel.sorn.velk.masking.Engine;
import java.sql.SQLException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.UUID;
import java.util.function.Consumer;

/** A copy in which a database is not PostgreSQL: one session reads, and one writes. */
final class JdbcCopy implements MaskedCopy {
  private final Engine engine;
  private final CopySettings settings;
  private final Drivers drivers;
  private final JdbcSession source;
  private final List<String> warnings = new ArrayList<>();
  private Plan plan;
  private List<JdbcStep> steps = List.of();
  private volatile boolean hasMarks;

  private JdbcCopy(Engine engine, CopySettings settings) {
    this.engine = engine;
    this.settings = settings;
    drivers = new Drivers(settings.drivers());
    source = JdbcSession.open(drivers, settings.from(), true);
  }

  static JdbcCopy open(Engine engine, CopySettings settings) {
    RulesFile rules = new RulesFile(settings.rules());
    JdbcCopy copy = new JdbcCopy(engine, settings);
    try (JdbcSession target = JdbcSession.open(copy.drivers, settings.to(), true)) {
      copy.plan(rules, target);
      return copy;
    } catch (SQLException e) {
      copy.close();
      throw CopyException.failed(copy.source.told(e));
    } catch (RuntimeException e) {
      copy.close();
      throw e;
    }
  }

  private void plan(RulesFile rules, JdbcSession target) throws SQLException {
    boolean sameProduct = source.dialect().getClass() == target.dialect().getClass();
    if (isSame(target, sameProduct)) {
      throw CopyException.refused(
          "the target is the source: " + settings.from() + " and " + settings.to());
    }
    List<String> findings = new ArrayList<>();
    List<TableName> all = JdbcCatalogue.names(source);
    List<TableName> chosen = DatabaseCopy.chosen(all, settings.tables(), findings);
    beginSnapshot(chosen, findings);
    JdbcCatalogue ours = JdbcCatalogue.read(source, chosen);
    JdbcTarget theirs = JdbcTarget.read(target, ours);
    inspect(target, theirs, findings);
    JdbcCrossing crossing =
        new JdbcCrossing(
            ours.tables().values(),
            theirs.tables().values(),
            sameProduct,
            target.dialect().isUnordered(target));
    plan =
        new Planner(engine, rules, ours.plain(), theirs.catalogue(), crossing).plan(all, findings);
    steps =
        plan.steps().stream()
            .map(step -> theirs.step(step, ours.tables().get(step.source().name())))
            .toList();
  }

  /** What a copy has left in a target is seen from the source only where both are one. */
  private boolean isSame(JdbcSession target, boolean sameProduct) throws SQLException {
    if (!sameProduct) {
      return false;
    }
    String nonce = new JdbcMarks(target).nonce();
    return nonce != null && nonce.equals(new JdbcMarks(source).nonce())
        || source.dialect().isSame(source, target);
  }

  private void beginSnapshot(List<TableName> tables, List<String> findings) throws SQLException {
    boolean all = source.dialect().beginSnapshot(source, tables);
    Map<String, String> without = source.dialect().withoutTransactions(source);
    List<String> unseen = new ArrayList<>();
    if (!all) {
      unseen.add("the source has no transaction that shows one state of all tables");
    }
    for (TableName table : tables) {
      String why = without.get(table.name());
      if (why != null) {
        unseen.add("table " + table + ": " + why + " shows no state that others keep");
      }
    }
    if (settings.noSnapshot()) {
      unseen.forEach(finding -> warnings.add(finding + ": nobody may write to it meanwhile"));
    } else {
      unseen.forEach(finding -> findings.add(finding + "; --no-snapshot reads it all the same"));
    }
  }

  private void inspect(JdbcSession target, JdbcTarget tables, List<String> findings)
      throws SQLException {
    String unfit = target.dialect().unfitTarget(target);
    if (unfit != null) {
      findings.add(unfit);
    }
    hasMarks = new JdbcMarks(target).exist();
    if (hasMarks && !settings.resume()) {
      findings.add("the target has the marks of a copy: --resume goes on with it");
    }
    if (!hasMarks && settings.resume()) {
      findings.add("--resume: the target has no marks of a copy");
    }
    Map<String, String> without = target.dialect().withoutTransactions(target);
    for (Map.Entry<TableName, TableName> name : tables.names().entrySet()) {
      String why = without.get(name.getValue().name());
      if (why != null) {
        findings.add("table " + name.getKey() + ": in the target " + why + " has no transactions");
      }
      if (!hasMarks && target.hasRows(name.getValue())) {
        findings.add("table " + name.getKey() + ": the target's is not empty");
      }
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
    List<String> all = new ArrayList<>(warnings);
    all.addAll(plan.warnings());
    return all;
  }

  @Override
  public long pages() {
    return 0;
  }

  @Override
  public boolean hasMarks() {
    return hasMarks;
  }

  @Override
  public List<TableResult> run(Listener listener, Consumer<String> warned) {
    boolean done = inTarget(target -> !write(target, listener, warned));
    // Another session counts: only that sees what a database lost as it was closed.
    return inTarget(
        target -> done ? results(new JdbcMarks(target).read()) : finish(target, warned));
  }

  /** Something that a session of the target does. */
  private interface Work<T> {
    T in(JdbcSession target) throws SQLException;
  }

  private <T> T inTarget(Work<T> work) {
    try (JdbcSession target = JdbcSession.open(drivers, settings.to(), false)) {
      try {
        if (!target.dialect().lock(target)) {
          throw CopyException.refused("another copy writes into the target");
        }
        return work.in(target);
      } catch (SQLException e) {
        throw CopyException.failed(target.told(e));
      }
    }
  }

  /** Writes what is not there yet; false if a copy before this one has set the last mark. */
  private boolean write(JdbcSession target, Listener listener, Consumer<String> warned)
      throws SQLException {
    JdbcMarks marks = new JdbcMarks(target);
    prepare(marks);
    if (marks.isFinished()) {
      warned.accept("the copy was complete already");
      return false;
    }
    if (plan.unordered()) {
      target.dialect().setUnordered(target);
    }
    target.connection().setAutoCommit(false);
    JdbcRun run =
        new JdbcRun(source, target, plan, marks, checksumKey(), settings.rows(), listener);
    for (JdbcStep step : steps) {
      run.copy(step);
    }
    return true;
  }

  private void prepare(JdbcMarks marks) throws SQLException {
    Fingerprint ours = fingerprint();
    if (!hasMarks) {
      marks.create(ours, UUID.randomUUID().toString());
      hasMarks = true;
      return;
    }
    String difference = marks.fingerprint().difference(ours);
    if (difference != null) {
      throw CopyException.refused(
          "--resume: the copy that was begun is another one, for it differs in " + difference);
    }
  }

  private byte[] checksumKey() {
    return Fingerprints.ofChecksums(engine, plan);
  }

  private Fingerprint fingerprint() throws SQLException {
    StringBuilder catalogue = new StringBuilder(source.schema());
    for (JdbcStep step : steps) {
      Catalogue.Table table = step.step().source();
      catalogue.append('\n').append(table.form());
      step.to().forEach(column -> catalogue.append('\n').append(column.column().type()));
    }
    return new Fingerprint(
        Fingerprints.ofRules(settings),
        HexFormat.of().formatHex(Fingerprints.ofKeys(engine, plan.keys(), "velk copy fingerprint")),
        Fingerprints.hex(engine.library().identification()),
        Fingerprints.hex(catalogue.toString()),
        0);
  }

  /** Sets the last mark, once all rows are found and no child is without its parent. */
  private List<TableResult> finish(JdbcSession target, Consumer<String> warned)
      throws SQLException {
    target.connection().setAutoCommit(false);
    JdbcMarks marks = new JdbcMarks(target);
    List<TableResult> results = results(marks.read());
    for (int i = 0; i < steps.size(); i++) {
      requireAll(target, steps.get(i), results.get(i).rows());
    }
    for (ForeignKey key : plan.foreignKeys()) {
      requireParents(target, key);
    }
    target.dialect().requireConstraints(target, steps.stream().map(JdbcStep::target).toList());
    for (JdbcStep step : steps) {
      follow(target, step, warned);
    }
    marks.finish();
    target.connection().commit();
    return results;
  }

  /** The source is asked as well, in the snapshot that was read: a driver may end too soon. */
  private void requireAll(JdbcSession target, JdbcStep step, long written) throws SQLException {
    String count = "SELECT COUNT(*) FROM ";
    long there = source.number(count + source.sql(step.step().source().name()));
    if (there != written && !settings.noSnapshot()) {
      throw CopyException.failed(
          "table "
              + step.name()
              + ": the source has "
              + there
              + " rows and "
              + written
              + " were read");
    }
    long found = target.number(count + target.sql(step.target()));
    if (found != written) {
      throw CopyException.failed(
          "table "
              + step.name()
              + ": "
              + written
              + " rows were written and "
              + found
              + " are there");
    }
  }

  private JdbcStep step(TableName name) {
    return steps.stream()
        .filter(step -> step.step().source().name().equals(name))
        .findFirst()
        .orElseThrow();
  }

  private void requireParents(JdbcSession target, ForeignKey key) throws SQLException {
    JdbcStep child = step(key.child());
    JdbcStep parent = step(key.parent());
    StringBuilder same = new StringBuilder();
    StringBuilder whole = new StringBuilder();
    for (int i = 0; i < key.columns().size(); i++) {
      String own = "c." + target.quoted(child.targetColumn(key.columns().get(i)));
      String other = "p." + target.quoted(parent.targetColumn(key.parentColumns().get(i)));
      whole.append(own).append(" IS NOT NULL AND ");
      same.append(i == 0 ? "" : " AND ").append(other).append(" = ").append(own);
    }
    long orphans =
        target.number(
            "SELECT COUNT(*) FROM "
                + target.sql(child.target())
                + " c WHERE "
                + whole
                + "NOT EXISTS (SELECT 1 FROM "
                + target.sql(parent.target())
                + " p WHERE "
                + same
                + ")");
    if (orphans > 0) {
      throw CopyException.failed(DatabaseCopy.orphans(key, orphans));
    }
  }

  private static void follow(JdbcSession target, JdbcStep step, Consumer<String> warned)
      throws SQLException {
    for (JdbcColumn column : step.to()) {
      if (column.counted()) {
        try {
          target.dialect().follow(target, step.target(), column.column().name());
        } catch (SQLException e) {
          warned.accept(
              "table "
                  + step.name()
                  + ", column "
                  + TableName.quoted(column.column().name())
                  + ": its numbers do not go on behind those that were copied: "
                  + target.told(e));
          target.connection().rollback();
        }
      }
    }
  }

  private List<TableResult> results(List<Mark> marks) {
    List<TableResult> results = new ArrayList<>();
    for (JdbcStep step : steps) {
      long rows = 0;
      List<ColumnResult> columns =
          new ArrayList<>(Collections.nCopies(step.step().rules().size(), ColumnResult.NONE));
      for (Mark mark : marks) {
        if (mark.table().equals(step.name())) {
          rows += mark.rows();
          for (int i = 0; i < columns.size(); i++) {
            columns.set(i, columns.get(i).plus(mark.columns().get(i)));
          }
        }
      }
      results.add(
          new TableResult(step.name(), rows, step.step().rules(), columns, step.step().key()));
    }
    return results;
  }

  @Override
  public void close() {
    source.close();
  }
}
