"""velk.mask in classic PySpark and through Spark Connect, beside what the command makes of the same file.

`scripts/test-pyspark` builds and installs what this takes.
"""

import atexit
import base64
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

import pyspark
import velk
from pyspark.errors import AnalysisException, IllegalArgumentException
from pyspark.sql import SparkSession, functions

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = ROOT / "build" / "pyspark" / "run"
KEY = "a key for the tests alone"
JARS = [str(ROOT / module / "target" / f"{name}-0.1.0.jar") for module, name in [("java", "velk"), ("spark", "velk-spark")]]
RULES = (ROOT / "examples" / "people.rules").read_text(encoding="utf-8")
START = "service=t key=env:MASK_KEY "


def settings(name):
    """Both write a log and the events of all that they do, to be searched for the key."""
    events = FOLDER / name / "events"
    events.mkdir(parents=True)
    return {
        "spark.ui.enabled": "false",
        "spark.ui.showConsoleProgress": "false",
        "spark.master.rest.enabled": "false",
        "spark.sql.shuffle.partitions": "2",
        "spark.velk.key": "env:MASK_KEY",
        "spark.eventLog.enabled": "true",
        "spark.eventLog.compress": "false",
        "spark.eventLog.dir": events.as_uri(),
        "spark.driver.extraJavaOptions": f"-Dlog4j2.configurationFile={log_configuration(name)}",
    }


def log_configuration(name):
    file = FOLDER / name / "log4j2.properties"
    file.write_text("rootLogger.level = info\nrootLogger.appenderRef.file.ref = file\nappender.file.type = File\n"
                    f"appender.file.name = file\nappender.file.fileName = {FOLDER / name / 'driver.log'}\n"
                    "appender.file.layout.type = PatternLayout\nappender.file.layout.pattern = %p %c{1}: %m%n%ex\n")
    return file.as_uri()


class Server:
    """A server of Spark Connect on this machine with a cluster of its own, whose executor is another process."""

    def __init__(self):
        home = FOLDER / "home"  # Executors log into its folder `work`.
        home.mkdir()
        for part in ["bin", "jars"]:
            (home / part).symlink_to(pathlib.Path(pyspark.__file__).parent / part)
        said = settings("server") | {
            "spark.connect.grpc.binding.address": "127.0.0.1",
            "spark.connect.grpc.binding.port": "0",
            "spark.executor.memory": "512m",
            "spark.driver.extraClassPath": ":".join(JARS),
            "spark.executor.extraClassPath": ":".join(JARS),
        }
        command = [home / "bin" / "spark-submit", "--master", "local-cluster[1,2,1024]"]
        command += [word for name, value in said.items() for word in ["--conf", f"{name}={value}"]]
        command += ["--class", "org.apache.spark.sql.connect.service.SparkConnectServer", "spark-internal"]
        with (FOLDER / "server" / "output").open("wb") as output:
            self.process = subprocess.Popen(command, env={**os.environ, "SPARK_HOME": str(home)}, stdout=output,
                                            stderr=subprocess.STDOUT)
        atexit.register(self.stop)

    def address(self):
        log = FOLDER / "server" / "driver.log"
        for _ in range(600):
            text = log.read_text(encoding="utf-8") if log.exists() else ""
            if found := re.search(r"Spark Connect server started at: (\S+:\d+)", text):
                return "sc://" + found.group(1)
            if self.process.poll() is not None:
                break
            time.sleep(0.2)
        raise AssertionError((FOLDER / "server" / "output").read_text(encoding="utf-8")[-4000:])

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(60)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


def command_masks(people, masked):
    rules = FOLDER / "rules"
    rules.write_text(RULES + "on_error = null\n", encoding="utf-8")
    result = subprocess.run([ROOT / "bin" / "velk", "mask", "--rules", rules, people, masked], check=False,
                            env={**os.environ, "VELK_CLASS_ARCHIVES": ""}, capture_output=True, text=True)
    assert result.returncode == 3, result.stderr  # done, with some errors


def setUpModule():
    os.environ |= {"MASK_KEY": KEY, "SPARK_LOCAL_IP": "127.0.0.1"}
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended"))  # so that what was started ends, too
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    people = (ROOT / "examples" / "people.csv").read_text(encoding="utf-8")
    # Without what Spark's reader does not tell from null.
    (FOLDER / "people.csv").write_text(re.sub(r'(?m),""$', ",", people), encoding="utf-8")
    command_masks(FOLDER / "people.csv", FOLDER / "masked.csv")


class Masks:
    """What is true in every session."""

    spark: SparkSession
    executor: str

    def csv(self, name):
        reader = self.spark.read.option("header", True).option("escape", '"').option("multiLine", True)
        return reader.csv(str(FOLDER / name))

    def refusal(self, rows, rules):
        with self.assertRaises(IllegalArgumentException) as refused:
            velk.mask(rows, rules)
        return str(refused.exception)

    def test_a_file_is_masked_as_the_command_masks_it(self):
        expected = self.csv("masked.csv").collect()
        self.assertEqual(50, len(expected))
        masked = velk.mask(self.csv("people.csv").repartition(3), RULES)
        self.assertEqual(sorted(map(repr, expected)), sorted(map(repr, masked.collect())))

    def test_the_call_in_the_page_masks(self):
        page = (ROOT / "docs" / "spark.md").read_text(encoding="utf-8")
        lines = re.search(r"```python\n(.*?)```", page, re.DOTALL).group(1)
        names = {"people": self.spark.sql("select 'Zoë Martín' as name, date'1990-02-28' as born")}
        exec(lines, names)
        row = names["masked"].first()
        self.assertEqual(len("Zoë Martín"), len(row.name))
        self.assertNotEqual("Zoë Martín", row.name)
        self.assertLessEqual(abs((row.born - names["people"].first().born).days), 30)

    def test_a_string_without_a_key_has_that_of_the_session(self):
        rows = self.spark.sql("select 'Ada' as name")
        self.assertEqual(velk.mask(rows, START + "*=hash").collect(), velk.mask(rows, "service=t *=hash").collect())

    def test_the_functions_can_be_called(self):
        rows = self.csv("people.csv")
        name = functions.call_function("velk_mask", "name", functions.lit("classes"))
        card = functions.call_function("velk_try_mask", rows["card"], functions.lit("card(keep_first=6)"))
        found = rows.select("id", name.alias("name"), card["value"].alias("card"), card["error"].alias("error"))
        whole = velk.mask(rows.select("id", "name", "card"), START + "id=keep name=classes card=card(keep_first=6)")
        self.assertEqual(sorted(whole.collect()), sorted(found.drop("error").collect(), key=lambda row: row[:]))
        self.assertEqual(2, found.where("card is null and error > 7500").count())
        self.assertEqual(2, found.where("error is not null").count())

    def test_types_stay(self):
        rows = self.spark.sql("select 1 as id, date'1990-02-28' as born, timestamp'2024-07-01 00:15:00' as seen,"
                              " 12.50BD as sum, array(1, 2) as list, named_struct('a', 1) as one, true as flag")
        rules = (START + "id=keep list=keep one=keep flag=null born=dateshift(days=9, by=id) born.type=date"
                 " seen=dateshift(days=9, by=id) seen.type=timestamp sum=noise(percent=9) sum.type=decimal(4,2)")
        masked = velk.mask(rows, rules)
        self.assertEqual(rows.dtypes, masked.dtypes)
        before, row = rows.first(), masked.first()
        self.assertEqual(row.born - before.born, row.seen - before.seen)
        self.assertNotEqual(before.born, row.born)
        self.assertEqual((1, [1, 2], 1, None), (row.id, row.list, row.one.a, row.flag))

    def test_columns_of_any_name(self):
        names = ["a.b", "`", "it's", 'say "x"', " ", "Straße", "row", "b`.`c", "日本", "x"]
        rows = self.spark.createDataFrame([tuple("Ada" for _ in names)], names)
        rules = START + " ".join(f"${i + 1}=hash" for i in range(len(names)))
        masked = velk.mask(rows, rules)
        self.assertEqual(names, masked.columns)
        self.assertEqual(1, len(set(masked.first())))  # A value is masked alike in every column.
        self.assertNotIn("Ada", masked.first())
        quoted = START + '"a.b"=hash "`"=hash "it\'s"=hash "say \\"x\\""=hash " "=hash "Straße"=hash *=hash "日本"=hash'
        self.assertEqual(masked.first()["a.b"], velk.mask(rows, quoted).first()["a.b"])

    def test_columns_that_share_a_name(self):
        rows = self.spark.sql("select 'Ada' as n, 'Ada' as n, 'Ada' as N")
        self.assertIn('shares its name "n" with others', self.refusal(rows, START + "n=hash N=hash"))
        masked = velk.mask(rows, START + "$1=hash $2=keep N=hash")
        self.assertEqual(["n", "n", "N"], masked.columns)
        self.assertEqual("Ada", masked.first()[1])
        self.assertNotIn("Ada", [masked.first()[0], masked.first()[2]])

    def test_what_does_not_fit_is_refused_before_anything_is_read(self):
        rows = self.spark.sql("select assert_true(false) as n, 'x' as s")
        for rules, told in [
                ("n=null\nq=hash", 'there is a rule for column "q" (line 2, column 1), and no such column\n'
                                   'there is no rule for column "s"'),
                ("n=null S=hash", 'there is no rule for column "s"'),
                ("n=null", 'there is no rule for column "s"'),
                ("n=keep s=hsah", "hsah"),
                ("n=keep s=hash 'x", "line 1"),
                ("n=keep s=hash(length=12", "a parenthesis is not closed"),
                ("n=keep s=hash on_eror=stop", "on_eror")]:
            with self.subTest(rules):
                self.assertIn(told, self.refusal(rows, START + rules))
        self.refusal(self.spark.sql("select 1 as n"), "hash")
        self.refusal(self.spark.sql("select 1 as n"), "")
        self.assertIn("its rule hash (line 1, column 28) gives text",
                      self.refusal(self.spark.sql("select 1 as n"), START + "n=hash"))
        self.refusal(self.spark.sql("select 1 as n").select(), START + "*=hash")

    def test_a_string_is_a_str(self):
        rows = self.spark.sql("select 'x' as s")
        for text in [None, b"service=t s=keep", functions.lit("service=t s=keep"), 1]:
            with self.assertRaises(TypeError):
                velk.mask(rows, text)

    def test_comments_lines_and_quotes(self):
        rows = self.spark.sql("select 'Ada' as name, 'x' as note")
        rules = START + "# name=keep\nname=hash # and note=keep\r\n\nnote=fixed('it''s; \"#\" --\n')"
        row = velk.mask(rows, rules).first()
        self.assertEqual("it's; \"#\" --\n", row.note)
        self.assertNotEqual("Ada", row.name)
        self.assertIn("note", self.refusal(rows, START + "name=hash # note=keep"))

    def test_a_key_that_is_written_out_is_refused_and_not_shown(self):
        rows = self.spark.sql("select 'Ada' as name")
        for rules in [f"service=t key='{KEY}' name=hash", f"service=t key=\"{KEY}\" name=hash",
                      f"service=t key=env:MASK_KEY name=hash(key='{KEY}')"]:
            self.assertNotIn(KEY, self.refusal(rows, rules))
        for rule in [f"hash(key='{KEY}')", f"hash() key='{KEY}'", f"hash() key='{KEY}' v=fixed('x')"]:
            with self.assertRaises(IllegalArgumentException) as refused:
                rows.select(functions.call_function("velk_mask", "name", functions.lit(rule))).schema
            self.assertNotIn(KEY, str(refused.exception))

    def test_a_missing_key_is_told_with_the_executor_and_the_variable(self):
        rows = velk.mask(self.spark.sql("select 'Ada' as name"), "service=t key=env:VELK_NO_SUCH_KEY name=hash")
        with self.assertRaises(Exception) as failed:  # Sessions do not agree on its class.
            rows.collect()
        self.assertRegex(str(failed.exception), f"executor {self.executor}, key=env:VELK_NO_SUCH_KEY: 7228 ")

    def test_a_masked_table_is_joined_with_itself(self):
        rows = self.spark.range(20).selectExpr("id", "concat('p', id % 5) as name")
        masked = velk.mask(rows, START + "id=keep name=hash")
        self.assertEqual(80, masked.join(masked.alias("other"), "name").count())
        masked.createOrReplaceTempView("masked_people")
        self.assertEqual(5, self.spark.sql("select count(distinct name) from masked_people").first()[0])
        self.assertEqual(0, self.spark.sql("select * from masked_people where name like 'p%'").count())
        self.assertEqual(1, masked.where("id = 7").select("name").count())

    def test_a_view_of_a_masked_table_is_masked_again(self):
        rows = self.spark.sql("select 'Ada' as name")
        twice = velk.mask(velk.mask(rows, START + "name=hash"), START + "name=hash").first()
        self.assertNotEqual(velk.mask(rows, START + "name=hash").first(), twice)


class ClassicTest(Masks, unittest.TestCase):
    executor = r"driver on host \S+"

    @classmethod
    def setUpClass(cls):
        builder = SparkSession.builder.master("local[2]").config("spark.jars", ",".join(JARS))
        cls.spark = builder.config(map=settings("classic")).getOrCreate()
        java = cls.spark.sparkContext._gateway.proc
        cls.addClassCleanup(java.wait, 60)
        cls.addClassCleanup(java.stdin.close)  # which ends it
        cls.addClassCleanup(cls.spark.stop)


class ConnectTest(Masks, unittest.TestCase):
    executor = r"\d+ on host 127\.0\.0\.1"

    @classmethod
    def setUpClass(cls):
        server = Server()
        cls.addClassCleanup(server.stop)
        cls.address = server.address()
        cls.spark = SparkSession.builder.remote(cls.address).getOrCreate()
        cls.addClassCleanup(cls.spark.stop)

    def test_sessions_share_the_engine_that_is_on_the_class_path(self):
        other = SparkSession.builder.remote(self.address).create()
        try:
            masked = [velk.mask(session.sql("select 'Ada' as name"), START + "name=hash").collect()
                      for session in [self.spark, other]]
        finally:
            other.stop()
        self.assertEqual(masked[0], masked[1])

    def test_a_view_that_is_not_there_is_told_as_ever(self):
        with self.assertRaises(AnalysisException):
            velk.mask(self.spark.sql("select * from no_such_table"), START + "*=hash")


class LogsTest(unittest.TestCase):
    """Runs behind the others, by its name."""

    def test_the_key_is_nowhere(self):
        data = KEY.encode()
        forms = [data, base64.b64encode(data), data.hex().encode(), data.hex().upper().encode()]
        texts = {file: file.read_bytes() for part in ["classic", "server", "home/work"]
                 for file in (FOLDER / part).rglob("*") if file.is_file()}
        for file, text in texts.items():
            for form in forms:
                self.assertNotIn(form, text, file)
        # What was searched is what such a thing would be in.
        for name in ["classic/driver.log", "server/driver.log"]:
            self.assertIn(b"INFO", texts[FOLDER / name])
        events = [text for file, text in texts.items() if "events" in file.parts]
        self.assertLess(1, sum(b"env:MASK_KEY" in text for text in events))
        self.assertTrue(any(file.name == "stderr" and b"Executor" in text for file, text in texts.items()))


if __name__ == "__main__":
    unittest.main()
