import gc
import io
import signal
import sys
import threading
import unittest
from collections.abc import Callable

import keldmorv
from release import STORAGES, TEXT, ReleaseTest

THREADS = 8


def run(*jobs: Callable[[], object]) -> None:
    """Runs jobs at once, each on a thread; an exception of one is raised here."""
    errors: list[BaseException] = []

    def guarded(job: Callable[[], object]) -> None:
        try:
            job()
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=guarded, args=(job,)) for job in jobs]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[0]


class ThreadTest(ReleaseTest):
    def test_many_threads_look_up_open_and_read_at_once(self) -> None:
        kept = keldmorv.open("lzma/text", "rb", 0)  # cannot be opened again after its last close

        def work() -> None:
            for number in range(40):
                path = f"{STORAGES[number % len(STORAGES)]}/text"
                self.assertTrue(keldmorv.exists(path))
                self.assertEqual(keldmorv.getsize(path), len(TEXT))
                self.assertEqual(keldmorv.read_bytes(path), TEXT.encode())
                self.assertEqual(len(keldmorv.listdir()), 7)

        run(*[work] * THREADS)
        kept.close()

    def test_many_threads_read_through_one_file(self) -> None:
        content = TEXT.encode()
        with keldmorv.open("stored/text", "rb", 0) as file:

            def work(first: int) -> None:
                buffer = bytearray(1000)
                for offset in range(first, len(content) - 1000, 4000):
                    self.assertEqual(file.read_at(offset, buffer), 1000)
                    self.assertEqual(buffer, content[offset : offset + 1000])

            run(*[lambda first=number * 500: work(first) for number in range(THREADS)])

    def test_other_threads_run_while_one_reads(self) -> None:
        # Nobody is asked to make room for others, so another thread gets its turn only where a read gives way.
        interval = sys.getswitchinterval()
        self.addCleanup(sys.setswitchinterval, interval)
        begun, seen = threading.Event(), threading.Event()

        def observe() -> None:
            begun.wait()
            seen.set()

        with keldmorv.open("naked/text", "rb", 0) as file:
            observer = threading.Thread(target=observe)
            observer.start()
            buffer = bytearray(100_000)
            sys.setswitchinterval(1000)
            begun.set()
            for _ in range(100_000):
                if seen.is_set():
                    break
                file.read_at(0, buffer)
            self.assertTrue(seen.is_set())
            observer.join()

    def test_a_close_waits_for_reads_and_ends_them(self) -> None:
        for storage in ("naked", "zlib"):
            file = keldmorv.open(f"{storage}/text", "rb", 0)
            started = threading.Barrier(THREADS + 1)

            def work() -> None:
                buffer = bytearray(50_000)
                started.wait()
                with self.assertRaisesRegex(ValueError, "closed file"):
                    while True:
                        self.assertEqual(file.read_at(0, buffer), 50_000)

            def close() -> None:
                started.wait()
                file.close()

            run(close, *[work] * THREADS)

    def test_an_end_waits_for_all_calls(self) -> None:
        started = threading.Barrier(THREADS + 1)
        ended = threading.Event()

        def work() -> None:
            started.wait()
            with self.assertRaises((ValueError, keldmorv.StartError)):
                while True:
                    with keldmorv.open("zlib/text", "rb", 0) as file:
                        file.read(10)
            ended.wait()

        def end() -> None:
            started.wait()
            self.session.close()
            ended.set()

        run(end, *[work] * THREADS)

    def test_files_that_nobody_closes_are_closed_by_the_collector(self) -> None:
        class Ring:
            file: io.BufferedReader
            ring: "Ring"

        def work() -> None:
            for _ in range(200):
                ring = Ring()
                ring.ring = ring
                ring.file = keldmorv.open("zlib/text", "rb")
                ring.file.read(1)

        run(*[work] * 4)
        gc.collect()
        self.assertEqual(keldmorv._session._open_handles, set())

    def test_signals_do_not_end_reads(self) -> None:
        previous = signal.signal(signal.SIGALRM, lambda number, frame: None)
        self.addCleanup(signal.signal, signal.SIGALRM, previous)
        signal.setitimer(signal.ITIMER_REAL, 0.0005, 0.0005)
        self.addCleanup(signal.setitimer, signal.ITIMER_REAL, 0)
        done = threading.Event()

        def keep_busy() -> None:
            buffer = bytearray(100_000)
            with keldmorv.open("stored/text", "rb", 0) as file:
                while not done.is_set():
                    file.read_at(0, buffer)

        threads = [threading.Thread(target=keep_busy) for _ in range(THREADS)]
        for thread in threads:
            thread.start()
        try:
            for _ in range(300):  # on this thread the signals arrive
                self.assertEqual(keldmorv.read_bytes("naked/text"), TEXT.encode())
        finally:
            done.set()
            for thread in threads:
                thread.join()


if __name__ == "__main__":
    unittest.main()
