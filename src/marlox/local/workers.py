"""Workers built into the local platform."""

from __future__ import annotations

from typing import Any

from . import idea_rcs_worker
from .jobs import _builtin_worker

#: Base URL of a running IDEA StatiCa RCS REST service.
IDEA_RCS_URL_VARIABLE = idea_rcs_worker.URL_VARIABLE
#: Path of the IDEA StatiCa RCS REST service executable, started on demand.
IDEA_RCS_EXE_VARIABLE = idea_rcs_worker.EXE_VARIABLE


@_builtin_worker("idearcs")
def idearcs(content: dict[str, Any], version: int) -> dict[str, bytes]:
    """Run IDEA StatiCa RCS on the job's input XML and return the result XML ("body") and, when
    asked, the .ideaRcs project ("idea_rcs_body").

    Needs an IDEA StatiCa RCS REST service: ``MARLOX_IDEA_RCS_URL`` or ``MARLOX_IDEA_RCS_EXE``
    (see :mod:`marlox.local.idea_rcs_worker`).
    """
    return idea_rcs_worker.run(content, version, idea_rcs_worker.Settings.from_environment())
