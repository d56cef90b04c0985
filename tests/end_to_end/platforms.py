"""Where a Java virtual machine runs, and what things are called there: this machine, or Windows under Wine."""

import os
import pathlib
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "end_to_end"
KEY = "a key for the tests alone"
UTF_8 = ["-Dfile.encoding=UTF-8", "-Dstdout.encoding=UTF-8", "-Dstderr.encoding=UTF-8"]


class Platform:
    """A virtual machine, by its home."""

    def __init__(self, home):
        self.java = [str(pathlib.Path(home) / "bin" / self.program), *self.options]

    def class_path(self, *parts):
        return self.separator.join(map(self.path, parts))

    def library(self, folder, name):
        return pathlib.Path(folder) / self.file_name.format(name)

    def run(self, arguments, variables=None, folder=ROOT, checked=True):
        """The output and the exit code of a program; its JNI calls are checked unless that is unwanted."""
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "MASK_KEY": KEY}
        for unwanted in ["VELK_TRACE", "VELK_TRACE_FILE", "JAVA_TOOL_OPTIONS"]:
            environment.pop(unwanted, None)
        environment.update(variables or {})
        check = ["-Xcheck:jni", "-Xlog:all=warning:stdout"] if checked else []
        command = [*self.java, *check, "--enable-native-access=ALL-UNNAMED", *UTF_8, *arguments]
        # Not into a pipe: its end comes only when everything that Wine has started beside the program ends.
        with tempfile.TemporaryFile() as output:
            result = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                    stderr=subprocess.STDOUT)
            output.seek(0)
            return output.read().decode("utf-8", errors="replace"), result.returncode


class Linux(Platform):
    name = "Linux"
    natives = ROOT / "build" / "linux" / "lib"
    program = "java"
    options = []
    separator = ":"
    file_name = "lib{}.so"
    # Copies of the natives that a process leaves behind when it ends.
    copies_left = 0
    path = staticmethod(str)


class Windows(Platform):
    name = "Windows"
    natives = ROOT / "build" / "windows" / "lib"
    program = "java.exe"
    # Wine cannot tell the processors, which the virtual machine would warn of; it need not ask. Most of the
    # many that the tests start live for a second: one compiler and one collector make them a third cheaper.
    options = [f"-XX:ActiveProcessorCount={len(os.sched_getaffinity(0))}", "-XX:TieredStopAtLevel=1",
               "-XX:+UseSerialGC"]
    separator = ";"
    file_name = "{}.dll"
    copies_left = 1

    def __init__(self, home):
        super().__init__(home)
        self.java.insert(0, str(ROOT / "scripts" / "wine"))

    @staticmethod
    def path(path):
        """A path of this machine as a Windows program knows it."""
        return "Z:" + str(path).replace("/", "\\")


def platform_of(home):
    kind = Windows if (pathlib.Path(home) / "bin" / Windows.program).exists() else Linux
    return kind(home)
