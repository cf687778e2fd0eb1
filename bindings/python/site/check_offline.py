"""Whether a site loads nothing from a network: what its pages and style sheets load is in it."""

from __future__ import annotations

import re
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

#: Elements that load what they name, by the attribute that names it. Links of text load nothing.
LOADING = {"script": "src", "img": "src", "link": "href", "iframe": "src", "source": "src", "video": "src"}
#: Relations of <link> that load nothing.
NOT_LOADED = {"canonical", "next", "prev"}
_STYLE = re.compile(r"(?:url\(|@import)\s*[\"']?([^\"')\s;]+)")


class _Loads(HTMLParser):
    """Collects what a page loads."""

    def __init__(self) -> None:
        super().__init__()
        self.targets: list[str] = []

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        found = dict(attrs)
        target = found.get(LOADING.get(tag, ""))
        if target and not (tag == "link" and (found.get("rel") or "") in NOT_LOADED):
            self.targets.append(target)


def _loaded(file: Path) -> list[str]:
    text = file.read_text(encoding="utf-8")
    if file.suffix == ".css":
        return _STYLE.findall(text)
    loads = _Loads()
    loads.feed(text)
    return loads.targets


def faults(site: Path) -> list[str]:
    """What the site loads and does not have, one line each."""
    found = []
    for file in sorted([*site.rglob("*.html"), *site.rglob("*.css")]):
        for target in _loaded(file):
            parts = urlsplit(target)
            if parts.scheme == "data" or (not parts.path and not parts.netloc):
                continue
            # The page that a server shows for a missing one has paths from the root of the site.
            start = site if parts.path.startswith("/") else file.parent
            here = start / unquote(parts.path).lstrip("/")
            if parts.scheme or parts.netloc or not here.exists():
                found.append(f"{file.relative_to(site)}: loads {target}")
    return found


if __name__ == "__main__":
    lines = faults(Path(sys.argv[1]))
    print("\n".join(lines), end="\n" if lines else "")
    sys.exit(1 if lines else 0)
