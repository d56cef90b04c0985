"""What masking costs a copy of a database: copy.py [ROWS [TURNS]]

Copies a table of ROWS rows (1 million) between two databases of one PostgreSQL, which this starts on loopback in a
temporary folder: by COPY to COPY without masking, and by `velk copy` with two jobs and two keyed texts, two partial
masks, a date shift and one column emptied. TURNS (3) times in turn; prints the medians and their ratio. The command
has to be built; the machine should have nothing else to do.
"""

import os
import pathlib
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
PROGRAMS = max(pathlib.Path("/usr/lib/postgresql").glob("*/bin"), key=lambda path: int(path.parent.name))
ENVIRONMENT = {**os.environ, "MASK_KEY": "a key for measuring alone"}
TABLE = ("CREATE TABLE people (id bigint PRIMARY KEY, name text, city text, card text, phone text, email text, born date,"
         " note text)")
ROWS = ("INSERT INTO people SELECT i, 'Zoë Martín ' || i % 977, 'Málaga', '4012 8888 8888 ' || 1000 + i % 9000,"
        " '+49 30 ' || i, 'user' || i || '@example.org', date '1950-01-01' + (i % 20000)::int, 'a note, ' || i"
        " FROM generate_series(1, {}) i")
RULES = """service=bench key=env:MASK_KEY on_error=stop
[public.people]
id=keep city=keep
name=hash(length=12) email=email(domain=example.com)
card=partial(keep_last=4) phone=partial(keep_first=3)
born=dateshift(days=30) note=null
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
        for sql in statements:
            subprocess.run(["psql", "-qX", "-d", self.url(database), "-c", sql], check=True, stdout=subprocess.DEVNULL)

    def make_target(self):
        self.psql("postgres", "DROP DATABASE IF EXISTS target", "CREATE DATABASE target", "CHECKPOINT")
        self.psql("target", TABLE)


def plain(server, _):
    out = subprocess.Popen(["psql", "-qX", "-d", server.url("source"), "-c", "COPY people TO STDOUT"],
                           stdout=subprocess.PIPE)
    subprocess.run(["psql", "-qX", "-d", server.url("target"), "-c", "COPY people FROM STDIN"], stdin=out.stdout,
                   check=True)
    if out.wait() != 0:
        sys.exit("COPY failed")


def masked(server, rules):
    subprocess.run([ROOT / "bin" / "velk", "copy", "-q", "--jobs", "2", "--from", server.url("source"), "--to",
                    server.url("target"), "--rules", rules], check=True, env=ENVIRONMENT)


def seconds(way, server, rules):
    server.make_target()
    start = time.monotonic()
    way(server, rules)
    return time.monotonic() - start


def main(rows=1_000_000, turns=3):
    with tempfile.TemporaryDirectory() as folder:
        server = Server(folder)
        try:
            server.psql("postgres", "CREATE DATABASE source")
            server.psql("source", TABLE, ROWS.format(rows), "VACUUM ANALYZE people")
            rules = pathlib.Path(tempfile.mkdtemp(), "rules")
            rules.write_text(RULES, encoding="utf-8")
            pairs = [(seconds(plain, server, rules), seconds(masked, server, rules)) for _ in range(turns)]
        finally:
            server.pg_ctl("stop", "-m", "fast")
    one, other = map(statistics.median, zip(*pairs))
    print(f"{rows} rows: {one:.1f} s by COPY to COPY, {other:.1f} s masked by velk copy, ratio {other / one:.2f}")


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
