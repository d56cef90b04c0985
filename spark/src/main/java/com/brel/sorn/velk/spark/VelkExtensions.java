package com.brel.sorn.velk.spark;

import java.util.List;
import java.util.regex.Pattern;
import org.apache.spark.sql.SparkSessionExtensions;
import org.apache.spark.sql.SparkSessionExtensionsProvider;
import org.apache.spark.sql.catalyst.FunctionIdentifier;
import org.apache.spark.sql.catalyst.analysis.TypeCheckResult;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.ExpressionInfo;
import org.apache.spark.sql.classic.SparkSession;
import org.apache.spark.sql.internal.SQLConf;
import org.apache.spark.sql.types.StringType;
import org.apache.spark.unsafe.types.UTF8String;
import scala.Option;
import scala.Tuple3;
import scala.jdk.javaapi.CollectionConverters;
import scala.runtime.BoxedUnit;

/**
 * Brings {@code velk_mask} and {@code velk_try_mask} to every session that has this jar. Where the
 * key is, the session's {@code spark.velk.key} says: {@code env:NAME} or {@code file:PATH}.
 */
public final class VelkExtensions implements SparkSessionExtensionsProvider {
  /** The setting that names the key. */
  public static final String KEY = "spark.velk.key";

  private static final Pattern PLACE = Pattern.compile("(env|file):.+");

  private static final String USAGE =
      "_FUNC_(value, rule) - Masks the value by a rule of VELK, such as 'hash(length=12)'";

  private static final String ROWS = ", or a struct as a row by a masking string";

  /** Spark makes one for each session by this. */
  public VelkExtensions() {}

  @Override
  public BoxedUnit apply(SparkSessionExtensions extensions) {
    add(extensions, "velk_mask", false, ROWS + "; what cannot be masked is null.");
    add(extensions, "velk_try_mask", true, "; gives a struct of the result and an error's code.");
    // Not earlier: filters that could pass the calls are where they belong by then.
    extensions.injectPreCBORule(session -> new MaskExtraction());
    extensions.injectPlannerStrategy(session -> new MaskPlanning());
    return BoxedUnit.UNIT;
  }

  private static void add(
      SparkSessionExtensions extensions, String name, boolean tries, String usage) {
    ExpressionInfo info =
        new ExpressionInfo(
            VelkMask.class.getName(), null, name, USAGE + usage, "", "", "", "", "", "", "");
    extensions.injectFunction(
        new Tuple3<>(
            new FunctionIdentifier(name),
            info,
            arguments -> call(name, CollectionConverters.asJava(arguments), tries)));
  }

  private static Expression call(String name, List<Expression> arguments, boolean tries) {
    if (arguments.size() != 2) {
      throw new IllegalArgumentException(
          name + " takes a value and a rule, not " + arguments.size() + " arguments");
    }
    Expression rule = arguments.get(1);
    if (!rule.foldable() || !(rule.dataType() instanceof StringType)) {
      throw new IllegalArgumentException(
          "the rule of " + name + " is a literal, such as 'hash(length=12)'");
    }
    UTF8String text = (UTF8String) rule.eval(null);
    if (text == null) {
      throw new IllegalArgumentException("the rule of " + name + " is null");
    }
    SQLConf session = SQLConf.get();
    VelkMask call =
        new VelkMask(
            arguments.get(0), text.toString(), key(session), session.sessionLocalTimeZone(), tries);
    requireSound(name, call);
    return call;
  }

  /** Spark would tell a flaw with the plan, which shows a rule, and a key that is written in it. */
  private static void requireSound(String name, VelkMask call) {
    if (call.checkInputDataTypes() instanceof TypeCheckResult.TypeCheckFailure failure) {
      throw new IllegalArgumentException(name + ": " + failure.message());
    }
  }

  /** A key that is written out must not get into a plan, which is shown with every error. */
  private static String key(SQLConf session) {
    String place = session.getConfString(KEY, "");
    if (place.isEmpty()) {
      // Within a view the settings are those of the view, which keeps none but Spark's own.
      Option<SparkSession> active = SparkSession.getActiveSession();
      place = active.isEmpty() ? "" : active.get().sessionState().conf().getConfString(KEY, "");
    }
    if (!place.isEmpty() && !PLACE.matcher(place).matches()) {
      throw new IllegalArgumentException(
          KEY + " names the key as env:NAME or file:PATH; it never is the key");
    }
    return place;
  }
}
