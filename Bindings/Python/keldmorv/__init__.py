"""Read-only access to the files of a deployed release by virtual path.

    with keldmorv.Session("/srv/MORV/projects/client/releases/1.0.0.0"):
        with keldmorv.open("docs/guide.txt", "r", encoding="utf-8") as guide:
            print(guide.read())
"""

import atexit as _atexit

from . import _log, _session
from ._directory import Entry, exists, getsize, glob, iglob, isdir, isfile, listdir, scandir, stat, walk
from ._file import RawFile, open, read_bytes
from ._log import log_to
from ._path import MorvPath, files
from ._session import Session, StartError

__all__ = [
    "Entry",
    "MorvPath",
    "RawFile",
    "Session",
    "StartError",
    "exists",
    "files",
    "getsize",
    "glob",
    "iglob",
    "isdir",
    "isfile",
    "listdir",
    "log_to",
    "open",
    "read_bytes",
    "scandir",
    "stat",
    "walk",
]


@_atexit.register
def _end_with_the_process() -> None:
    _session.end_with_the_process()
    _log.end_with_the_process()
