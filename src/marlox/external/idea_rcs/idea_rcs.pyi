"""Build IDEA StatiCa RCS models, run analyses and read their results."""

import io

import marlox.core
import marlox.external.external_program


class IdeaRcsAnalysis(marlox.external.external_program.ExternalProgram):
    """
    Analysis of an IDEA StatiCa RCS input file, run as a job on a worker of the integration
    "idearcs".

    Start it with the inherited ``execute(timeout=...)``; afterwards ``get_output_file()``
    returns the result XML and ``get_idea_rcs_file()`` the .ideaRcs project file, if it was
    asked for.
    """

    def __init__(self, input_file: io.BytesIO | marlox.core.File, *, return_result_xml: bool | None = None, return_rcs_file: bool | None = None) -> None:
        """
        Prepare the analysis of ``input_file`` (the IDEA StatiCa RCS input XML, e.g. from
        ``generate_xml_input()``), stored as given and read when the job is sent.

        The result XML is always returned: ``return_result_xml`` defaults to on, and a false
        value also means on. The .ideaRcs project file is returned when ``return_rcs_file`` is
        true; it defaults to off.
        """

    def get_output_file(self, *, as_file: bool = False) -> io.BytesIO | marlox.core.File:
        """
        The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. ``execute`` must have been called first.
        """

    def get_idea_rcs_file(self, *, as_file: bool = False) -> io.BytesIO | marlox.core.File:
        """
        The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.
        """
