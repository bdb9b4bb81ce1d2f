"""The "idearcs" worker: one job of IDEA StatiCa RCS through its REST service.

For one job the worker

1. decodes the job's ``body`` (base64 of the RCS input XML);
2. reaches the service (:mod:`marlox.local.idea_rcs_service`: the running one at
   ``MARLOX_IDEA_RCS_URL``, or the executable at ``MARLOX_IDEA_RCS_EXE`` started for the job);
3. imports the input, calculates every section and fetches the section results, a batch of the
   sections that the calculation reports at a time (:mod:`marlox.local.idea_rcs_client`);
4. writes them as the result XML (:mod:`marlox.local.rcs_result_xml`) into the result field
   "body", and with ``return_rcs_file`` (job version 2) downloads the project into
   "idea_rcs_body";
5. closes the project whenever it was opened.

It reports each stage as the job's progress (connecting, importing, calculating, fetching the
results of sections k to m of n, writing, downloading); a job asked to stop stops there, and the
project is closed as in any failure.

Failures carry the texts that the analysis job knows: "Marlox Idea link not found" (no service
configured, reachable or startable), "Missing input" (an empty or undecodable body), "Failed
creating model" (the import failed), "Failed calculation" (calculating or fetching the results
failed). Any other failure keeps its own text. The reason behind each is logged.
"""

from __future__ import annotations

import base64
import binascii
import logging
from collections.abc import Mapping
from typing import Any

from .idea_rcs_client import RcsService, ServiceError
from .idea_rcs_service import ServiceUnavailable, Settings, connect
from .rcs_result_xml import ResultFormatError, ResultXml
from .workers import WorkerFailure, progress

__all__ = [
    "idearcs",
    "run",
    "LINK_NOT_FOUND",
    "MISSING_INPUT",
    "FAILED_CREATING_MODEL",
    "FAILED_CALCULATION",
]

log = logging.getLogger("marlox.local.idea_rcs")

LINK_NOT_FOUND = "Marlox Idea link not found"
MISSING_INPUT = "Missing input"
FAILED_CREATING_MODEL = "Failed creating model"
FAILED_CALCULATION = "Failed calculation"

#: Sections whose results are fetched with one call, so that only their JSON is held at a time.
RESULTS_BATCH = 50


def _input_xml(content: Mapping[str, Any]) -> bytes:
    body = content.get("body")
    if not isinstance(body, str) or not body.strip():
        raise WorkerFailure(MISSING_INPUT)
    try:
        data = base64.b64decode(body, validate=True)
    except (binascii.Error, ValueError):
        raise WorkerFailure(MISSING_INPUT) from None
    if not data.strip():
        raise WorkerFailure(MISSING_INPUT)
    return data


def run(content: Mapping[str, Any], version: int, settings: Settings) -> dict[str, bytes]:
    """Run one job of the integration "idearcs" on the service that ``settings`` name."""
    try:
        if not (settings.url or settings.exe):
            raise ServiceUnavailable("no RCS service is configured")
        input_xml = _input_xml(content)
        want_xml = content.get("return_result_xml", True) is not False
        want_rcs_file = version >= 2 and bool(content.get("return_rcs_file"))
        progress("connecting to the RCS service")
        with connect(settings) as service:
            return _project(service, input_xml, want_xml, want_rcs_file)
    except ServiceUnavailable as error:
        log.warning("%s", error)
        raise WorkerFailure(LINK_NOT_FOUND) from None


def _project(
    service: RcsService, input_xml: bytes, want_xml: bool, want_rcs_file: bool
) -> dict[str, bytes]:
    """Import the input as a project, calculate it and close it, whatever happens."""
    progress("importing the input into RCS")
    try:
        project_id = service.import_iom(input_xml)
    except ServiceError as error:
        log.warning("RCS did not import the input: %s", error)
        raise WorkerFailure(FAILED_CREATING_MODEL) from None
    log.info("RCS opened the project %s", project_id)
    try:
        return _calculate(service, project_id, want_xml, want_rcs_file)
    finally:
        try:
            service.close(project_id)
        except ServiceError as error:
            log.warning("RCS did not close the project %s: %s", project_id, error)


def _section_batches(overview: Any) -> list[list[int]]:
    """The section ids of the ``calculate`` reply in batches of :data:`RESULTS_BATCH`, to fetch
    the results a batch at a time; one batch of all sections (``[]``) when the reply does not
    list them plainly."""
    items = overview if isinstance(overview, list) else []
    found = [item.get("sectionId") if isinstance(item, dict) else None for item in items]
    ids = [id_ for id_ in found if isinstance(id_, int) and not isinstance(id_, bool)]
    if not ids or len(ids) != len(found):
        return [[]]
    ids = list(dict.fromkeys(ids))  # each section once
    return [ids[start : start + RESULTS_BATCH] for start in range(0, len(ids), RESULTS_BATCH)]


def _calculate(
    service: RcsService, project_id: str, want_xml: bool, want_rcs_file: bool
) -> dict[str, bytes]:
    document = ResultXml()
    try:
        progress("calculating every section in RCS")
        overview = service.calculate(project_id)
        batches = _section_batches(overview) if want_xml else []
        count = sum(len(batch) for batch in batches)
        done = 0
        for batch in batches:
            if batch:
                last = done + len(batch)
                progress(f"fetching the results of sections {done + 1}-{last} of {count}")
            else:
                progress("fetching the results of every section")
            document.add(service.results(project_id, batch))
            done += len(batch)
    except ServiceError as error:
        log.warning("RCS did not calculate the project %s: %s", project_id, error)
        raise WorkerFailure(FAILED_CALCULATION) from None
    except ResultFormatError as error:
        raise WorkerFailure(f"The RCS results cannot be written as result XML: {error}") from None
    fields: dict[str, bytes] = {}
    if want_xml:
        progress("writing the result XML")
        fields["body"] = document.finish()
    if want_rcs_file:
        progress("downloading the RCS project")
        try:
            fields["idea_rcs_body"] = service.download(project_id)
        except ServiceError as error:
            raise WorkerFailure(f"The .ideaRcs project cannot be downloaded: {error}") from None
    return fields


def idearcs(content: dict[str, Any], version: int) -> dict[str, bytes]:
    """The worker of the integration "idearcs": runs IDEA StatiCa RCS on the job's input XML
    and returns the result XML ("body") and, when asked, the .ideaRcs project
    ("idea_rcs_body"), on the service that the environment names.
    """
    try:
        settings = Settings.from_environment()
    except ValueError as error:
        raise WorkerFailure(str(error)) from None
    return run(content, version, settings)
