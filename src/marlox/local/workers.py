"""Workers built into the local platform."""

from __future__ import annotations

import os
from typing import Any

from .jobs import WorkerFailure, _builtin_worker

#: Base URL of a running IDEA StatiCa RCS REST service.
IDEA_RCS_URL_VARIABLE = "MARLOX_IDEA_RCS_URL"
#: Path of the IDEA StatiCa RCS REST service executable, started on demand.
IDEA_RCS_EXE_VARIABLE = "MARLOX_IDEA_RCS_EXE"


@_builtin_worker("idearcs")
def idearcs(content: dict[str, Any], version: int) -> dict[str, bytes]:
    """Run IDEA StatiCa RCS on the job's input XML.

    Needs an IDEA StatiCa RCS REST service: ``MARLOX_IDEA_RCS_URL`` or ``MARLOX_IDEA_RCS_EXE``.
    """
    if not (os.environ.get(IDEA_RCS_URL_VARIABLE) or os.environ.get(IDEA_RCS_EXE_VARIABLE)):
        raise WorkerFailure("Marlox Idea link not found")
    raise WorkerFailure("Running IDEA StatiCa RCS through its REST service is not supported yet")
