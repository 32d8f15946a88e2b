"""Start and end of the library."""

import os

from . import _library
from ._calls import calls


class StartError(OSError):
    """No release could be made out or loaded, or the library runs already. The library's log tells which."""


class Handle:
    """A file handle of the library, until it is closed: by its file, or by the end of the session."""

    def __init__(self, value: int) -> None:
        self.value: int | None = value


# What is open. The library's handles end with it, so its end closes them.
_open_handles: set[Handle] = set()

_is_running = False


class Session:
    """The library, started for the release that a directory lies in. A process has one at a time.

    A relative directory is taken from the working directory; the names in its path decide, and it need not exist.
    Without a directory the working directory is taken.
    """

    def __init__(self, directory: str | os.PathLike[str] | None = None) -> None:
        global _is_running
        self._is_open = False
        # abspath makes a directory of the empty text, which is none.
        text = os.fspath(directory) if directory is not None else None
        path = None if text is None else os.fsencode(os.path.abspath(text) if text else "")
        if path is not None and b"\0" in path:
            raise ValueError("embedded null byte")
        with calls.alone():
            if _library.initialize(0, 0, 0, path) < 0:
                place = os.getcwd() if text is None else repr(text)
                raise StartError(f"the library could not start in {place}, or runs already")
            _is_running = True
        self._is_open = True

    def close(self) -> None:
        """Waits for the calls that run, closes every open file, and ends the library. A second time does nothing."""
        if self._is_open:
            self._is_open = False
            end()

    def __enter__(self) -> "Session":
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()


class _Running:
    """`with running:` stands around a call by path. It starts the library with the working directory, unless it runs:
    what the first such call does by itself, where two threads could do it at once."""

    def __enter__(self) -> None:
        while True:
            calls.__enter__()
            if _is_running:
                return
            calls.__exit__()
            _start_where_the_process_is()

    def __exit__(self, *exception: object) -> None:
        calls.__exit__(*exception)


running = _Running()


def _start_where_the_process_is() -> None:
    global _is_running
    with calls.alone():
        # Also where somebody else in this process has started it.
        if not _is_running and _library.file_exists(b"/") == 0:
            raise StartError("nothing can be served: the working directory lies in no release that has files")
        _is_running = True


def end() -> None:
    """Ends the library."""
    global _is_running
    with calls.alone():
        for handle in _open_handles:
            _library.close_file(handle.value)
            handle.value = None
        _open_handles.clear()
        _is_running = False
        _library.shutdown()


def end_with_the_process() -> None:
    """Ends the library, unless a thread was left behind in a call."""
    if _is_running and not calls.is_busy():
        end()


def open_handle(encoded: bytes) -> Handle | None:
    """Opens a file; None where it cannot be opened. To be called inside of `with running:`."""
    value = _library.open_file(encoded)
    if value is None:
        return None
    handle = Handle(value)
    _open_handles.add(handle)
    return handle


def close_handle(handle: Handle) -> None:
    """Closes a file through which nobody reads, unless it is closed already."""
    with calls:
        if handle.value is not None:
            _library.close_file(handle.value)
            handle.value = None
            _open_handles.discard(handle)
