import array
import contextlib
import io
import os
import unittest
from pathlib import Path

import keldmorv
from release import STORAGES, TEXT, ReleaseTest, Tree


class FileTest(ReleaseTest):
    def test_gives_whole_files_of_every_storage(self) -> None:
        for storage in STORAGES:
            with self.subTest(storage):
                self.assertEqual(keldmorv.read_bytes(f"{storage}/text"), TEXT.encode())

    def test_opens_text_with_lines_and_encodings(self) -> None:
        for storage in ("naked", "stored", "zlib"):
            with keldmorv.open(f"{storage}/text", "r", encoding="ascii") as file:
                self.assertIsInstance(file, io.TextIOWrapper)
                self.assertEqual(file.readline(), "line 0\n")
                self.assertEqual(sum(1 for _ in file), 19_999)
                file.seek(0)
                self.assertEqual(file.read(), TEXT)
        with self.assertRaises(LookupError):
            keldmorv.open("empty", encoding="no such encoding")

    def test_reads_and_seeks_as_a_file_on_disk_does(self) -> None:
        disk_path = self.directory / "deploy" / "naked" / "text"
        for buffering in (-1, 0, 100):
            with open(disk_path, "rb", buffering) as disk, keldmorv.open("naked/text", "rb", buffering) as file:
                for offset, whence in ((10, 0), (5, 1), (-20, 2), (0, 2), (7, 2), (-100_000, 2), (0, 0)):
                    self.assertEqual(file.seek(offset, whence), disk.seek(offset, whence))
                    for size in (0, 1, 50, 70_000, -1):
                        self.assertEqual(file.read(size), disk.read(size))
                        self.assertEqual(file.tell(), disk.tell())
                for offset, whence in ((-1, 0), (-1_000_000, 2)):
                    with self.assertRaises(OSError):
                        file.seek(offset, whence)

    def test_reads_into_the_callers_buffer(self) -> None:
        for storage in STORAGES:
            with keldmorv.open(f"{storage}/text", "rb", 0) as file:
                buffer = bytearray(b"." * 20)
                self.assertEqual(file.readinto(memoryview(buffer)[2:8]), 6)
                self.assertEqual(buffer, b"..line 0" + b"." * 12)
                numbers = array.array("I", [0, 0])
                self.assertEqual(file.read_at(7, numbers), 8)
                self.assertEqual(numbers.tobytes(), b"line 1\nl")
                self.assertEqual(file.tell(), 6, "read_at leaves the position")
                self.assertEqual(file.read_at(file.size() - 3, buffer), 3, "what follows in the archive is not read")
                self.assertEqual(file.read_at(file.size() + 2**32, buffer), 0, "offsets do not wrap")
                with self.assertRaises(TypeError):
                    file.read_at(0, b"read-only")  # type: ignore[arg-type]

    def test_refuses_what_a_release_has_not(self) -> None:
        for path, error in (
            ("nowhere", FileNotFoundError),
            ("/empty", FileNotFoundError),
            ("x" * 2000, FileNotFoundError),
            ("textures", IsADirectoryError),
            ("", IsADirectoryError),
            ("empty\0", ValueError),
        ):
            with self.assertRaises(error):
                keldmorv.open(path)
        for mode in ("w", "rw", "r+", "rbt", "x", ""):
            with self.assertRaises(ValueError):
                keldmorv.open("empty", mode)
        with self.assertRaises(ValueError):
            keldmorv.open("empty", "r", 0)
        with self.assertRaises(ValueError):
            keldmorv.open("empty", "rb", encoding="ascii")

    def test_tells_where_the_stored_bytes_end_too_early(self) -> None:
        (self.directory / "deploy" / "naked" / "text").write_bytes(b"abc")
        with keldmorv.open("naked/text", "rb", 0) as file:
            with self.assertRaisesRegex(OSError, "end too early.*naked/text"):
                file.readall()
            self.assertEqual(file.read(3), b"abc")

    def test_tells_apart_what_is_damaged_and_what_is_missing(self) -> None:
        (self.directory / "deploy" / "naked" / "text").unlink()
        with self.assertRaisesRegex(OSError, "cannot be opened") as raised:
            keldmorv.open("naked/text", "rb")
        self.assertNotIsInstance(raised.exception, FileNotFoundError)

    def test_closes_once_and_reads_no_more(self) -> None:
        with keldmorv.open("zlib/text", "rb", 0) as file:
            self.assertFalse(file.closed)
            self.assertTrue(file.readable() and file.seekable() and not file.writable())
        file.close()
        for call in (lambda: file.read(1), file.tell, file.size, lambda: file.seek(0), file.readable):
            with self.assertRaises(ValueError):
                call()
        with self.assertRaises(io.UnsupportedOperation):
            keldmorv.open("empty", "rb", 0).fileno()

    def test_takes_an_empty_file(self) -> None:
        self.assertEqual(keldmorv.read_bytes("empty"), b"")
        with keldmorv.open("empty", "rb", 0) as file:
            self.assertEqual(file.read(10), b"")


class ReadMeTest(unittest.TestCase):
    def test_its_program_does_what_it_says(self) -> None:
        tree = Tree()
        self.addCleanup(tree.remove)
        directory = tree.project("client", {"docs/guide.txt": "first\nsecond\n", "textures/stone/a.tga": "abc"})
        page = (Path(__file__).parent.parent / "README.md").read_text(encoding="utf-8")
        program = page.split("```python\n")[1].split("```")[0]
        self.assertIn("/srv/MORV/projects/client/releases/1.0.0.0", program)
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            exec(program.replace("/srv/MORV/projects/client/releases/1.0.0.0", str(directory)), {})
        self.assertEqual(printed.getvalue(), "first\n\ntextures/stone/a.tga 3\n")


class SessionTest(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree()
        self.addCleanup(self.tree.remove)
        self.directory = self.tree.project("atlas", {"a": "content"})

    def test_ends_files_that_are_open(self) -> None:
        with keldmorv.Session(self.directory):
            file = keldmorv.open("a", "rb", 0)
        with self.assertRaisesRegex(ValueError, "session has ended"):
            file.read()
        with keldmorv.Session(self.directory):
            with self.assertRaises(ValueError):
                file.read()
            self.assertEqual(keldmorv.read_bytes("a"), b"content")
            file.close()

    def test_is_alone_in_its_process(self) -> None:
        with keldmorv.Session(self.directory) as session:
            with self.assertRaises(keldmorv.StartError):
                keldmorv.Session(self.directory)
            self.assertTrue(keldmorv.exists("a"), "the first one goes on")
            session.close()
            session.close()
            with keldmorv.Session(self.directory):
                self.assertTrue(keldmorv.exists("a"))

    def test_takes_relative_directories_and_the_working_directory(self) -> None:
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.directory.parent)
        with keldmorv.Session("1.0.0.0"):
            self.assertTrue(keldmorv.exists("a"))
        os.chdir(self.directory)
        with keldmorv.Session():
            self.assertTrue(keldmorv.exists("a"))
        with keldmorv.Session(self.directory / "deploy" / ".."):
            self.assertTrue(keldmorv.exists("a"))

    def test_starts_by_itself_in_the_working_directory(self) -> None:
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.tree.disk)
        with self.assertRaises(keldmorv.StartError):
            keldmorv.exists("a")
        os.chdir(self.directory)
        self.addCleanup(keldmorv._session.end)
        self.assertTrue(keldmorv.exists("a"))
        os.chdir(self.tree.disk)
        self.assertEqual(keldmorv.read_bytes("a"), b"content")

    def test_fails_outside_of_a_release(self) -> None:
        for directory in (self.tree.disk, ""):
            with self.assertRaisesRegex(keldmorv.StartError, f"start in {str(directory)!r}, or"):
                keldmorv.Session(directory)
        with self.assertRaises(ValueError):
            keldmorv.Session("a\0b")


if __name__ == "__main__":
    unittest.main()
