"""Looks whether every link of a site leads somewhere: check_links.py FOLDER

A link to a file of the site needs the file, and one with a "#" the place in it. Links that leave the site are not
followed.
"""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    """The links of a page, and the places that can be linked to."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.links: list[str] = []
        self.places: set[str] = set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        for name, value in attributes:
            if value is None:
                continue
            if name in ("href", "src", "data"):
                self.links.append(value)
            elif name == "id" or (name == "name" and tag == "a"):
                self.places.add(value)


def faults(site: Path) -> tuple[int, list[str]]:
    """How many links were looked at, and what is wrong."""
    pages = {path: Page(path) for path in sorted(site.rglob("*.html"))}
    count, found = 0, []
    for path, page in pages.items():
        for link in page.links:
            parts = urlsplit(link)
            if parts.scheme in ("http", "https", "mailto", "javascript"):
                continue
            count += 1
            target = path if parts.path == "" else path.parent / unquote(parts.path)
            target = target.resolve()
            if not target.is_file() or not target.is_relative_to(site):
                found.append(f"{path.name}: {link}: leads to no file of the site")
            elif parts.fragment and target in pages and unquote(parts.fragment) not in pages[target].places:
                found.append(f"{path.name}: {link}: there is no such place")
    return count, found


def main() -> int:
    count, found = faults(Path(sys.argv[1]).resolve())
    for fault in found:
        print(fault)
    print(f"{count} links, {len(found)} of them wrong")
    return 0 if count > 100 and not found else 1


sys.exit(main())
