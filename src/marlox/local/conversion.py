"""The conversion service: a serialised model in, IDEA StatiCa RCS input XML out.

Endpoint "fillidearcstemplate/v3/jobs/". Request ``{"input": base64(gzip(UTF-8 JSON))}``, the
JSON text being the serialised model; reply ``{"input_file": base64(gzip(XML))}``. The XML is
written by the compiled writer of :mod:`marlox.external.idea_rcs.objects`.
"""

from __future__ import annotations

import base64
import binascii
import gzip
import importlib
import zlib
from typing import Any

from ..errors import InternalError
from .endpoints import RequestError, register_endpoint

__all__ = ["CONVERSION_PATH", "convert"]

CONVERSION_PATH = "fillidearcstemplate/v3/jobs/"


def _writer():
    # Looked up at each call, so that a rebuilt or replaced writer is the one used.
    try:
        objects = importlib.import_module("marlox.external.idea_rcs.objects")
        return objects._write_input_xml
    except (ImportError, AttributeError) as error:
        raise InternalError(f"The input XML writer is not available: {error}") from error


@register_endpoint(CONVERSION_PATH)
def convert(request: dict[str, Any]) -> dict[str, str]:
    """Answer one conversion request (see the module documentation)."""
    payload = request.get("input")
    if not isinstance(payload, str):
        raise RequestError("The request has no text 'input' (base64 of the gzipped model JSON)")
    try:
        document = gzip.decompress(base64.b64decode(payload, validate=True))
    except (binascii.Error, ValueError) as error:
        raise RequestError(f"The 'input' is not base64 text: {error}") from error
    except (OSError, EOFError, zlib.error) as error:
        raise RequestError(f"The 'input' is not gzip data: {error}") from error
    try:
        xml = _writer()(document)
    except (ValueError, TypeError, KeyError) as error:
        raise RequestError(f"The model cannot be converted to input XML: {error}") from error
    # The fastest level: the reply is read in the same process or next door, and input XML
    # compresses fifty-fold at any level.
    encoded = base64.b64encode(gzip.compress(xml, compresslevel=1)).decode("ascii")
    return {"input_file": encoded}
