"""A virtual path as an object."""

from collections.abc import Iterator
from pathlib import PurePosixPath
from typing import TYPE_CHECKING, Any

from . import _directory
from ._file import open as open_file
from ._file import read_bytes
from ._text import StrPath, to_text

if TYPE_CHECKING:
    from importlib.abc import Traversable
else:
    from importlib.resources.abc import Traversable


class MorvPath(Traversable):
    """A virtual path with methods, like pathlib's, and a Traversable of importlib.resources.

    It is no os.PathLike: what it names is on no disk. Two paths are equal if they differ in ASCII letters' case alone.
    """

    def __init__(self, *parts: StrPath) -> None:
        self._pure = PurePosixPath(*(to_text(part).replace("\\", "/") for part in parts))

    @property
    def virtual_path(self) -> str:
        """The path as text; the root is empty."""
        return to_text(self._pure)

    @property
    def name(self) -> str:
        """The last name; that of the root is empty."""
        return self._pure.name

    @property
    def stem(self) -> str:
        """The last name without its last suffix."""
        return self._pure.stem

    @property
    def suffix(self) -> str:
        """The last suffix of the last name, its dot included."""
        return self._pure.suffix

    @property
    def suffixes(self) -> list[str]:
        """All suffixes of the last name."""
        return self._pure.suffixes

    @property
    def parts(self) -> tuple[str, ...]:
        """The names of the path."""
        return self._pure.parts

    @property
    def parent(self) -> "MorvPath":
        """The directory above; the root's is the root."""
        return MorvPath(self._pure.parent)

    @property
    def parents(self) -> tuple["MorvPath", ...]:
        """The directories above, the nearest first, the root last."""
        return tuple(MorvPath(parent) for parent in self._pure.parents)

    def joinpath(self, *descendants: StrPath) -> "MorvPath":
        """This path and others behind it."""
        return MorvPath(self._pure, *descendants)

    def __truediv__(self, child: StrPath) -> "MorvPath":
        return self.joinpath(child)

    def with_name(self, name: str) -> "MorvPath":
        """The path with another last name."""
        return MorvPath(self._pure.with_name(name))

    def with_stem(self, stem: str) -> "MorvPath":
        """The path with another last name before the same suffix."""
        return MorvPath(self._pure.with_stem(stem))

    def with_suffix(self, suffix: str) -> "MorvPath":
        """The path with another last suffix."""
        return MorvPath(self._pure.with_suffix(suffix))

    def is_relative_to(self, *other: StrPath) -> bool:
        """Whether the path is another one, or lies below it."""
        above = MorvPath(*other)
        return _key(self)[: len(above.parts)] == _key(above)

    def relative_to(self, *other: StrPath) -> "MorvPath":
        """What leads from another path, at or above this one, to this one. ValueError where it lies elsewhere."""
        if not self.is_relative_to(*other):
            raise ValueError(f"{str(self)!r} does not lie below {str(MorvPath(*other))!r}")
        return MorvPath(*self.parts[len(MorvPath(*other).parts) :])

    def match(self, pattern: str) -> bool:
        """Whether the path fits a pattern, as pathlib's match has it, in letters of either case."""
        return PurePosixPath(_directory.lower(self.virtual_path)).match(_directory.lower(pattern))

    def exists(self) -> bool:
        """Whether the path is there."""
        return _directory.exists(self)

    def is_dir(self) -> bool:
        """Whether the path is there and is a directory."""
        return _directory.isdir(self)

    def is_file(self) -> bool:
        """Whether the path is there and is a file."""
        return _directory.isfile(self)

    def stat(self) -> _directory.Entry:
        """Name, size and kind."""
        return _directory.stat(self)

    def iterdir(self) -> Iterator["MorvPath"]:
        """The paths in this directory."""
        return (self / name for name in _directory.listdir(self))

    def glob(self, pattern: str) -> Iterator["MorvPath"]:
        """The paths below that fit a pattern of a shell; "**" crosses directories."""
        return (MorvPath(path) for path in _directory.glob(pattern, self))

    def rglob(self, pattern: str) -> Iterator["MorvPath"]:
        """The same in this directory and all below."""
        return self.glob(f"**/{pattern}")

    def walk(self) -> Iterator[tuple["MorvPath", list[str], list[str]]]:
        """This directory and all below, each with the names in it."""
        return ((MorvPath(path), directories, files) for path, directories, files in _directory.walk(self))

    def open(
        self,
        mode: str = "r",
        buffering: int = -1,
        encoding: str | None = None,
        errors: str | None = None,
        newline: str | None = None,
    ) -> Any:
        """Opens the file. `keldmorv.open` does the same and tells checkers of types what it gives."""
        return open_file(self, mode, buffering, encoding, errors, newline)

    def read_bytes(self) -> bytes:
        """All of the file."""
        return read_bytes(self)

    def read_text(self, encoding: str | None = None, errors: str | None = None) -> str:
        """All of the file as text."""
        with open_file(self, "r", -1, encoding, errors) as file:
            return file.read()

    def __str__(self) -> str:
        return self.virtual_path

    def __repr__(self) -> str:
        return f"MorvPath({self.virtual_path!r})"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, MorvPath) and _key(self) == _key(other)

    def __lt__(self, other: "MorvPath") -> bool:
        return _key(self) < _key(other)

    def __hash__(self) -> int:
        return hash(_key(self))


def _key(path: MorvPath) -> tuple[str, ...]:
    return tuple(_directory.lower(part) for part in path.parts)


def files() -> MorvPath:
    """The root, as importlib.resources.files gives that of a package."""
    return MorvPath()
