"""Keeps apart what the library wants kept apart: a start and an end from all other calls, a close from reads.

Two things can run on a thread in the middle of a call: the callback of the library's log, under locks of the library,
and with it the garbage collector. So the callback only keeps its messages, which are handed over behind the call, and a
file that is closed from in there is closed behind the call, too.
"""

import threading
from collections import deque
from collections.abc import Callable, Iterator
from contextlib import contextmanager


class _ThisThread(threading.local):
    """How deep the thread is in calls, and what waits for it to come out."""

    def __init__(self) -> None:
        self.depth = 0
        self.behind: deque[Callable[[], None]] = deque()


class Calls:
    """Who is in the library. `with calls:` stands around each call; many threads may be in there at once."""

    def __init__(self) -> None:
        # Recursive: the garbage collector may close a file while its thread holds this lock.
        self._changed = threading.Condition(threading.RLock())
        self._inside = 0
        self._is_taken = False
        self._waiting = 0  # who want to be alone: whoever comes after them waits, or they might never be
        self._thread = _ThisThread()

    def __enter__(self) -> None:
        thread = self._thread
        if thread.depth == 0:
            with self._changed:
                while self._is_taken or self._waiting != 0:
                    self._changed.wait()
                self._inside += 1
        thread.depth += 1

    def __exit__(self, *exception: object) -> None:
        thread = self._thread
        thread.depth -= 1
        if thread.depth == 0:
            with self._changed:
                self._inside -= 1
                self._changed.notify_all()
            self._run_behind()

    @contextmanager
    def alone(self) -> Iterator[None]:
        """Waits until nobody is in the library, and keeps others out."""
        if self._thread.depth != 0:
            raise RuntimeError("the library can be started and ended only outside of its calls")
        with self._changed:
            self._waiting += 1
            try:
                while self._inside != 0 or self._is_taken:
                    self._changed.wait()
                self._is_taken = True
            finally:
                self._waiting -= 1
                self._changed.notify_all()
        self._thread.depth += 1
        try:
            yield
        finally:
            self._thread.depth -= 1
            with self._changed:
                self._is_taken = False
                self._changed.notify_all()
            self._run_behind()

    def is_busy(self) -> bool:
        """Whether any thread is in the library."""
        with self._changed:
            return self._inside != 0 or self._is_taken

    def is_inside(self) -> bool:
        """Whether this thread is in a call, which only a callback and the garbage collector can find."""
        return self._thread.depth != 0

    def behind(self, action: Callable[[], None]) -> None:
        """Has this thread do something as soon as it is out of the library."""
        self._thread.behind.append(action)

    def _run_behind(self) -> None:
        behind = self._thread.behind
        while behind:
            behind.popleft()()


class Users:
    """Who uses one handle. `with users:` stands around each use; `wait` lets the last of them go."""

    def __init__(self) -> None:
        self._changed = threading.Condition(threading.RLock())
        self._count = 0

    def __enter__(self) -> None:
        with self._changed:
            self._count += 1

    def __exit__(self, *exception: object) -> None:
        with self._changed:
            self._count -= 1
            self._changed.notify_all()

    def wait(self) -> None:
        """Returns when there are none."""
        with self._changed:
            while self._count != 0:
                self._changed.wait()


calls = Calls()
