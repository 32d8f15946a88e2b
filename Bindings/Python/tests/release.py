"""Releases on a real disk, packed by the tool. The environment names it: KELD_MORV."""

import logging
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import keldmorv

STORAGES = ("naked", "managed", "stored", "zlib", "lzma")
TEXT = "".join(f"line {number}\n" for number in range(20_000))

# What the tests provoke is not to be read between their results.
keldmorv.log_to(logging.getLogger("quiet"), logging.CRITICAL + 1)


def write(folder: Path, files: dict[str, str]) -> None:
    for name, content in files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content.encode())


def morv(*arguments: str | Path) -> None:
    subprocess.run([os.environ["KELD_MORV"], *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)


class Tree:
    """A deployment tree of its own."""

    def __init__(self) -> None:
        self._folder = tempfile.TemporaryDirectory()
        self.disk = Path(self._folder.name).resolve()
        self.root = self.disk / "MORV"

    def project(self, name: str, files: dict[str, str], *options: str) -> Path:
        """Packs a project and gives its release's directory."""
        write(self.disk / name, files)
        morv("pack", self.disk / name, "--root", self.root, "--project", name, "--release", "1.0.0.0", *options)
        return self.root / "projects" / name / "releases" / "1.0.0.0"

    def solution(self, name: str, *projects: str) -> Path:
        """Binds projects, the one of the highest priority first."""
        bound = [
            option
            for rank, project in enumerate(projects)
            for option in ("--project", f"{project}=1.0.0.0:{100 - rank}")
        ]
        morv("solution", "--root", self.root, "--name", name, "--release", "1.0.0.0", *bound)
        return self.root / "solutions" / name / "releases" / "1.0.0.0"

    def every_storage(self, text: str = TEXT) -> Path:
        """A release with "<storage>/text" for each storage, and some more."""
        files = {f"{storage}/text": text for storage in STORAGES}
        files |= {"Textures/a.b.tga": "ab", "Textures/Sub/c.TGA": "c", "Textures/readme.txt": "read me", "empty": ""}
        return self.project(
            "atlas", files, "--storage", "archive", "--rule", "naked/**=naked", "--rule", "managed/**=managed",
            "--rule", "stored/**=archive:none", "--rule", "zlib/**=archive:zlib", "--rule", "lzma/**=archive:lzma",
        )  # fmt: skip

    def remove(self) -> None:
        self._folder.cleanup()


class ReleaseTest(unittest.TestCase):
    """A test in a session of a release with files of every storage."""

    def setUp(self) -> None:
        self.tree = Tree()
        self.addCleanup(self.tree.remove)
        self.directory = self.tree.every_storage()
        self.session = keldmorv.Session(self.directory)
        self.addCleanup(self.session.close)
