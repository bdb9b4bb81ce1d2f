"""The calculation report of a result file and the model it was run from: one self-contained
HTML page, or a PDF of that page (the optional extra ``pdf``: WeasyPrint).

The page is written by the C++ core while it reads the result file: each section's checks go to
a temporary file as they come and are joined after the summary, so that memory holds one section,
what the summary keeps of each, and one piece of output, never the check table or the page; this
module picks the files, hashes them for traceability, and writes under a temporary name that is
renamed only when the report is whole.
"""

from __future__ import annotations

import contextlib
import datetime
import hashlib
import os
import tempfile
from collections.abc import Iterator
from pathlib import Path
from typing import Any, BinaryIO

from marlox._extras import require

_SUFFIXES = (".html", ".htm", ".pdf")


def _weasyprint() -> Any:
    return require("weasyprint", extra="pdf", what="writing a PDF report")


def _sha256(path: Path) -> str:
    digest = hashlib.sha256()
    with open(path, "rb") as f:
        for piece in iter(lambda: f.read(1 << 20), b""):
            digest.update(piece)
    return digest.hexdigest()


@contextlib.contextmanager
def _temporary_beside(target: Path, suffix: str) -> Iterator[Path]:
    """A temporary path beside `target`, removed unless it was renamed."""
    fd, name = tempfile.mkstemp(prefix=f".{target.name}.", suffix=suffix, dir=target.parent)
    os.close(fd)
    try:
        yield Path(name)
    finally:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(name)


def _publish(temporary: Path, target: Path) -> None:
    umask = os.umask(0)
    os.umask(umask)
    os.chmod(temporary, 0o666 & ~umask)  # as a file opened for writing would be
    os.replace(temporary, target)


def write_report(
    results: str | os.PathLike[str],
    model: Any,
    output: str | os.PathLike[str],
    rcs_version: str | None = None,
) -> Path:
    """Write the calculation report of `results` (the result XML) and `model` (the input XML it
    was run from, or the ``OpenModel``/``Model`` itself) to `output`: ``.html`` (one
    self-contained page) or ``.pdf`` (the extra ``pdf``). Returns the output path.

    A result file does not name the program that wrote it: give the version of IDEA StatiCa RCS
    that ran as `rcs_version` to have it in the traceability ("not stated" otherwise).

    :raises ValueError: for an output that is neither, a model the results do not belong to,
        a result file without any check.
    :raises OSError: for a file that cannot be read, or an output that cannot be written.
    :raises ImportError: for a PDF without WeasyPrint.
    """
    from marlox import __version__
    from marlox.external.idea_rcs.idea_rcs import OpenModel, _write_report_html

    target = Path(output)
    suffix = target.suffix.lower()
    if suffix not in _SUFFIXES:
        raise ValueError(f"the report must end in .html or .pdf: {output}")
    weasyprint = _weasyprint() if suffix == ".pdf" else None
    if not target.parent.is_dir():
        raise FileNotFoundError(2, "No such directory", str(target.parent))
    results_path = Path(results)
    model_path = None if hasattr(model, "_serialize") else Path(model)
    sources = {
        "result_name": results_path.name,
        "result_sha256": _sha256(results_path),
        "input_name": "a model in memory" if model_path is None else model_path.name,
        "input_sha256": "" if model_path is None else _sha256(model_path),
        "version": __version__,
        "created": datetime.datetime.now(datetime.UTC).strftime("%Y-%m-%d %H:%M UTC"),
        "rcs_version": rcs_version or "",
    }
    source_model = model if model_path is None else OpenModel.from_xml(model_path)
    with _temporary_beside(target, ".html") as page:
        with open(page, "wb") as stream:
            _write_report_html(results_path, source_model, stream, sources)
        if weasyprint is None:
            _publish(page, target)
            return target
        with _temporary_beside(target, ".pdf") as pdf:
            weasyprint.HTML(filename=str(page)).write_pdf(str(pdf))
            _publish(pdf, target)
    return target


def report_html(results: str | os.PathLike[str] | BinaryIO, model: Any, stream: BinaryIO) -> None:
    """Write the HTML page of the report of `results` (a path or a binary stream) to the binary
    `stream` (no traceability of files)."""
    from marlox import __version__
    from marlox.external.idea_rcs.idea_rcs import _write_report_html

    _write_report_html(results, model, stream, {"version": __version__})
