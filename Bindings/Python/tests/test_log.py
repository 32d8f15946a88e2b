import gc
import logging
import subprocess
import sys
import unittest
from logging import LogRecord

import keldmorv
from release import ReleaseTest

# What a program of its own does, to be looked at from outside.
PROGRAM = """
import logging, sys, keldmorv
logging.basicConfig(format="%(levelname)s %(message)s", stream=sys.stdout)
keldmorv.log_to()
session = keldmorv.Session(sys.argv[1])
file = keldmorv.open("empty", "rb")
print(keldmorv.open("naked/text", "r").readline(), end="")
"""


class Recorder(logging.Handler):
    def __init__(self) -> None:
        super().__init__()
        self.records: list[LogRecord] = []
        self.found: list[bool] = []

    def emit(self, record: LogRecord) -> None:
        self.records.append(record)
        if record.levelno >= logging.ERROR and keldmorv._session._is_running:
            # Outside of the library's locks: a handler may use it, where that logs nothing again.
            self.found.append(keldmorv.exists("empty"))


class LogTest(ReleaseTest):
    def setUp(self) -> None:
        super().setUp()
        self.recorder = Recorder()
        self.logger = logging.getLogger("test")
        self.logger.propagate = False
        self.logger.setLevel(logging.DEBUG)
        self.logger.addHandler(self.recorder)
        self.addCleanup(self.logger.removeHandler, self.recorder)

    def texts(self) -> list[tuple[str, str]]:
        return [(record.levelname, record.getMessage()) for record in self.recorder.records]

    def test_gives_failures_with_their_level(self) -> None:
        keldmorv.log_to(self.logger)
        path = self.directory / "deploy" / "naked" / "text"
        path.unlink()
        with self.assertRaises(OSError):
            keldmorv.open("naked/text")
        self.assertEqual({level for level, _ in self.texts()}, {"ERROR"})
        self.assertIn(str(path), "".join(text for _, text in self.texts()))
        self.assertEqual(set(self.recorder.found), {True})
        self.assertIn("Keld::", self.recorder.records[0].__dict__["signature"])

    def test_gives_warnings_of_a_failed_start(self) -> None:
        keldmorv.log_to(self.logger)
        with self.assertRaises(keldmorv.StartError):
            keldmorv.Session(self.directory)
        self.assertEqual(
            self.texts(),
            [("ERROR", "MORV library initialization failed because it was already initialized and must only be "
              "initialized once.")],
        )  # fmt: skip
        self.recorder.records.clear()
        self.session.close()
        with self.assertRaises(keldmorv.StartError):
            keldmorv.Session("/nowhere")
        self.assertEqual([level for level, _ in self.texts()], ["WARNING", "ERROR", "ERROR"])

    def test_gives_progress_and_traces_where_they_are_wanted(self) -> None:
        self.session.close()
        for level, seen in ((logging.INFO, {"INFO"}), (logging.DEBUG, {"INFO", "DEBUG"}), (logging.WARNING, set())):
            keldmorv.log_to(self.logger, level)
            self.recorder.records.clear()
            keldmorv.Session(self.directory).close()
            self.assertEqual({record.levelname for record in self.recorder.records}, seen)

    def test_lets_the_collector_close_files_in_the_middle_of_a_call(self) -> None:
        keldmorv.log_to(self.logger, logging.DEBUG)
        (self.directory / "deploy" / "naked" / "text").unlink()
        threshold = gc.get_threshold()
        self.addCleanup(gc.set_threshold, *threshold)
        gc.set_threshold(1)  # it comes by in the callback, under the lock that a close needs
        for _ in range(200):
            ring: list[object] = [keldmorv.open("zlib/text", "rb")]
            ring.append(ring)
            with self.assertRaises(OSError):
                keldmorv.open("naked/text")

    def test_leaves_nothing_behind_that_is_called_after_the_interpreter(self) -> None:
        run = subprocess.run(
            [sys.executable, "-c", PROGRAM, str(self.directory)], capture_output=True, text=True, check=False
        )
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, "line 0\n", ""))


if __name__ == "__main__":
    unittest.main()
