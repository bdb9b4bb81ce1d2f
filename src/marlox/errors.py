"""Errors raised by the Marlox SDK and its integrations.

Every error carries its message as its single argument, so ``str(error)`` is the message.
"""

__all__ = ["MarloxError", "ExecutionError", "ParsingError", "InternalError"]


class MarloxError(Exception):
    """Base class of all errors raised by the SDK."""

    def __init__(self, message: str = "") -> None:
        super().__init__(message)

    @property
    def message(self) -> str:
        """The error's message."""
        return self.args[0] if self.args else ""


class ExecutionError(MarloxError):
    """An external program or job failed in a way the caller can act on."""


class ParsingError(MarloxError):
    """A document could not be read, or something asked of it is not in it."""


class InternalError(MarloxError):
    """The platform or one of its services reported a failure."""
