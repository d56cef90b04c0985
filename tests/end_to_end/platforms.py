"""Where a Java virtual machine runs, and what things are called there: this machine, or Windows under Wine."""

import os
import pathlib
import pty
import re
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "end_to_end"
KEY = "a key for the tests alone"
UTF_8 = ["-Dfile.encoding=UTF-8", "-Dstdout.encoding=UTF-8", "-Dstderr.encoding=UTF-8"]

# Of a virtual machine that checks each JNI call.
CHECKED = ["-Xcheck:jni", "-Xlog:all=warning:stdout"]


def environment(variables):
    kept = {**os.environ, "LC_ALL": "C.UTF-8", "MASK_KEY": KEY}
    for unwanted in ["VELK_TRACE", "VELK_TRACE_FILE", "JAVA_TOOL_OPTIONS"]:
        kept.pop(unwanted, None)
    return {**kept, **(variables or {})}


class Platform:
    """A virtual machine, by its home."""

    def __init__(self, home):
        self.home = pathlib.Path(home).absolute()
        self.java = [str(self.home / "bin" / self.program), *self.options]

    def class_path(self, *parts):
        return self.separator.join(map(self.path, parts))

    def library(self, folder, name):
        return pathlib.Path(folder) / self.file_name.format(name)

    def for_launcher(self):
        """The variables that have a launcher start this virtual machine, its JNI calls checked."""
        return {"VELK_JAVA_HOME": self.path(self.home), "VELK_JAVA_OPTIONS": " ".join(self.options + CHECKED)}

    def run(self, arguments, variables=None, folder=ROOT, checked=True):
        """The output and the exit code of a program; its JNI calls are checked unless that is unwanted."""
        check = CHECKED if checked else []
        command = [*self.java, *check, "--enable-native-access=ALL-UNNAMED", *UTF_8, *arguments]
        # Not into a pipe: its end comes only when everything that Wine has started beside the program ends.
        with tempfile.TemporaryFile() as output:
            result = subprocess.run(command, cwd=folder, env=environment(variables), stdin=subprocess.DEVNULL, stdout=output,
                                    stderr=subprocess.STDOUT)
            output.seek(0)
            text = output.read().decode("utf-8", errors="replace")
            return re.sub(r"^wine: .*\n", "", text, flags=re.MULTILINE), result.returncode


class Linux(Platform):
    name = "Linux"
    natives = ROOT / "build" / "linux" / "lib"
    program = "java"
    launcher = ROOT / "bin" / "velk"
    options = []
    separator = ":"
    file_name = "lib{}.so"
    # Copies of the natives that a process leaves behind when it ends.
    copies_left = 0
    path = staticmethod(str)


class Windows(Platform):
    name = "Windows"
    wine = str(ROOT / "scripts" / "wine")
    natives = ROOT / "build" / "windows" / "lib"
    program = "java.exe"
    launcher = ROOT / "bin" / "velk.cmd"
    # Wine cannot tell the processors, which the virtual machine would warn of; it need not ask. Most of the
    # many that the tests start live for a second: one compiler and one collector make them a third cheaper.
    options = [f"-XX:ActiveProcessorCount={len(os.sched_getaffinity(0))}", "-XX:TieredStopAtLevel=1",
               "-XX:+UseSerialGC"]
    separator = ";"
    file_name = "{}.dll"
    copies_left = 1

    def __init__(self, home):
        super().__init__(home)
        self.java.insert(0, self.wine)

    def velk_in_console(self, arguments, errors):
        """What a console shows of the command; its standard error goes to a file."""
        ours, its = pty.openpty()
        with open(errors, "wb") as file, open(ours, "rb", buffering=0) as screen:
            process = subprocess.Popen([self.wine, "cmd", "/c", self.path(self.launcher), *arguments],
                                       env=environment(self.for_launcher()), stdin=its, stdout=its, stderr=file)
            os.close(its)
            shown = b""
            try:
                while more := screen.read(1 << 16):
                    shown += more
            except OSError:  # how the end of a terminal is told
                pass
            process.wait()
        return shown.decode(errors="replace")

    @staticmethod
    def path(path):
        """A path of this machine as a Windows program knows it."""
        return "Z:" + str(path).replace("/", "\\")


def platform_of(home):
    kind = Windows if (pathlib.Path(home) / "bin" / Windows.program).exists() else Linux
    return kind(home)
