"""The names of the platform that the library uses, by header, and the table that lists them."""
import re
from collections import defaultdict

from clang.cindex import CursorKind, SourceLocation, SourceRange, TokenKind

from . import device_root
from .library import CODE, ROOT, parse

PAGE = ROOT / "docs/device.md"
MARKS = re.compile(r"(<!-- platform names -->\n).*?(<!-- end -->)", re.DOTALL)
HEAD = "| header | names | library | since |\n|---|---|---|---|\n"
UNKNOWN = "?"
CLOSED = "closed"
LOWEST_PLATFORM = 10
KHRONOS = ("EGL/", "GLES2/", "GLES3/", "KHR/")
# Where a device declares what a stand-in has in a header of another name.
DEVICE_HEADERS = {"utils/WeakPointer.h": "utils/RefBase.h", "list": "utils/List.h",
                  "nativebase/nativebase.h": "ui/GraphicBuffer.h"}


def header_of(path):
    """As a device has it; None for what is not the platform's."""
    if path.startswith(f"{device_root.PLATFORM}/"):
        header = path.removeprefix(f"{device_root.PLATFORM}/")
        return DEVICE_HEADERS.get(header, header)
    khronos = path.removeprefix(f"{device_root.INCLUDES}/")
    if khronos.startswith(KHRONOS):
        return khronos
    return DEVICE_HEADERS["list"] if path.endswith("/c++/v1/list") else None


def qualified_name(cursor):
    parts = []
    while cursor and cursor.kind != CursorKind.TRANSLATION_UNIT:
        is_plain_enum = cursor.kind == CursorKind.ENUM_DECL and not cursor.is_scoped_enum()
        is_base = cursor.spelling in ("", "android", "std", "__1")
        if not is_base and not (is_plain_enum and parts):
            parts.append("List" if cursor.spelling == "list" else cursor.spelling)
        cursor = cursor.semantic_parent
    return "::".join(reversed(parts))


def overridden(method, derived):
    for base in derived.get_children():
        if base.kind == CursorKind.CXX_BASE_SPECIFIER:
            of_base = base.referenced.get_definition()
            yield from (each for each in of_base.get_children() if each.is_virtual_method() and
                        each.spelling == method.spelling)
            yield from overridden(method, of_base)


def named_by(token):
    """The declaration that an identifier names, and those that it overrides."""
    cursor = token.cursor
    if cursor.referenced:
        yield cursor.referenced
    if cursor.kind == CursorKind.CXX_METHOD and cursor.is_virtual_method():
        yield from overridden(cursor, cursor.semantic_parent)


def used_names(unit, path):
    """(header, name) of each identifier in one file, macros' arguments included."""
    file = unit.get_file(str(path))
    extent = SourceRange.from_locations(SourceLocation.from_offset(unit, file, 0),
                                        SourceLocation.from_offset(unit, file, path.stat().st_size))
    for token in unit.get_tokens(extent=extent):
        if token.kind != TokenKind.IDENTIFIER:
            continue
        for named in named_by(token):
            if named.location.file and named.kind != CursorKind.NAMESPACE:
                header = header_of(named.location.file.name)
                if header and named.spelling == token.spelling:
                    yield header, qualified_name(named)


def included_headers(path):
    """(header, None) of each of the platform's headers that one file includes."""
    for header in re.findall(r"^ *#include <(.*)>", path.read_text(), re.MULTILINE):
        if (device_root.PLATFORM / header).exists() or header.startswith(KHRONOS):
            yield header, None


def names_of_source(source):
    """What a source, its header and headers without a source use."""
    unit = parse(source, device_root.flags("c++20"))
    headers = {CODE / each.include.name for each in unit.get_includes()
               if each.include.name.startswith(str(CODE))}
    files = [source] + [header for header in headers if header.stem == source.stem or
                        not header.with_suffix(".cpp").exists()]
    found = set()
    for path in files:
        found.update(used_names(unit, path))
        found.update(included_headers(path))
    return found


def read_table():
    """(header, name) to (library, since)."""
    table = {}
    for line in MARKS.search(PAGE.read_text())[0].splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) != 4 or not cells[0].startswith("`"):
            continue
        header = cells[0].strip("`<>")
        for name in re.findall(r"`([^`]+)`", cells[1]) or [None]:
            table[header, name] = (cells[2], cells[3])
    return table


def missing_from_table(found):
    table = read_table()
    headers = {header for header, _ in table}
    wrong = [f"{name or 'the header'} of <{header}> is not on the list" for header, name in found
             if (header not in headers if name is None else (header, name) not in table)]
    named = {(header, name) for header, name in found if name}
    wrong += [f"{name} of <{header}> is on the list and not used" for header, name in table
              if name and (header, name) not in named]
    wrong += [f"{name} of <{header}>: say which library has it, since when"
              for (header, name), place in table.items() if UNKNOWN in place]
    wrong += [f"{name} of <{header}> came with {since}; we run on {LOWEST_PLATFORM}"
              for (header, name), (_, since) in table.items()
              if since not in (UNKNOWN, CLOSED) and float(since) > LOWEST_PLATFORM]
    return sorted(wrong)


def write_table(found):
    """Keeps what the table says; the library of a new name is its header's, its version unknown."""
    table = read_table()
    libraries = {header: library for (header, _), (library, _) in table.items()}
    rows = defaultdict(list)
    named = {header for header, name in found if name}
    for header, name in sorted(found, key=lambda each: (each[0], each[1] or "")):
        if name or header not in named:
            library, since = table.get((header, name), (libraries.get(header, UNKNOWN), UNKNOWN))
            rows[header, library, since].append(name)
    text = HEAD + "".join(
        f"| `<{header}>` | {', '.join(f'`{name}`' for name in names if name)} | {library} | {since} |\n"
        for (header, library, since), names in rows.items())
    PAGE.write_text(MARKS.sub(lambda match: match[1] + text + match[2], PAGE.read_text()))
