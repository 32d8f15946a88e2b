import importlib.resources
import itertools
import unittest
from importlib.resources.abc import Traversable

import keldmorv
from keldmorv import MorvPath
from release import STORAGES, TEXT, ReleaseTest, Tree

TOP = ["lzma", "managed", "naked", "stored", "Textures", "zlib", "empty"]


class DirectoryTest(ReleaseTest):
    def test_lists_names_and_entries(self) -> None:
        self.assertEqual(keldmorv.listdir(), TOP)
        self.assertEqual(keldmorv.listdir("TEXTURES/"), ["Sub", "a.b.tga", "readme.txt"])
        self.assertEqual(keldmorv.scandir("textures", "?.b.*"), [("a.b.tga", 2, False)])
        self.assertEqual(keldmorv.scandir("textures", "sub"), [("Sub", 0, True)])
        for path, error in (("nowhere", FileNotFoundError), ("empty", NotADirectoryError), ("a\0", ValueError)):
            with self.assertRaises(error):
                keldmorv.listdir(path)
        with self.assertRaises(ValueError):
            keldmorv.scandir("", "textures/*")

    def test_tells_what_a_path_is(self) -> None:
        self.assertEqual(keldmorv.stat("textures\\A.B.TGA"), ("a.b.tga", 2, False))
        self.assertEqual(keldmorv.stat("textures//"), ("Textures", 0, True))
        self.assertEqual(keldmorv.stat(""), ("", 0, True))
        self.assertEqual(keldmorv.getsize("zlib/text"), len(TEXT))
        self.assertTrue(keldmorv.isdir("Textures") and keldmorv.isdir("") and not keldmorv.isdir("empty"))
        self.assertTrue(keldmorv.isfile("empty") and not keldmorv.isfile("Textures") and not keldmorv.isfile("x"))
        self.assertTrue(keldmorv.exists("EMPTY") and keldmorv.exists("") and not keldmorv.exists("textures/a*"))
        with self.assertRaises(FileNotFoundError):
            keldmorv.stat("nowhere")
        for pattern in ("", "a/*", "a\\*"):
            with self.assertRaises(ValueError):
                keldmorv.scandir("textures", pattern)

    def test_walks_and_can_be_kept_out(self) -> None:
        walked = list(keldmorv.walk())
        self.assertEqual(walked[0], ("", TOP[:-1], ["empty"]))
        self.assertEqual([path for path, _, _ in walked], ["", *TOP[:5], "Textures/Sub", "zlib"])
        for directory, directories, _ in (walk := keldmorv.walk()):
            if directory == "":
                directories[:] = ["Textures"]
        self.assertEqual(list(walk), [])
        self.assertEqual(list(keldmorv.walk("textures/sub")), [("textures/sub", [], ["c.TGA"])])

    def test_walks_a_damaged_release_to_its_end(self) -> None:
        self.session.close()
        manifest = self.directory / "releasemanifest"
        content = manifest.read_bytes()
        # A name of separators leads to where it is listed, and one in other letters to what its twin holds.
        for name, damaged in ((b"\0naked\0", b"\0\\\\\\\\\\\0"), (b"\0zlib\0", b"\0LZMA\0")):
            self.assertIn(name, content)
            content = content.replace(name, damaged)
        manifest.write_bytes(content)
        with keldmorv.Session(self.directory):
            walked = [path.lower() for path, _, _ in itertools.islice(keldmorv.walk(), 50)]
        self.assertEqual(walked, ["", "lzma", "managed", "stored", "textures", "textures/sub"])

    def test_globs_like_a_shell_in_either_case(self) -> None:
        for pattern, expected in (
            ("*.txt", []),
            ("textures/*.tga", ["Textures/a.b.tga"]),
            ("**/*.tga", ["Textures/a.b.tga", "Textures/Sub/c.TGA"]),
            ("Textures/**", ["Textures/Sub", "Textures/a.b.tga", "Textures/readme.txt", "Textures/Sub/c.TGA"]),
            ("**/**/c.tga", ["Textures/Sub/c.TGA"]),
            ("[l-n]*/text", ["lzma/text", "managed/text", "naked/text"]),
            ("empty/*", []),
            ("nowhere/*", []),
            ("", []),
        ):
            with self.subTest(pattern):
                self.assertEqual(keldmorv.glob(pattern), expected)
        self.assertEqual(keldmorv.glob("*.tga", "Textures/Sub"), ["Textures/Sub/c.TGA"])
        self.assertEqual(keldmorv.glob("*", "nowhere"), [])


class SolutionTest(unittest.TestCase):
    def test_serves_the_project_of_the_higher_priority(self) -> None:
        tree = Tree()
        self.addCleanup(tree.remove)
        tree.project("files", {"z/inner": "", "a": "file", "both": "first"})
        tree.project("directories", {"a/inner": "", "both": "the second"})
        with keldmorv.Session(tree.solution("one", "files", "directories")):
            self.assertEqual(keldmorv.listdir(), ["a", "z", "both"])
            self.assertEqual(keldmorv.stat("a"), ("a", 4, False))
            self.assertEqual(keldmorv.getsize("both"), 5)
            self.assertEqual(keldmorv.read_bytes("a/inner"), b"")
        with keldmorv.Session(tree.solution("two", "directories", "files")):
            self.assertEqual(keldmorv.stat("a"), ("a", 0, True))
            self.assertEqual(keldmorv.read_bytes("both"), b"the second")
            with self.assertRaises(IsADirectoryError):
                keldmorv.open("a")


class PathTest(ReleaseTest):
    def test_is_a_resource_of_importlib(self) -> None:
        root = keldmorv.files()
        self.assertIsInstance(root, Traversable)
        self.assertEqual([path.name for path in root.iterdir()], TOP)
        self.assertEqual((root / "textures" / "readme.txt").read_text("ascii"), "read me")
        self.assertEqual(root.joinpath("textures", "a.b.tga").read_bytes(), b"ab")
        with importlib.resources.as_file(root / "zlib/text") as path:
            self.assertEqual(path.read_text(), TEXT)

    def test_is_put_together_as_a_path_of_pathlib(self) -> None:
        path = MorvPath("Textures", "Sub\\c.TGA")
        self.assertEqual(str(path), "Textures/Sub/c.TGA")
        self.assertEqual((path.name, path.stem, path.suffix), ("c.TGA", "c", ".TGA"))
        self.assertEqual(path.parts, ("Textures", "Sub", "c.TGA"))
        self.assertEqual(path.parent, MorvPath("textures/SUB/"))
        self.assertEqual(hash(path), hash(MorvPath("textures/sub/C.tga")))
        self.assertNotEqual(path, "Textures/Sub/c.TGA")
        self.assertLess(MorvPath("a"), MorvPath("B"))
        self.assertEqual(str(path.with_suffix(".png").with_name("d.png")), "Textures/Sub/d.png")
        self.assertEqual(str(path.with_stem("d")), "Textures/Sub/d.TGA")
        self.assertEqual(MorvPath("a.b.tga").suffixes, [".b", ".tga"])
        self.assertEqual([str(parent) for parent in path.parents], ["Textures/Sub", "Textures", ""])
        self.assertEqual(str(MorvPath()), "")
        self.assertEqual(MorvPath().parent, MorvPath(""))
        self.assertEqual(repr(MorvPath("a")), "MorvPath('a')")
        self.assertTrue(path.match("*.tga") and not path.match("*.png"))
        with self.assertRaises(TypeError):
            open(path)  # type: ignore[call-overload]

    def test_leads_from_one_path_to_another(self) -> None:
        path = MorvPath("Textures/Sub/c.TGA")
        self.assertEqual(str(path.relative_to("textures")), "Sub/c.TGA")
        self.assertEqual(str(path.relative_to(MorvPath("TEXTURES"), "sub")), "c.TGA")
        self.assertEqual(path.relative_to(), path)
        self.assertEqual(str(path.relative_to(path)), "")
        self.assertTrue(path.is_relative_to("textures/sub") and not path.is_relative_to("textures/su"))
        with self.assertRaises(ValueError):
            path.relative_to("zlib")

    def test_asks_and_reads(self) -> None:
        path = MorvPath("textures")
        self.assertTrue(path.is_dir() and path.exists() and not path.is_file())
        self.assertEqual([str(found) for found in path.rglob("*.tga")], ["textures/a.b.tga", "textures/Sub/c.TGA"])
        self.assertEqual([str(found) for found in path.glob("*.txt")], ["textures/readme.txt"])
        self.assertEqual([str(walked) for walked, _, _ in path.walk()], ["textures", "textures/Sub"])
        self.assertEqual((path / "readme.txt").stat().size, 7)
        with (path / "readme.txt").open("rb") as file:
            self.assertEqual(file.read(4), b"read")
        self.assertEqual(keldmorv.read_bytes(path / "readme.txt"), b"read me")
        self.assertEqual([(MorvPath(storage) / "text").is_file() for storage in STORAGES], [True] * 5)


if __name__ == "__main__":
    unittest.main()
