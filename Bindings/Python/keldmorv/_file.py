"""Open files."""

import ctypes
import errno
import io
import os
from functools import partial
from typing import TYPE_CHECKING, Literal, overload

from . import _library
from ._calls import Users, calls
from ._directory import exists, stat
from ._session import Handle, close_handle, open_handle, running
from ._text import StrPath, encode, to_text

if TYPE_CHECKING:
    from _typeshed import WriteableBuffer

_STEP = 1 << 20


class RawFile(io.RawIOBase):
    """An open file without a buffer.

    It can be read from many threads. `read_at` takes an offset; the other reads share one position.
    """

    mode = "rb"

    def __init__(self, path: StrPath) -> None:
        self._users = Users()
        self._position = 0
        self._size = 0
        self.name = to_text(path)
        encoded = encode(self.name)
        with running:
            self._handle = open_handle(encoded)
            if self._handle is not None:
                self._size = _library.get_file_size(self._handle.value)
        if self._handle is None:
            raise _why_not_opened(self.name)

    def close(self) -> None:
        """Closes the file, behind the reads that run."""
        if self.closed:
            return
        super().close()
        handle: Handle | None = getattr(self, "_handle", None)  # there is none where the path was no path
        if handle is None:
            return
        if calls.is_inside():
            calls.behind(partial(close_handle, handle))  # the collector came by in the middle of a call: nobody reads
        else:
            self._users.wait()
            close_handle(handle)

    def size(self) -> int:
        """Bytes of content, uncompressed, as the release lists them."""
        self._check_open()
        return self._size

    def read_at(self, offset: int, buffer: "WriteableBuffer") -> int:
        """Reads from a byte of the content on, until the buffer is full or the content ends; the position stays.

        Returns the bytes delivered. The bytes go from the library into the buffer, and other threads run meanwhile.
        """
        if offset < 0:
            raise OSError(errno.EINVAL, os.strerror(errno.EINVAL), self.name)
        with memoryview(buffer) as view, view.cast("B") as octets:
            wanted = min(octets.nbytes, max(self.size() - offset, 0))
            if wanted != 0:
                self._fill(offset, wanted, octets)
        return wanted

    def _fill(self, offset: int, wanted: int, octets: memoryview) -> None:
        start = ctypes.c_char.from_buffer(octets)
        try:
            address = ctypes.addressof(start)
            total = 0
            while total < wanted:
                total += self._read_once(offset + total, wanted - total, address + total)
        finally:
            del start  # holds on to the buffer, and an exception would to it

    def _read_once(self, offset: int, wanted: int, address: int) -> int:
        delivered = ctypes.c_uint32()
        with self._users, calls:
            handle = self._valid_handle()
            ctypes.set_errno(0)
            result = _library.read(handle, offset, wanted, delivered, address)
            is_interrupted = result < 0 and ctypes.get_errno() == errno.EINTR
        if is_interrupted:
            return 0  # a signal ended the wait for a turn: its handler runs here, and the read comes again
        if result < 0 or delivered.value == 0:
            reason = "the read failed" if result < 0 else "the stored bytes end too early"
            raise OSError(errno.EIO, reason, self.name)
        return delivered.value

    def readinto(self, buffer: "WriteableBuffer") -> int:
        count = self.read_at(self._position, buffer)
        self._position += count
        return count

    def readall(self) -> bytes:
        # Grows with what comes, not with what the release lists.
        content = bytearray()
        while self._position < self.size():
            step = min(self._size - self._position, max(_STEP, len(content)))
            end = len(content)
            content += bytes(step)
            with memoryview(content) as view:
                self.readinto(view[end:])
        return bytes(content)

    def seek(self, offset: int, whence: int = os.SEEK_SET) -> int:
        self._check_open()
        bases = {os.SEEK_SET: 0, os.SEEK_CUR: self._position, os.SEEK_END: self._size}
        if whence not in bases:
            raise ValueError(f"invalid whence: {whence}")
        position = bases[whence] + offset
        if position < 0:
            raise OSError(errno.EINVAL, os.strerror(errno.EINVAL), self.name)
        self._position = position
        return position

    def tell(self) -> int:
        self._check_open()
        return self._position

    def readable(self) -> bool:
        self._check_open()
        return True

    def seekable(self) -> bool:
        self._check_open()
        return True

    def _check_open(self) -> None:
        self._valid_handle()

    def _valid_handle(self) -> int:
        if self.closed:
            raise ValueError("I/O operation on closed file")
        if self._handle is None or self._handle.value is None:
            raise ValueError("I/O operation on a file whose session has ended")
        return self._handle.value

    def __repr__(self) -> str:
        return f"<keldmorv.RawFile {self.name!r}{' closed' if self.closed else ''}>"


def _why_not_opened(path: str) -> OSError:
    if not exists(path):
        return FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), path)
    if stat(path).is_dir:
        return IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), path)
    return OSError(errno.EIO, "the file is listed but cannot be opened", path)


@overload
def open(
    path: StrPath,
    mode: Literal["r", "rt", "tr"] = ...,
    buffering: int = ...,
    encoding: str | None = ...,
    errors: str | None = ...,
    newline: str | None = ...,
) -> io.TextIOWrapper: ...
@overload
def open(path: StrPath, mode: Literal["rb", "br"], buffering: Literal[0]) -> RawFile: ...
@overload
def open(path: StrPath, mode: Literal["rb", "br"], buffering: Literal[-1, 1] = ...) -> io.BufferedReader: ...
@overload
def open(
    path: StrPath,
    mode: str,
    buffering: int = ...,
    encoding: str | None = ...,
    errors: str | None = ...,
    newline: str | None = ...,
) -> io.TextIOWrapper | io.BufferedReader | RawFile: ...
def open(
    path: StrPath,
    mode: str = "r",
    buffering: int = -1,
    encoding: str | None = None,
    errors: str | None = None,
    newline: str | None = None,
) -> io.TextIOWrapper | io.BufferedReader | RawFile:
    """Opens a file, as the built-in function does: as text by default, as bytes with the mode "rb", without a buffer with
    "rb" and a buffering of 0."""
    if sorted(mode) not in (["r"], ["r", "t"], ["b", "r"]):
        raise ValueError(f"a release is only read: invalid mode: {mode!r}")
    is_binary = "b" in mode
    if is_binary and (encoding is not None or errors is not None or newline is not None):
        raise ValueError("binary mode takes no encoding, errors or newline")
    if not is_binary and buffering == 0:
        raise ValueError("can't have unbuffered text I/O")
    raw = RawFile(path)
    try:
        if buffering == 0:
            return raw
        reader = io.BufferedReader(raw, buffering if buffering > 1 else io.DEFAULT_BUFFER_SIZE)
        return reader if is_binary else io.TextIOWrapper(reader, encoding, errors, newline)
    except BaseException:
        raw.close()  # an encoding that nobody knows
        raise


def read_bytes(path: StrPath) -> bytes:
    """All of a file."""
    with RawFile(path) as file:
        return file.readall()
