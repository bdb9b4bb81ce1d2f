"""IDEA StatiCa RCS integration: models, input XML, analysis jobs and result parsing.

The classes are implemented in the compiled module :mod:`marlox.external.idea_rcs.idea_rcs`;
the OpenModel object types, enumerations and material tables in
:mod:`marlox.external.idea_rcs.objects`; studies of many models (:func:`run_study`) and the
check tables of many result files (:func:`check_tables`) in Python modules beside them.
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
from .study import StudyInterrupted, StudyResult, Variant, VariantOutcome, run_study
from .study_tables import CheckTables, check_tables

__all__ = [
    "Beam",
    "BoxSection",
    "CheckTable",
    "CheckTables",
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
    "StudyInterrupted",
    "StudyResult",
    "Variant",
    "VariantOutcome",
    "TSection",
    "TrapezoidSection",
    "check_table",
    "check_tables",
    "objects",
    "run_study",
]
