"""The library's messages in `logging`."""

import ctypes
import logging

from . import _library
from ._calls import calls

_LINE_SIZE = 8192  # of the library's own log lines
_OWN_GROUP = 1 << 32
_TRACE_GROUP = 4

# By severity: OKAY, WARN, ERROR, and ALWAYS, which is news that no filter is to drop.
_LEVELS = (logging.INFO, logging.WARNING, logging.ERROR, logging.CRITICAL)

# Holds the lock of the interpreter, unlike the functions of a CDLL: the callback has it anyway.
_c_library = ctypes.PyDLL(None)
_format = _c_library.vsnprintf
_format.argtypes = [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_void_p, ctypes.c_void_p]
_format.restype = ctypes.c_int

# Every table that was passed to the library. It borrows them for good.
_tables: list[tuple[_library.LoggerTable, object]] = []


_register_group = _library.RegisterGroup(lambda tag: _OWN_GROUP)


def log_to(logger: logging.Logger | None = None, level: int = logging.WARNING) -> None:
    """Sends the library's messages to a logger, by default the one named "keldmorv", from now on.

    Failures come as warnings and errors, progress as INFO, and traces of calls as DEBUG. Messages below `level` are
    dropped before they cost much; at DEBUG a start is slow. A message stands without the signature of the C++ function
    that logged it, which is the record's attribute `signature`. It is handed over on the thread that is in the library,
    as soon as the call is over. A handler may use the library, as long as that logs nothing that comes to it again.

    There is no way back to the library's own output on standard error.
    """
    target = logger if logger is not None else logging.getLogger("keldmorv")

    def log(severity: int, low: int, high: int, line_format: int, arguments: int) -> None:
        # Runs under locks of the library: nothing of `logging` is called here.
        rank = logging.DEBUG if low & _TRACE_GROUP else _LEVELS[severity & 3]
        if rank < level:
            return
        line = ctypes.create_string_buffer(_LINE_SIZE)
        _format(line, _LINE_SIZE, line_format, arguments)
        signature, _, message = line.value.decode("utf-8", "backslashreplace").partition(": ")

        def hand_over() -> None:
            target.log(rank, "%s", message, extra={"signature": signature})

        if calls.is_inside():
            calls.behind(hand_over)
        else:
            hand_over()  # somebody who calls the library without this package

    callback = _library.Log(log)
    _install(ctypes.cast(callback, ctypes.c_void_p), callback)


def _install(log: ctypes.c_void_p, keeper: object) -> None:
    table = _library.LoggerTable(register_group=_register_group, log=log)
    _tables.append((table, keeper))
    with calls:
        _library.set_logger(ctypes.byref(table))


def end_with_the_process() -> None:
    """Leaves no function of Python behind: the library may log until the process ends, when none can be called."""
    if _tables:
        # getpid is a function of C that takes no notice of what it is passed.
        _install(ctypes.cast(_c_library.getpid, ctypes.c_void_p), None)
