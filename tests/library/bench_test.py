#!/usr/bin/env python3
"""What the measurements of the whole command hold outputs to, tried with outputs that are wrong."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "bench"), str(ROOT / "bench" / "peers")]

import data
import growth
import measure
import outputs

KEY = b"a key for measuring alone"


def refuses(check, *arguments):
    """What a check has to say of an output, None where it takes it."""
    try:
        check(*arguments)
    except SystemExit as e:
        return str(e)
    return None


class Outputs(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.source = pathlib.Path(folder.name, "in.csv")
        self.output = pathlib.Path(folder.name, "out.csv")
        data.write(self.source, 50)

    def write(self, rows):
        lines = [",".join(f'"{value}"' for value in row.values()) for row in rows]
        self.output.write_text("\n".join([data.HEADER.strip(), *lines]) + "\n", encoding="utf-8")

    def masked(self, profile):
        return [outputs.Plain(KEY).masked(row, profile) for row in outputs.rows(self.source)]

    def test_the_file_is_the_same_every_time(self):
        self.assertEqual(outputs.digest(self.source),
                         "bf56c8110e1c88cbab4f30918cd1e33c80410f925064a0df5eb1b6670a86b7ac")

    def test_known_values_are_masked_to_known_ones(self):
        row = dict(zip(data.HEADER.strip().split(","), ["1", "a", "b", "+49 30 1234567", "4000000000000002", "2000-01-01",
                                                        "c", ""]))
        self.assertEqual(list(outputs.Plain(b"k" * 16).masked(row, "b").values()), ["1",
                          "86cb5568859b9c9cfef94671db53fc75",
                          "91e996fd94b6c7b600de2e0ef247eadb@example.com",
                          "+18 41 8307733",
                          "4000001041850736",
                          "2000-01-07",
                          "c",
                          ""])

    def test_outputs_that_are_right_are_taken(self):
        for profile in "ab":
            self.write(self.masked(profile))
            self.assertIsNone(refuses(outputs.check_plain, self.source, self.output, profile, KEY))
            self.assertIsNone(refuses(outputs.check_masked, self.source, self.output, profile))

    def test_a_value_in_the_clear_is_found(self):
        source = list(outputs.rows(self.source))
        for profile, name in [("a", "name"), ("a", "email"), ("a", "phone"), ("a", "card"), ("a", "born"), ("a", "note"),
                              ("b", "name"), ("b", "email"), ("b", "phone"), ("b", "card"), ("b", "born"), ("b", "note")]:
            with self.subTest(profile=profile, name=name):
                rows = self.masked(profile)
                number = max(i for i, row in enumerate(source) if row[name])
                rows[number][name] = source[number][name]
                self.write(rows)
                self.assertIn(f"row {number + 1}", refuses(outputs.check_plain, self.source, self.output, profile, KEY))
                self.assertIn(f"row {number + 1}, {name}",
                              refuses(outputs.check_masked, self.source, self.output, profile))

    def test_a_value_that_should_be_kept_is_missed(self):
        rows = self.masked("a")
        rows[7]["city"] = "elsewhere"
        self.write(rows)
        self.assertIn("row 8, city was not kept", refuses(outputs.check_masked, self.source, self.output, "a"))

    def test_another_key_is_found(self):
        self.write(self.masked("b"))
        self.assertIn("row 1 ", refuses(outputs.check_plain, self.source, self.output, "b", KEY + b"."))

    def test_rows_that_are_lost_are_found(self):
        self.write(self.masked("a")[:-1])
        self.assertEqual(outputs.line_count(self.source) - outputs.line_count(self.output), 1)
        with self.assertRaises(ValueError):
            outputs.check_plain(self.source, self.output, "a", KEY)


class Figures(unittest.TestCase):
    def test_samples_are_summed_up_with_their_spread(self):
        samples = [measure.Sample(cpu, 2 * cpu, 10 * cpu) for cpu in (3, 1, 2)]
        self.assertEqual(measure.summary(samples), {"cpu": 2, "cpu_range": [1, 3], "wall": 4, "wall_range": [2, 6],
                                                    "resident": 30, "runs": 3})

    def test_a_run_is_measured_with_its_children(self):
        burn = "import time\nwhile time.process_time() < .2: pass"
        sample = measure.run(["sh", "-c", f"{sys.executable} -c '{burn}'; true"])
        self.assertGreaterEqual(sample.cpu, .2)
        self.assertGreaterEqual(sample.wall, .2)

    def test_a_run_that_fails_is_no_measurement(self):
        self.assertIn("failed", refuses(measure.run, ["false"]))

    def test_everyone_has_a_turn_in_each_round_in_an_order_that_changes(self):
        order = []
        with contextlib.redirect_stderr(io.StringIO()):
            measure.interleave("abc", 4, order.append)
        rounds = ["".join(order[i:i + 3]) for i in range(0, 12, 3)]
        self.assertTrue(all(sorted(found) == ["a", "b", "c"] for found in rounds))
        self.assertGreater(len(set(rounds)), 1)

    def test_cells_have_the_length_that_is_asked_for(self):
        for length in (1, 3, 10, 100):
            self.assertEqual({len(growth.cell(row, 3, length)) for row in (0, 9, 123_456)}, {length})


if __name__ == "__main__":
    unittest.main()
