"""What the tools for binary files tell of a finished library, on either platform."""

import pathlib
import subprocess
import tempfile
import zlib

# A function of each library, and the source that holds it.
PLACES = {
    "VELKJNI": ("Java_com_brel_sorn_velk_RowSet_toC", "src/jni/row_set.cpp"),
    "VELKBulk": ("Java_com_brel_sorn_velk_masking_NativeBulk_blockWrite", "bulk/jni/csv.cpp"),
    "VELKProvider": ("Provider_Service", "reference-engine/provider/operations.cpp"),
    "VELKParser": ("Parser_GetErrorInfo", "reference-engine/parser/operations.cpp"),
    "VELKAdapter": ("Adapter_BuildServiceDefinition", "reference-engine/adapter/operations.cpp"),
    "VELKDataCnvLib": ("Cnv_Utf8ToUtf16", "reference-engine/datacnv/conversions.cpp"),
}


def run(*command):
    """What the command says; AssertionError with all of it if it fails."""
    result = subprocess.run([*map(str, command)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise AssertionError(result.stdout)
    return result.stdout


def symbols(file, tools=""):
    """{name: address} of a file that has not been stripped."""
    lines = map(str.split, run(f"{tools}nm", file).splitlines())
    return {parts[2]: int(parts[0], 16) for parts in lines if len(parts) == 3}


def faults_of_debug_information(library, name, tools=""):
    """What is wrong with the debug information that stands beside a library."""
    debug = library.with_name(f"{library.name}.debug")
    faults = []
    if ".debug_info" in run(f"{tools}objdump", "-h", library):
        faults.append("the library has debug information inside")
    with tempfile.TemporaryDirectory() as folder:
        section = pathlib.Path(folder, "link")
        run(f"{tools}objcopy", "--dump-section", f".gnu_debuglink={section}", library, pathlib.Path(folder, "copy"))
        link = section.read_bytes()
    if link.split(b"\0")[0].decode() != debug.name:
        faults.append("the library links to another file")
    # Behind the name, at the next multiple of four, stands the checksum of the file that is meant.
    place = (len(debug.name) + 4) // 4 * 4
    if int.from_bytes(link[place:place + 4], "little") != zlib.crc32(debug.read_bytes()):
        faults.append("the file beside the library is another one's")
    function, source = PLACES[name]
    address = symbols(debug, tools).get(function)
    place = address and run(f"{tools}addr2line", "-e", debug, hex(address)).split(":")[0]
    if not place or not pathlib.PurePosixPath(place) == pathlib.PurePosixPath(source):
        faults.append(f"{function} is said to stand in {place}")
    return faults
