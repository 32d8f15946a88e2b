"""Virtual paths as text."""

import os
from pathlib import PurePath
from typing import Protocol, runtime_checkable


@runtime_checkable
class VirtualPath(Protocol):
    """An object that stands for a virtual path, as MorvPath does."""

    @property
    def virtual_path(self) -> str: ...


# What a call takes for a virtual path.
StrPath = str | PurePath | VirtualPath


def to_text(path: StrPath) -> str:
    """The path as text; the root is empty."""
    if isinstance(path, VirtualPath):
        return path.virtual_path
    text = os.fspath(path)
    return "" if isinstance(path, PurePath) and text == "." else text


def encode(path: str) -> bytes:
    """The path as the library takes it, which knows the root as "/"."""
    text = os.fsencode(path) or b"/"
    if b"\0" in text:
        raise ValueError("embedded null byte")
    return text


def join(directory: str, name: str) -> str:
    """A name behind a directory; the root stays empty."""
    return directory + name if directory == "" or directory[-1] in "/\\" else f"{directory}/{name}"
