"""Core of the Marlox SDK: the platform's file object and its endpoint transport."""

from __future__ import annotations

import http.client
import io
import json
import os
import urllib.error
import urllib.request
from collections.abc import Mapping
from typing import Any, BinaryIO, TextIO

from .errors import InternalError

__all__ = ["File"]

#: Environment variable with the platform's base URL, e.g. ``https://platform.example:8443``.
PLATFORM_URL_VARIABLE = "MARLOX_PLATFORM_URL"
#: Environment variable with the bearer token that the platform expects.
PLATFORM_TOKEN_VARIABLE = "MARLOX_PLATFORM_TOKEN"


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


def _platform() -> tuple[str, str] | None:
    """The configured platform as (base URL without trailing slash, token), or None."""
    url = os.environ.get(PLATFORM_URL_VARIABLE, "").strip()
    if not url:
        return None
    return url.rstrip("/"), os.environ.get(PLATFORM_TOKEN_VARIABLE, "").strip()


def _platform_message(raw: bytes) -> str:
    """The platform's own account of a failure: its JSON "error" text, else its reply text."""
    text = raw.decode("utf-8", "replace").strip()
    try:
        reply = json.loads(text)
    except ValueError:
        reply = None
    if isinstance(reply, dict) and isinstance(reply.get("error"), str):
        return reply["error"]
    if len(text) > 500:
        text = text[:500] + "..."
    return text or "(empty reply)"


def _platform_request(
    method: str, route: str, body: Mapping[str, Any] | None, timeout: float, what: str
) -> Any:
    """Send one JSON request to the configured platform and return its decoded JSON reply.

    ``route`` is relative to the platform's base URL; ``what`` names the endpoint in errors.
    Every failure (status, transport, reply that is not JSON) is an :class:`InternalError`.
    """
    platform = _platform()
    if platform is None:
        raise InternalError(f"Platform endpoint '{what}' failed: no platform is configured")
    base, token = platform
    headers = {"Accept": "application/json"}
    if token:
        headers["Authorization"] = f"Bearer {token}"
    data = None
    if body is not None:
        try:
            data = json.dumps(body).encode("utf-8")
        except (TypeError, ValueError) as error:
            raise InternalError(
                f"Platform endpoint '{what}' failed: the request is not JSON: {error}"
            ) from error
        headers["Content-Type"] = "application/json"
    request = urllib.request.Request(f"{base}/{route}", data=data, headers=headers, method=method)
    try:
        with urllib.request.urlopen(request, timeout=timeout) as response:
            raw = response.read()
    except urllib.error.HTTPError as error:
        try:
            raw = error.read()
        except (OSError, http.client.HTTPException):
            raw = b""
        finally:
            error.close()
        raise InternalError(
            f"Platform endpoint '{what}' failed with HTTP {error.code}: {_platform_message(raw)}"
        ) from error
    except (OSError, http.client.HTTPException) as error:
        reason = getattr(error, "reason", None) or str(error) or type(error).__name__
        raise InternalError(
            f"Platform endpoint '{what}' failed: no answer from {base}: {reason}"
        ) from error
    try:
        return json.loads(raw)
    except ValueError as error:
        raise InternalError(
            f"Platform endpoint '{what}' failed: the reply is not JSON: {_platform_message(raw)}"
        ) from error


def _post_on_addon_endpoint(path: str, data: Mapping[str, Any], timeout: float = 60) -> Any:
    """Post the JSON body ``data`` to the platform's add-on endpoint ``path`` and return its reply.

    With a platform configured (``MARLOX_PLATFORM_URL``, ``MARLOX_PLATFORM_TOKEN``) the body goes
    to ``<url>/addon/<path>`` with the token as bearer; without one, the embedded local platform
    (:mod:`marlox.local`) answers in-process. Any failure raises :class:`InternalError` naming
    the endpoint and the platform's own message.
    """
    path = path.lstrip("/")
    if _platform() is not None:
        return _platform_request("POST", f"addon/{path}", data, timeout, path)
    from . import local

    try:
        return local.call_endpoint(path, data)
    except InternalError as error:
        raise InternalError(f"Platform endpoint '{path}' failed: {error}") from error
