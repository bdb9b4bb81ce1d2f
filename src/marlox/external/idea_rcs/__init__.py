"""IDEA StatiCa RCS integration: models, input XML, analysis jobs and result parsing."""

from . import objects
from .idea_rcs import *  # noqa: F403

__all__ = ["objects"]
