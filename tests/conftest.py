"""Fixtures shared by the test files: a clean platform environment for every test, and workers
registered for one test only."""

from __future__ import annotations

from collections.abc import Callable, Iterator

import pytest

PLATFORM_VARIABLES = (
    "MARLOX_PLATFORM_URL",
    "MARLOX_PLATFORM_TOKEN",
    "MARLOX_IDEA_RCS_URL",
    "MARLOX_IDEA_RCS_EXE",
)


@pytest.fixture(autouse=True)
def clean_environment(monkeypatch):
    """No platform and no IDEA StatiCa RCS service unless a test configures one."""
    for name in PLATFORM_VARIABLES:
        monkeypatch.delenv(name, raising=False)


@pytest.fixture
def register_worker() -> Iterator[Callable]:
    """``register_worker(integration, function)`` registers a worker of the embedded platform
    (returning the function, so that it also serves as a decorator's result); every worker
    registered so is unregistered when the test ends."""
    from marlox import local

    registered: list[str] = []

    def register(integration: str, function: Callable) -> Callable:
        local.register_worker(integration, function)
        registered.append(integration)
        return function

    yield register
    for integration in reversed(registered):
        local.unregister_worker(integration)
