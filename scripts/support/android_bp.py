"""Android.bp against the CMake lists, the public headers and the list of platform names."""
import re

from . import platform_names
from .library import ROOT, cmake_list, public_headers, sources

MODULE = ROOT / "Android.bp"


def property_of(text, name):
    found = re.search(rf"\b{name}: *(\[[^]]*\]|\"[^\"]*\")", text)
    return set(re.findall(r'"([^"]*)"', found[1])) if found else set()


def libraries_of(headers, table):
    """Those of the list that have the headers."""
    cells = {library for (header, _), (library, _) in table.items() if header in headers}
    return {name for cell in cells for name in cell.split(", ")}


def expected():
    """What each property should hold."""
    table = platform_names.read_table()
    libraries = libraries_of({header for header, _ in table}, table)
    exported = libraries_of({header for path in public_headers()
                             for header, _ in platform_names.included_headers(path)}, table)
    closed = {f"lib{name}" for name in cmake_list("PLEXA_COMMON_CLOSED")}
    header_only = {name for name in libraries if name.endswith("_headers")}
    return {
        "srcs": {str(path.relative_to(ROOT)) for path in sources()},
        "export_include_dirs": {str(path.parent.relative_to(ROOT)) for path in public_headers()},
        "version_script": {"impl/exports.map"},
        "shared_libs": libraries - header_only | closed,
        "header_libs": header_only,
        "export_shared_lib_headers": exported - header_only,
        "export_header_lib_headers": exported & header_only,
    }


def differences():
    text = re.sub(r"//.*", "", MODULE.read_text())
    wrong = []
    for name, wanted in expected().items():
        is_there = property_of(text, name)
        wrong += [f"Android.bp: {name} lacks {each}" for each in sorted(wanted - is_there)]
        wrong += [f"Android.bp: {name} has {each}, which nothing uses"
                  for each in sorted(is_there - wanted)]
    return wrong
