"""The failures of ``marlox-rcs`` that are the user's: reported in one line, exit status 2.

A command raises :class:`UserError` itself for a bad argument, and reads and writes the user's
files inside :func:`reading` and :func:`writing`, which turn the documented failures of the
readers and of the file system into it. Any other exception is a fault of the program and keeps
its traceback.
"""

from __future__ import annotations

import contextlib
from collections.abc import Iterator
from xml.etree.ElementTree import ParseError

from marlox.errors import MarloxError


class UserError(Exception):
    """A fault of the user's input, arguments or files: reported in one line, exit status 2."""


@contextlib.contextmanager
def reading(path: str) -> Iterator[None]:
    """Turn the failures of reading the user's document ``path`` into :class:`UserError`.

    The readers raise ``ParseError`` for a document that is not XML, ``ValueError`` for content
    they cannot use (a value that is not a number, an element the model cannot hold, an
    unknown family), ``ParsingError`` for a section the file lacks and ``LookupError`` for a
    declared encoding the interpreter does not know.
    """
    try:
        yield
    except ParseError as error:
        raise UserError(f"{path}: not a readable XML document: {error}") from error
    except OSError as error:
        raise UserError(_os_message(error, path)) from error
    except (MarloxError, ValueError) as error:
        raise UserError(f"{path}: {error}") from error
    except LookupError as error:
        if type(error) is not LookupError:  # KeyError, IndexError: not the document's fault
            raise
        raise UserError(f"{path}: {error}") from error


@contextlib.contextmanager
def writing(path: str) -> Iterator[None]:
    """Turn the failures of writing ``path`` (a full disk, a missing permission) into
    :class:`UserError`."""
    try:
        yield
    except OSError as error:
        raise UserError(_os_message(error, path)) from error


def _os_message(error: OSError, path: str) -> str:
    return f"{error.strerror or error}: {error.filename or path}"
