"""The local platform's add-on endpoints: a registry of services keyed by relative path."""

from __future__ import annotations

import json
from collections.abc import Callable, Mapping
from typing import Any

from ..errors import InternalError

__all__ = ["register_endpoint", "call_endpoint", "endpoint_paths", "RequestError"]

Service = Callable[[dict[str, Any]], dict[str, Any]]

_ENDPOINTS: dict[str, Service] = {}


class RequestError(InternalError):
    """A request that the endpoint cannot take (malformed body): the caller's fault, answered
    400 over HTTP. Other failures of a service are answered 500."""


def _key(path: str) -> str:
    # "a/b/" and "/a/b" name the same endpoint.
    return path.strip("/")


def register_endpoint(path: str) -> Callable[[Service], Service]:
    """Decorator: serve ``function(body) -> reply`` at the add-on endpoint ``path``."""

    def register(function: Service) -> Service:
        _ENDPOINTS[_key(path)] = function
        return function

    return register


def endpoint_paths() -> list[str]:
    """The paths of the registered endpoints, sorted."""
    return sorted(_ENDPOINTS)


def call_endpoint(path: str, body: Mapping[str, Any]) -> dict[str, Any]:
    """Answer a request to the add-on endpoint ``path`` as the platform would over HTTP.

    The body and the reply pass through JSON, so what works here works over the wire too.
    A missing endpoint, a body that is not a JSON object or a failing service raises
    :class:`InternalError` with the service's own message (any other exception of the service
    is chained as the cause).
    """
    service = _ENDPOINTS.get(_key(path))
    if service is None:
        raise InternalError(f"There is no endpoint '{path}'")
    try:
        request = json.loads(json.dumps(body))
    except (TypeError, ValueError, RecursionError) as error:
        raise RequestError(f"The request is not JSON: {error}") from error
    if not isinstance(request, dict):
        raise RequestError("The request body must be a JSON object")
    try:
        reply: dict[str, Any] = json.loads(json.dumps(service(request)))
        return reply
    except InternalError:
        raise
    except Exception as error:
        raise InternalError(f"The service failed: {type(error).__name__}: {error}") from error
