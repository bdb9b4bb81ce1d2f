"""Marlox application SDK: platform access, errors and external-program integrations."""

__version__ = "0.1.0"

import logging as _logging

# Library use prints nothing unasked: the application configures logging (the examples and the
# local platform's server do).
_logging.getLogger("marlox").addHandler(_logging.NullHandler())
