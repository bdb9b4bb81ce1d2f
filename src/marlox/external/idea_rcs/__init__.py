"""IDEA StatiCa RCS integration: models, input XML, analysis jobs and result parsing."""

from . import objects
from .idea_rcs import *  # noqa: F403
from .idea_rcs import OutputFileParser, RcsOutputFileParser

__all__ = ["objects", "OutputFileParser", "RcsOutputFileParser"]
