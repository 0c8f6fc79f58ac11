"""What impl/CMakeLists.txt says of the library, and its sources as clang sees them."""
import pathlib
import re

from clang.cindex import Index, TranslationUnit

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
CODE = ROOT / "impl/pipe/common"
LISTS = ROOT / "impl/CMakeLists.txt"
PLATFORM_INCLUDES = sorted(ROOT.glob("platform/*/include"))


def cmake_list(name, lists=LISTS):
    found = re.search(rf"^set\({name}\s([^)]*)\)", lists.read_text(), re.MULTILINE)
    if not found:
        raise SystemExit(f"{lists.relative_to(ROOT)} has no list {name}")
    return re.sub(r"#.*", "", found[1]).split()


def sources():
    names = cmake_list("PLEXA_COMMON_CLASSES") + cmake_list("PLEXA_COMMON_INTERNAL")
    return [CODE / f"{name}.cpp" for name in names]


def public_headers():
    names = cmake_list("PLEXA_COMMON_CLASSES") + cmake_list("PLEXA_COMMON_HEADERS")
    return [CODE / f"{name}.h" for name in names]


def include_flags(folders):
    return [flag for folder in folders for flag in ("-isystem", str(folder))]


def parse(name, arguments, text=None):
    """A translation unit with its macros; compile errors end the script."""
    unit = Index.create().parse(str(name), arguments,
                                unsaved_files=[(str(name), text)] if text else None,
                                options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [str(each) for each in unit.diagnostics if each.severity >= 3]
    if errors:
        raise SystemExit("\n".join(errors))
    return unit
