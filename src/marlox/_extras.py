"""Optional dependencies: imported when a feature first needs one, with the extra that brings it.

The compiled modules word the same message in ``cpp/bindings/translate.cpp``
(``raise_missing_extra``): "<what> needs <module>: pip install 'marlox[<extra>]'".
"""

from __future__ import annotations

import importlib
from types import ModuleType


class MissingExtra(ImportError):
    """An optional dependency is not installed; the message names the extra to install."""


def require(module: str, *, extra: str, what: str) -> ModuleType:
    """Import ``module`` (dotted names too), or raise :class:`MissingExtra` naming ``extra``.

    ``what`` says what needs it, as the start of a sentence: "drawing a section".
    """
    try:
        return importlib.import_module(module)
    except ImportError as error:
        package = module.partition(".")[0]
        raise MissingExtra(f"{what} needs {package}: pip install 'marlox[{extra}]'") from error
