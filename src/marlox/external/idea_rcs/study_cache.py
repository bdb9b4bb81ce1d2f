"""The result cache of studies: the result fields of finished analysis jobs, in a folder the user
names, keyed by a hash of the input XML and the job's options.

An entry is a zip archive of the job's result fields (one member per field, compressed: result
XML shrinks tenfold). It is written under a temporary name in the cache folder and renamed into
place once complete, so that a reader (another study, another process) finds either no entry or
a whole one; two studies that compute the same entry at once both write a whole one and the last
rename wins. An entry that cannot be read (a disk error, a damaged file) counts as missing and
is computed again. Failed jobs are not cached: a failure may be the licence's or the machine's,
not the model's.
"""

from __future__ import annotations

import hashlib
import json
import logging
import os
import tempfile
import zipfile
from pathlib import Path
from typing import Any

__all__ = ["ResultCache", "writable_folder"]

log = logging.getLogger("marlox.study")

#: Bumped when the meaning of a key or the layout of an entry changes.
FORMAT = 1


def writable_folder(folder: str | os.PathLike[str], what: str) -> Path:
    """``folder`` as a path, created if need be and tried with a file written and removed.

    :raises ValueError: naming the ``what`` folder, if it cannot be created or written.
    """
    path = Path(folder)
    try:
        path.mkdir(parents=True, exist_ok=True)
        with tempfile.NamedTemporaryFile(dir=path, prefix=".probe-"):
            pass
    except OSError as error:
        reason = error.strerror or str(error)
        raise ValueError(f"The {what} folder '{path}' cannot be written: {reason}") from error
    return path


class ResultCache:
    """The result cache in ``folder`` (created if need be).

    :raises ValueError: if the folder cannot be created or written.
    """

    def __init__(self, folder: str | os.PathLike[str]) -> None:
        self.folder = writable_folder(folder, "cache")

    @staticmethod
    def key(input_xml: bytes, options: dict[str, Any]) -> str:
        """The key of a job: the SHA-256 of the cache format, its options and its input XML."""
        digest = hashlib.sha256()
        digest.update(json.dumps([FORMAT, options], sort_keys=True).encode())
        digest.update(b"\0")
        digest.update(input_xml)
        return digest.hexdigest()

    def _path(self, key: str) -> Path:
        return self.folder / key[:2] / f"{key}.zip"

    def get(self, key: str) -> dict[str, bytes] | None:
        """The result fields stored under ``key``, or None."""
        path = self._path(key)
        try:
            with zipfile.ZipFile(path) as archive:
                return {name: archive.read(name) for name in archive.namelist()}
        except FileNotFoundError:
            return None
        except (OSError, zipfile.BadZipFile, ValueError) as error:
            log.warning("cache entry %s cannot be read, it is computed again: %s", path, error)
            return None

    def put(self, key: str, fields: dict[str, bytes]) -> None:
        """Store ``fields`` under ``key``: whole or not at all. A failure is logged, not
        raised: the results themselves are not lost with the cache entry."""
        path = self._path(key)
        temporary = None
        try:
            path.parent.mkdir(exist_ok=True)
            handle, temporary = tempfile.mkstemp(dir=path.parent, prefix=".entry-")
            with os.fdopen(handle, "wb") as file:
                with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as archive:
                    for name, data in fields.items():
                        archive.writestr(name, data)
                file.flush()
                os.fsync(file.fileno())
            os.replace(temporary, path)
            temporary = None
        except OSError as error:
            log.warning("cache entry %s was not written: %s", path, error)
        finally:
            if temporary is not None:
                try:
                    os.unlink(temporary)
                except OSError:
                    pass
