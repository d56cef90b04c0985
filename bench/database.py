"""What masking costs a copy of a database: database.py [TURNS [ROWS]]

The table of the comparison with others goes from one database of a PostgreSQL to another, which this starts on loopback
in a temporary folder: by COPY to COPY without masking, by `velk copy` with two jobs and profile A, and by COPY to COPY
with pganonymize behind it, which masks in place. In turns; each result is looked at. `scripts/bench copy` builds and
installs what this needs.
"""

import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile

import measure

sys.path.insert(0, str(measure.ROOT / "bench" / "peers"))

import data

PROGRAMS = max(pathlib.Path("/usr/lib/postgresql").glob("*/bin"), key=lambda path: int(path.parent.name))
PGANONYMIZE = measure.ROOT / "build" / "copy-peers" / "bin" / "pganonymize"
TABLE = ("CREATE TABLE people (id bigint PRIMARY KEY, name text, email text, phone text, card text, born date, city text,"
         " note text)")
KEPT = "id = keep"
PLAIN, MASKED, IN_PLACE = "COPY to COPY, nothing masked", "velk copy, two jobs", "COPY to COPY, then pganonymize"
GOAL = 1.5
# As near to profile A as it comes: it has no keys, and moves no dates.
SCHEMA = """tables:
- people:
    primary_key: id
    fields:
    - name: {provider: {name: md5}}
    - email: {provider: {name: md5}, append: '@example.com'}
    - phone: {provider: {name: partial_mask, unmasked_left: 0, unmasked_right: 2}}
    - card: {provider: {name: partial_mask, unmasked_left: 0, unmasked_right: 4}}
    - born: {provider: {name: set, value: 1970-01-01}}
    - note: {provider: {name: clear}}
"""


def as_user(*command):
    """The server does not run as root."""
    user = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"] if os.geteuid() == 0 else []
    return [*user, PROGRAMS / command[0], *command[1:]]


def free_port():
    with socket.socket() as place:
        place.bind(("127.0.0.1", 0))
        return place.getsockname()[1]


class Server:
    def __init__(self, folder):
        if os.geteuid() == 0:
            shutil.chown(folder, "postgres")
        self.port = free_port()
        self.data = f"{folder}/data"
        subprocess.run(as_user("initdb", "-D", self.data, "-U", "velk", "-A", "trust", "-E", "UTF8", "--locale=C"),
                       cwd="/", check=True, stdout=subprocess.DEVNULL)
        self.pg_ctl("start", "-w", "-l", f"{folder}/log", "-o",
                    f"-h 127.0.0.1 -p {self.port} -k '' -c max_wal_size=4GB")

    def pg_ctl(self, *arguments):
        subprocess.run(as_user("pg_ctl", "-D", self.data, *arguments), cwd="/", check=True, stdout=subprocess.DEVNULL)

    def url(self, database):
        return f"postgresql://velk@127.0.0.1:{self.port}/{database}"

    def psql(self, database, *statements):
        """What the last of them says."""
        for sql in statements:
            told = subprocess.run(["psql", "-qAtX", "-d", self.url(database), "-c", sql], check=True,
                                  capture_output=True, text=True).stdout.strip()
        return told

    def make_source(self, rows):
        file = measure.WORK / "rows.csv"
        data.write(file, rows)
        self.psql("postgres", "CREATE DATABASE source")
        self.psql("source", TABLE, f"\\copy people FROM '{file}' CSV HEADER", "VACUUM ANALYZE people")
        file.unlink()

    def make_target(self):
        self.psql("postgres", "DROP DATABASE IF EXISTS target", "CREATE DATABASE target", "CHECKPOINT")
        self.psql("target", TABLE)


def plain(server):
    return (f"set -o pipefail; psql -qX -d {server.url('source')} -c 'COPY people TO STDOUT' |"
            f" psql -qX -d {server.url('target')} -c 'COPY people FROM STDIN'")


def commands(server, folder):
    rules, schema = pathlib.Path(folder, "rules"), pathlib.Path(folder, "schema.yml")
    profile = (measure.ROOT / "bench" / "peers" / "a.rules").read_text().splitlines()
    rules.write_text("\n".join(f"[public.people]\n{line}" if " ".join(line.split()) == KEPT else line for line in profile))
    schema.write_text(SCHEMA)
    masked = [measure.PACKAGE / "bin" / "velk", "copy", "-q", "--jobs", "2", "--from", server.url("source"), "--to",
              server.url("target"), "--rules", rules]
    in_place = (f"{plain(server)} && {PGANONYMIZE} --schema {schema} --dbname target --user velk --host 127.0.0.1"
                f" --port {server.port} --password none")
    return {PLAIN: ["bash", "-c", plain(server)], MASKED: masked, IN_PLACE: ["bash", "-c", in_place]}


def check(server, way, rows):
    """All rows are there; where they are masked no clear value is, and what is kept is."""
    server.psql("target", "CREATE EXTENSION postgres_fdw",
                f"CREATE SERVER s FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '127.0.0.1', port '{server.port}',"
                " dbname 'source')", "CREATE USER MAPPING FOR velk SERVER s OPTIONS (user 'velk')",
                "CREATE SCHEMA clear", "IMPORT FOREIGN SCHEMA public FROM SERVER s INTO clear")
    same = ", ".join(f"count(*) FILTER (WHERE t.{name} = c.{name})"
                     for name in ("city", "name", "email", "phone", "card", "note"))
    found = server.psql("target", f"SELECT count(*), {same} FROM people t JOIN clear.people c USING (id)")
    notes = server.psql("source", "SELECT count(note) FROM people")
    kept = [rows] * 6 + [int(notes)] if way == PLAIN else [rows, rows, 0, 0, 0, 0, 0]
    if found != "|".join(map(str, kept)):
        sys.exit(f"{way}: {found}")


def table(found):
    rows = [["a copy of the table", "wall s", "lowest to highest", "ratio", "client's CPU s", "resident MB"]]
    for way, figures in found.items():
        low, high = figures["wall_range"]
        rows.append([way, f"{figures['wall']:.2f}", f"{low:.2f} to {high:.2f}",
                     f"{figures['wall'] / found[PLAIN]['wall']:.2f}", f"{figures['cpu']:.2f}",
                     f"{figures['resident']:.0f}"])
    return measure.table(rows)


def main(turns=5, rows=data.ROWS):
    machine = measure.machine()
    measure.unpack_package()
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as files:
        server = Server(folder)
        try:
            server.make_source(rows)
            ways = commands(server, files)
            server.make_target()
            measure.run([*ways[MASKED], "--plan"])  # which leaves an archive of the classes

            def once(way):
                server.make_target()
                sample = measure.run(ways[way])
                check(server, way, rows)
                return sample

            samples = measure.interleave(list(ways), turns, once)
        finally:
            server.pg_ctl("stop", "-m", "fast")
    found = {way: measure.summary(samples[way]) for way in ways}
    version = measure.first_line(PROGRAMS / "postgres", "--version")
    ratio = found[MASKED]["wall"] / found[PLAIN]["wall"]
    text = (f"{rows:,} rows of 8 columns; medians of {turns} runs in turns.\n{measure.machine_text(machine)}\n"
            f"{version}, pganonymize 0.13.0.\n\n{table(found)}\n\n"
            f"Wall time as a ratio to COPY to COPY: {ratio:.2f}, where the goal is {GOAL} at most:"
            f" {'met' if ratio <= GOAL else 'not met'}.")
    measure.keep("copy", {"rows": rows, "machine": machine, "postgres": version, "ways": found,
                          "goal": {"most": GOAL, "measured": ratio}}, text)


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
