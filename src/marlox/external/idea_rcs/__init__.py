"""IDEA StatiCa RCS integration: models, input XML, analysis jobs and result parsing.

The classes are implemented in the compiled module :mod:`marlox.external.idea_rcs.idea_rcs`;
the OpenModel object types, enumerations and material tables in
:mod:`marlox.external.idea_rcs.objects`.
"""

from . import objects
from .idea_rcs import (
    Beam,
    BoxSection,
    CheckTable,
    CircleSection,
    CompressionMember,
    Finding,
    GeneralShape,
    HollowCircleSection,
    IdeaRcsAnalysis,
    InvertedTSection,
    ISection,
    LSection,
    Member,
    Model,
    ModelError,
    OneWaySlab,
    OpenModel,
    OutputFileParser,
    RcsOutputFileParser,
    RectSection,
    ResultTable,
    SectionPrototype1D,
    Severity,
    TrapezoidSection,
    TSection,
    check_table,
)

__all__ = [
    "Beam",
    "BoxSection",
    "CheckTable",
    "CircleSection",
    "CompressionMember",
    "Finding",
    "GeneralShape",
    "HollowCircleSection",
    "InvertedTSection",
    "ISection",
    "LSection",
    "IdeaRcsAnalysis",
    "Member",
    "Model",
    "ModelError",
    "OneWaySlab",
    "OpenModel",
    "OutputFileParser",
    "RcsOutputFileParser",
    "RectSection",
    "ResultTable",
    "SectionPrototype1D",
    "Severity",
    "TSection",
    "TrapezoidSection",
    "check_table",
    "objects",
]
