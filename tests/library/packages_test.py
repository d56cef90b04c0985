"""The packages: unpacked in an empty folder, each does what its page says, and both mask alike."""

import hashlib
import os
import pathlib
import re
import stat
import subprocess
import sys
import tarfile
import tempfile
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = ROOT / "build" / "package"
JDK17 = os.environ.get("VELK_JAVA_HOME") or next(map(str, pathlib.Path("/usr/lib/jvm").glob("java-17-openjdk-*")), "")
PAGE = (ROOT / "packaging" / "README.md").read_text()
COMMON_LICENCES = "/usr/share/common-licenses"
SOME_FAILED = 3  # the sample has values that cannot be masked


def archive(platform):
    return next(PACKAGES.glob(f"VELKJNI-*-{platform}-x86_64.*"))


def commands(shell):
    """The page's lines for a shell, which start with how it sets a variable."""
    blocks = re.findall(r"(?:^    .*\n)+", PAGE, re.MULTILINE)
    return next([line.strip() for line in block.splitlines()] for block in blocks if block.strip().startswith(shell))


def environment(**more):
    kept = {name: value for name, value in os.environ.items() if not re.match("VELK|MASK_KEY|JAVA", name)}
    return {**kept, **more}


def run(command, folder, **variables):
    return subprocess.run([*map(str, command)], cwd=folder, env=environment(**variables), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, encoding="utf-8", errors="replace")


class Unpacked:
    """A package in a folder of its own."""

    def __init__(self, platform):
        self.holder = tempfile.TemporaryDirectory()
        file = archive(platform)
        with (zipfile.ZipFile(file) if file.suffix == ".zip" else tarfile.open(file)) as content:
            content.extractall(self.holder.name)
        self.folder = next(pathlib.Path(self.holder.name).iterdir())

    def mask_on_linux(self, **variables):
        path = f"{JDK17}/bin:{os.environ['PATH']}"
        return run(["bash", "-ec", "\n".join(commands("export"))], self.folder, PATH=path, **variables)

    def mask_on_windows(self, **variables):
        script = self.folder / "try.cmd"
        script.write_text("@echo off\r\n" + "\r\n".join(commands("set")) + "\r\n", newline="")
        java = ROOT / "build" / "tools" / "java25-windows" / "bin"
        return run([ROOT / "scripts" / "wine", "cmd", "/c", "try.cmd"], self.folder, WINEPATH=f"Z:{java}", **variables)

    def masked(self):
        return (self.folder / "masked.csv").read_bytes()


def masked_by_this_build(folder):
    out = pathlib.Path(folder, "masked.csv")
    key = re.search("'(.*)'", commands("export")[0]).group(1)
    examples = ROOT / "examples"
    result = run([ROOT / "bin" / "velk", "mask", "--rules", examples / "people.rules", examples / "people.csv", out], folder,
                 MASK_KEY=key, VELK_JAVA_HOME=JDK17)
    assert result.returncode == SOME_FAILED, result.stdout
    return out.read_bytes()


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            cls.expected = masked_by_this_build(folder)
        cls.linux, cls.windows = Unpacked("linux"), Unpacked("windows")

    def test_the_linux_package_masks_as_its_page_says(self):
        result = self.linux.mask_on_linux()
        self.assertEqual(result.returncode, SOME_FAILED, result.stdout)
        self.assertEqual(self.linux.masked(), self.expected)

    def test_the_windows_package_masks_as_its_page_says_and_alike(self):
        result = self.windows.mask_on_windows()
        self.assertEqual(result.returncode, SOME_FAILED, result.stdout)
        self.assertEqual(self.windows.masked(), self.expected)

    def test_the_libraries_beside_the_jar_serve_as_those_inside_it(self):
        for package, mask, lib in [(self.linux, self.linux.mask_on_linux, self.linux.folder / "lib"),
                                   (self.windows, self.windows.mask_on_windows, f"Z:{self.windows.folder / 'lib'}")]:
            with self.subTest(str(lib)):
                (package.folder / "masked.csv").unlink(missing_ok=True)
                result = mask(VELK_JAVA_OPTIONS=f"-Dvelk.library.dir={lib}")
                self.assertEqual(result.returncode, SOME_FAILED, result.stdout)
                self.assertEqual(package.masked(), self.expected)

    def test_the_command_loads_the_libraries_beside_it(self):
        for package, mask in [(self.linux, self.linux.mask_on_linux), (self.windows, self.windows.mask_on_windows)]:
            with self.subTest(package.folder.name):
                (package.folder / "masked.csv").unlink(missing_ok=True)
                # There is nowhere to unpack any into.
                result = mask(VELK_JAVA_OPTIONS="-Djava.io.tmpdir=nowhere")
                self.assertEqual(result.returncode, SOME_FAILED, result.stdout)
                self.assertEqual(package.masked(), self.expected)

    def test_a_missing_library_is_named(self):
        with tempfile.TemporaryDirectory() as empty:
            result = self.linux.mask_on_linux(VELK_JAVA_OPTIONS=f"-Dvelk.library.dir={empty}")
            self.assertEqual(result.returncode, 5, result.stdout)
            self.assertIn(f"{empty}/libVELKJNI.so: not there", result.stdout)

    def test_each_package_holds_what_its_page_lists(self):
        for package, names in [(self.linux, ["libVELKJNI.so", "libVELKBulk.so", "libVELKProvider.so", "libVELKParser.so",
                                             "libVELKAdapter.so", "libVELKDataCnvLib.so"]),
                               (self.windows, ["VELKJNI.dll", "VELKBulk.dll", "VELKProvider.dll", "VELKParser.dll",
                                               "VELKAdapter.dll", "VELKDataCnvLib.dll"])]:
            with self.subTest(package.folder.name):
                files = {str(path.relative_to(package.folder)) for path in package.folder.rglob("*") if path.is_file()}
                self.assertEqual({name for name in files if name.startswith("lib/")},
                                 {f"lib/{name}{suffix}" for name in names for suffix in ["", ".debug"]})
                contract = {str(path.relative_to(ROOT)) for path in (ROOT / "include").rglob("*") if path.is_file()}
                self.assertEqual({name for name in files if name.startswith("include/")}, contract)
                self.assertLessEqual({"README.md", "licences/VELKJNI.txt", "examples/people.csv"}, files)
                for folder in re.findall(r"`(\w+/)`", PAGE.split("## Try it")[0]):
                    self.assertTrue(any(name.startswith(folder) for name in files), folder)

    def test_the_jar_holds_the_libraries_of_both_platforms(self):
        for package in [self.linux, self.windows]:
            with zipfile.ZipFile(next((package.folder / "java").glob("velk-*.jar"))) as jar:
                natives = {name for name in jar.namelist() if name.startswith("native/") and not name.endswith("/")}
            self.assertEqual(len([name for name in natives if name.endswith(".so")]), 6, natives)
            self.assertEqual(len([name for name in natives if name.endswith(".dll")]), 6, natives)
            self.assertEqual(len(natives), 12, natives)

    def test_the_command_has_the_libraries_that_its_jar_names_and_no_others(self):
        for package in [self.linux, self.windows]:
            with self.subTest(package.folder.name):
                with zipfile.ZipFile(next((package.folder / "command").glob("velk-cli-*.jar"))) as jar:
                    manifest = jar.read("META-INF/MANIFEST.MF").decode().replace("\r\n ", "")
                named = re.search("^Class-Path: (.*)", manifest, re.MULTILINE).group(1).split()
                self.assertIn("velk-", " ".join(named))
                self.assertEqual({f"lib/{path.name}" for path in (package.folder / "command" / "lib").iterdir()}, set(named))

    def test_every_library_of_the_command_has_its_licence(self):
        for package in [self.linux, self.windows]:
            for library in sorted((package.folder / "command" / "lib").glob("*.jar")):
                if library.name.startswith("velk-"):
                    continue
                with self.subTest(f"{package.folder.name} {library.name}"):
                    folder = package.folder / "licences" / library.stem
                    texts = {file.name: file.read_bytes() for file in folder.glob("*")}
                    told = b"\n".join(texts.values())
                    self.assertRegex(told, rb"Apache License|Permission is hereby granted|Redistribution and use")
                    self.assertRegex(told, rb"(?i)copyright")
                    with zipfile.ZipFile(library) as jar:
                        inside = [jar.read(name) for name in jar.namelist()
                                  if re.match("META-INF/(licenses/.*/)?[^/]*(LICEN[CS]E|NOTICE)[^/]*$", name)]
                    # Those of what the jar has taken into itself among them.
                    self.assertEqual(sorted(texts.values()), sorted(inside or texts.values()))

    def test_what_is_linked_in_has_its_licence_and_what_that_refers_to(self):
        for package, names in [(self.linux, ["OpenSSL", "GCC-runtime"]), (self.windows, ["mingw-w64", "GCC-runtime"])]:
            with self.subTest(package.folder.name):
                licences = package.folder / "licences"
                self.assertEqual({file.stem for file in licences.glob("*.txt")}, {"VELKJNI", *names})
                references = 0
                for file in (path for path in licences.rglob("*") if path.is_file()):
                    text = file.read_text(encoding="utf-8")
                    for reference in re.findall(rf"{COMMON_LICENCES}[\w/.-]*", text):
                        references += 1
                        text = licences / reference.removeprefix("/usr/share/").rstrip(".")
                        self.assertTrue(text.is_file() and text.stat().st_size > 1000, f"{file.name}: {reference}")
                self.assertGreater(references, 1)

    def test_an_unpacked_package_can_be_read_by_everyone_and_its_launcher_run(self):
        with zipfile.ZipFile(archive("windows")) as content:
            modes = {member.filename: member.external_attr >> 16 for member in content.infolist()}
        with tarfile.open(archive("linux")) as content:
            modes |= {member.name: stat.S_IFREG | member.mode for member in content}
        programs = {name for name in modes if "/bin/" in name}
        self.assertEqual({pathlib.Path(name).name for name in programs}, {"velk", "velk.cmd"})
        self.assertEqual({name: oct(mode) for name, mode in modes.items()},
                         {name: oct(stat.S_IFREG | (0o755 if name in programs else 0o644)) for name in modes})

    def test_the_script_takes_no_arguments(self):
        result = run([ROOT / "scripts" / "package", "--help-me"], ROOT)
        self.assertEqual(result.returncode, 2, result.stdout)
        self.assertEqual(result.stdout, "usage: scripts/package\n")

    def test_the_script_refuses_another_machine(self):
        result = run(["setarch", "i686", ROOT / "scripts" / "package"], ROOT)
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertRegex(result.stdout, "^package: the packages are for x86_64 .*; this one is i686\n$")

    def test_the_checksums_are_those_of_the_packages(self):
        lines = next(PACKAGES.glob("*SHA256SUMS")).read_text().splitlines()
        told = {name: digest for digest, name in (line.split("  ") for line in lines)}
        self.assertEqual(told, {archive(platform).name: hashlib.sha256(archive(platform).read_bytes()).hexdigest()
                                for platform in ["linux", "windows"]})


if __name__ == "__main__":
    sys.exit(unittest.main())
