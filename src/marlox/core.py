"""Core of the Marlox SDK: the platform's file object and its endpoint transport."""

from __future__ import annotations

import io
import os
from typing import BinaryIO, TextIO

__all__ = ["File"]


class File:
    """A file handed between the platform, its services and the caller.

    A file holds either its content in memory (:meth:`from_data`) or refers to a file on disk
    (:meth:`from_path`), which is read only when asked for, so large results need not be kept
    in memory.
    """

    __slots__ = ("_data", "_path")

    def __init__(self) -> None:
        self._data: bytes | None = b""
        self._path: str | None = None

    @classmethod
    def from_data(cls, data: bytes | bytearray | memoryview | str, encoding: str = "utf-8") -> File:
        """A file whose content is ``data``; text is stored encoded with ``encoding``."""
        if isinstance(data, str):
            content = data.encode(encoding)
        elif isinstance(data, (bytes, bytearray, memoryview)):
            content = bytes(data)
        else:
            raise TypeError(f"File.from_data() takes bytes or str, not {type(data).__name__}")
        file = cls()
        file._data = content
        return file

    @classmethod
    def from_path(cls, path: str | os.PathLike[str]) -> File:
        """A file that reads its content from ``path`` whenever it is asked for."""
        path = os.fspath(path)
        if not os.path.isfile(path):
            raise FileNotFoundError(f"No such file: '{path}'")
        file = cls()
        file._data = None
        file._path = path
        return file

    def getvalue_binary(self) -> bytes:
        """The whole content as bytes."""
        if self._data is not None:
            return self._data
        with open(self._path, "rb") as stream:  # type: ignore[arg-type]
            return stream.read()

    def getvalue(self, encoding: str = "utf-8") -> str:
        """The whole content decoded as text."""
        return self.getvalue_binary().decode(encoding)

    def open_binary(self) -> BinaryIO:
        """A new binary stream over the content, positioned at its start."""
        if self._data is not None:
            return io.BytesIO(self._data)
        return open(self._path, "rb")  # type: ignore[arg-type]  # noqa: SIM115

    def open(self, encoding: str = "utf-8") -> TextIO:
        """A new text stream over the content, positioned at its start."""
        return io.TextIOWrapper(self.open_binary(), encoding=encoding)

    def __repr__(self) -> str:
        if self._path is not None:
            return f"File(path={self._path!r})"
        return f"File(<{len(self._data or b'')} bytes>)"
