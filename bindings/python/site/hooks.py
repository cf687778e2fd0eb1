"""What MkDocs does not do by itself: pages of notebooks, and links to files outside of docs/."""

from __future__ import annotations

import os
import re
from pathlib import Path
from typing import Any

import notebooks
from mkdocs.exceptions import PluginError
from mkdocs.structure.files import File, Files

ROOT = Path(__file__).resolve().parents[3]
_LINK = re.compile(r"(?<!!)\[(?P<text>[^]]+)\]\((?P<target>(?:\.\./)+[^)#\s]+)(?:#[^)]*)?\)")


def _page(name: str, path: Path) -> tuple[str, dict[str, bytes]]:
    """A notebook as a page with its pictures, by running it."""
    parts, pictures = [], {}
    for shown in notebooks.run(path, {}):
        cell = shown.cell
        parts.append(cell.source if cell.is_text else f"```python\n{cell.source}\n```")
        if shown.printed:
            parts.append(f"```text\n{shown.printed.rstrip()}\n```")
        if shown.table:
            parts.append(shown.table)
        for picture in shown.pictures:
            file = f"{name}-{len(pictures) + 1}.png"
            pictures[file] = picture
            parts.append(f"![What the cell above draws]({file})")
    download = f"This page as a notebook: [{name}.ipynb]({name}.ipynb), [{name}.py]({name}.py)."
    return "\n\n".join([*parts, download]) + "\n", pictures


def on_files(files: Files, config: Any) -> Files:
    """Adds the pages of the notebooks. They are run in the project's folder, as their readers do."""
    os.chdir(ROOT)
    for path in sorted((Path(config.docs_dir) / "notebooks").glob("*.py")):
        page, pictures = _page(path.stem, path)
        made: dict[str, str | bytes] = {
            f"{path.stem}.md": page,
            f"{path.stem}.ipynb": notebooks.to_ipynb(path),
            **pictures,
        }
        for name, content in made.items():
            files.append(File.generated(config, f"notebooks/{name}", content=content))
    return files


def on_page_markdown(markdown: str, page: Any, config: Any, files: Files) -> str:
    """Names files outside of docs/ in place of links to them: the site does not have them."""
    docs = Path(config.docs_dir).resolve()
    folder = (docs / page.file.src_uri).parent

    def named(found: re.Match[str]) -> str:
        target = (folder / found["target"]).resolve()
        if target.is_relative_to(docs):
            return found[0]
        if not target.exists():
            raise PluginError(f"{page.file.src_uri}: no file {found['target']}")
        path = f"`{target.relative_to(ROOT)}`"
        return path if found["text"].strip("`").endswith(target.name) else f"{found['text']} ({path})"

    return _LINK.sub(named, markdown)
