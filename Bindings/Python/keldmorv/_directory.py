"""What lies where: the calls that enumerate and ask, named after what they resemble in `os`."""

import ctypes
import errno
import fnmatch
import os
import re
from collections.abc import Callable, Iterator
from typing import NamedTuple

from . import _library
from ._session import running
from ._text import StrPath, encode, join, to_text

# A longer name would make a path that no call takes.
_NAME_SIZE = 1024


class Entry(NamedTuple):
    """One file or directory, as an enumeration shows it."""

    name: str  # with the letters of the release
    size: int  # bytes of a file's content, 0 for a directory
    is_dir: bool


def exists(path: StrPath) -> bool:
    """Whether a path is there, as a file or a directory. One lookup; the cheapest question."""
    encoded = encode(to_text(path))
    with running:
        return bool(_library.file_exists(encoded))


def scandir(path: StrPath = "", pattern: str = "*") -> list[Entry]:
    """The entries of a directory that fit a pattern of the library, in its order.

    In a pattern "*" is any run and "?" one character, but "*" never tries again: "*.dds" does not fit "a.b.dds". `glob`
    knows the patterns of a shell. In a solution a name can come twice; the first has the higher priority.
    """
    directory = to_text(path)
    if not pattern or "/" in pattern or "\\" in pattern:
        raise ValueError("a pattern is not empty and has no separator")
    encoded = encode(join(directory, pattern))
    with running:
        entries = _enumerate(encoded)
    if entries is None:
        code = errno.ENOTDIR if exists(directory) else errno.ENOENT
        raise OSError(code, os.strerror(code), directory)
    return entries


def _enumerate(encoded: bytes) -> list[Entry] | None:
    handle = _library.find_first_file(encoded)
    if handle is None:
        return None
    try:
        entries = []
        name = ctypes.create_string_buffer(_NAME_SIZE)
        size = ctypes.c_uint64()
        is_dir = ctypes.c_uint32()
        while _library.find_next_file(handle, is_dir, size, _NAME_SIZE, name) >= 0:
            entries.append(Entry(os.fsdecode(name.value), size.value, is_dir.value != 0))
        return entries
    finally:
        _library.find_close(handle)


def listdir(path: StrPath = "") -> list[str]:
    """The names in a directory, each once."""
    return list(dict.fromkeys(entry.name for entry in scandir(path)))


def stat(path: StrPath) -> Entry:
    """Name, size and kind of a path, without opening it. It looks through the directory that holds the path."""
    text = to_text(path)
    if not exists(text):
        raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), text)
    directory, name = split(text)
    if name == "":
        return Entry("", 0, True)
    # As a pattern a name fits itself, and maybe others.
    shown = [entry for entry in scandir(directory, name) if lower(entry.name) == lower(name)]
    kinds = {entry.is_dir: entry for entry in reversed(shown)}
    if len(kinds) == 1:
        return shown[0]
    # One project of a solution holds a file of this path and another a directory: only an open tells which is served.
    encoded = encode(text)
    with running:
        handle = _library.open_file(encoded)
        _library.close_file(handle)
    return kinds[handle is None]


def lower(name: str) -> str:
    """The name in small letters, as the library compares it: those of ASCII alone."""
    return name.translate(_LOWER)


_LOWER = {letter: letter + 32 for letter in range(ord("A"), ord("Z") + 1)}


def split(path: str) -> tuple[str, str]:
    """The directory and the last name of a path."""
    stripped = path.replace("\\", "/").rstrip("/")
    directory, _, name = stripped.rpartition("/")
    return directory, name


def isdir(path: StrPath) -> bool:
    """Whether a path is there and is a directory."""
    return exists(path) and stat(path).is_dir


def isfile(path: StrPath) -> bool:
    """Whether a path is there and is a file."""
    return exists(path) and not stat(path).is_dir


def getsize(path: StrPath) -> int:
    """Bytes of a file's content, without opening it."""
    return stat(path).size


def walk(top: StrPath = "") -> Iterator[tuple[str, list[str], list[str]]]:
    """For each directory from `top` down its path, the names of its directories, and of its files; a directory comes
    before what lies in it. Whoever takes names out of the second list keeps the walk out of them. A damaged release can
    list names that lead elsewhere, or that differ in case alone; of those the walk takes none, of these the first."""
    pending = [to_text(top)]
    while pending:
        directory = pending.pop()
        entries = scandir(directory)
        directories = list(dict.fromkeys(entry.name for entry in entries if entry.is_dir))
        files = list(dict.fromkeys(entry.name for entry in entries if not entry.is_dir))
        yield directory, directories, files
        pending.extend(join(directory, name) for name in reversed(_leading_down(directories)))


def _leading_down(names: list[str]) -> list[str]:
    """The names of directories that can be asked for by them. An empty one would lead to where it is listed."""
    usable: dict[str, str] = {}
    for name in names:
        if name and "/" not in name and "\\" not in name:
            usable.setdefault(lower(name), name)
    return list(usable.values())


def glob(pattern: str, root: StrPath = "") -> list[str]:
    """The paths that fit a pattern of a shell: "*", "?" and "[...]" within a name, "**" over directories, none
    included. Case does not matter, and a dot is a letter like any other."""
    return list(dict.fromkeys(iglob(pattern, root)))


def iglob(pattern: str, root: StrPath = "") -> Iterator[str]:
    """The same one by one; a path may come twice."""
    parts = [part for part in pattern.replace("\\", "/").split("/") if part]
    directory = to_text(root)
    if parts and isdir(directory):
        yield from _expand(directory, parts)


def _expand(directory: str, parts: list[str]) -> Iterator[str]:
    head, rest = parts[0], parts[1:]
    if head == "**":
        yield from _expand_below(directory, rest)
        return
    fits = _matcher(head)
    for entry in scandir(directory):
        if fits(entry.name):
            path = join(directory, entry.name)
            if not rest:
                yield path
            elif entry.is_dir:
                yield from _expand(path, rest)


def _expand_below(directory: str, rest: list[str]) -> Iterator[str]:
    for path, directories, files in walk(directory):
        if rest:
            yield from _expand(path, rest)
        else:
            yield from (join(path, name) for name in directories + files)


def _matcher(pattern: str) -> Callable[[str], object]:
    return re.compile(fnmatch.translate(pattern), re.ASCII | re.IGNORECASE).match
