"""Marlox application SDK: platform access, errors and external-program integrations."""

__version__ = "0.1.0"
