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
from collections.abc import Callable
from typing import Any

from ..errors import InternalError
from .endpoints import RequestError, register_endpoint

__all__ = ["CONVERSION_PATH", "convert"]

CONVERSION_PATH = "fillidearcstemplate/v3/jobs/"
#: Largest model JSON taken, in bytes once decompressed: a request of a megabyte can expand to
#: gigabytes, so the expansion stops at this bound.
MAX_DOCUMENT = 64 * 1024 * 1024


def _writer() -> Callable[[bytes], bytes]:
    # Looked up at each call, so that a rebuilt or replaced writer is the one used.
    try:
        objects = importlib.import_module("marlox.external.idea_rcs.objects")
        writer: Callable[[bytes], bytes] = objects._write_input_xml
        return writer
    except (ImportError, AttributeError) as error:
        raise InternalError(f"The input XML writer is not available: {error}") from error


def _gunzip(data: bytes, limit: int) -> bytes:
    """The content of the gzip data ``data`` (one member or several, as :func:`gzip.decompress`
    reads), decompressed only up to ``limit`` bytes: more is refused with :class:`RequestError`.
    The standard library's gzip functions have no such bound."""
    content = bytearray()
    rest = data
    while rest:
        inflater = zlib.decompressobj(wbits=31)  # 31: with the gzip header and trailer
        pending = rest
        while pending:
            content += inflater.decompress(pending, limit + 1 - len(content))
            if len(content) > limit:
                raise RequestError(
                    f"The 'input' expands to more than {limit} bytes; at most that is accepted"
                )
            pending = inflater.unconsumed_tail
        if not inflater.eof:
            raise zlib.error("the gzip stream ends before its end marker")
        rest = inflater.unused_data
    return bytes(content)


@register_endpoint(CONVERSION_PATH)
def convert(request: dict[str, Any]) -> dict[str, str]:
    """Answer one conversion request (see the module documentation)."""
    payload = request.get("input")
    if not isinstance(payload, str):
        raise RequestError("The request has no text 'input' (base64 of the gzipped model JSON)")
    try:
        compressed = base64.b64decode(payload, validate=True)
    except (binascii.Error, ValueError) as error:
        raise RequestError(f"The 'input' is not base64 text: {error}") from error
    try:
        document = _gunzip(compressed, MAX_DOCUMENT)
    except zlib.error as error:
        raise RequestError(f"The 'input' is not gzip data: {error}") from error
    try:
        xml = _writer()(document)
    except (ValueError, TypeError, KeyError) as error:
        raise RequestError(f"The model cannot be converted to input XML: {error}") from error
    # The fastest level: the reply is read in the same process or next door, and input XML
    # compresses fifty-fold at any level.
    encoded = base64.b64encode(gzip.compress(xml, compresslevel=1)).decode("ascii")
    return {"input_file": encoded}
