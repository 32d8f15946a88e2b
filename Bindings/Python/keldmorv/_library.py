"""The exported calls of the shared library, declared for ctypes. Each of them lets other threads run."""

import ctypes

LIBRARY_NAME = "libKeldMorvIO.so.1"

# A callback cannot return a structure; this one, of two 32-bit words, goes out in the register of a 64-bit number.
RegisterGroup = ctypes.CFUNCTYPE(ctypes.c_uint64, ctypes.c_char_p)

# Severity, both words of the groups, format, arguments. On 64-bit x86 and Arm an argument list is passed by address.
Log = ctypes.CFUNCTYPE(
    None, ctypes.c_int32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p
)


class LoggerTable(ctypes.Structure):
    """The 26 slots of a logger, of which the library calls two."""

    _fields_ = [
        ("before_register_group", ctypes.c_void_p * 17),
        ("register_group", RegisterGroup),
        ("before_log", ctypes.c_void_p * 7),
        ("log", ctypes.c_void_p),
    ]


def _load() -> ctypes.CDLL:
    try:
        return ctypes.CDLL(LIBRARY_NAME, use_errno=True)
    except OSError as error:
        raise ImportError(f"{LIBRARY_NAME} is not where the loader looks: {error}") from error


_library = _load()

initialize = _library.MorvInitialize
initialize.argtypes = [ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_char_p]
initialize.restype = ctypes.c_int32

shutdown = _library.MorvShutdown
shutdown.argtypes = []
shutdown.restype = None

set_logger = _library.MorvSetLogger
set_logger.argtypes = [ctypes.POINTER(LoggerTable)]
set_logger.restype = None

file_exists = _library.MorvFileExists
file_exists.argtypes = [ctypes.c_char_p]
file_exists.restype = ctypes.c_uint32

open_file = _library.MorvOpenFile
open_file.argtypes = [ctypes.c_char_p]
open_file.restype = ctypes.c_void_p

close_file = _library.MorvCloseFile
close_file.argtypes = [ctypes.c_void_p]
close_file.restype = None

get_file_size = _library.MorvGetFileSize
get_file_size.argtypes = [ctypes.c_void_p]
get_file_size.restype = ctypes.c_int64

read = _library.MorvRead
read.argtypes = [
    ctypes.c_void_p,
    ctypes.c_uint64,
    ctypes.c_uint32,
    ctypes.POINTER(ctypes.c_uint32),
    ctypes.c_void_p,
]
read.restype = ctypes.c_int32

find_first_file = _library.MorvFindFirstFile
find_first_file.argtypes = [ctypes.c_char_p]
find_first_file.restype = ctypes.c_void_p

find_next_file = _library.MorvFindNextFile
find_next_file.argtypes = [
    ctypes.c_void_p,
    ctypes.POINTER(ctypes.c_uint32),
    ctypes.POINTER(ctypes.c_uint64),
    ctypes.c_uint32,
    ctypes.c_char_p,
]
find_next_file.restype = ctypes.c_int32

find_close = _library.MorvFindClose
find_close.argtypes = [ctypes.c_void_p]
find_close.restype = None
