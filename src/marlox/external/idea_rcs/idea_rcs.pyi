"""Build IDEA StatiCa RCS models, run analyses and read their results."""

from collections.abc import Iterator
import io
from typing import Any, BinaryIO
import xml.etree.ElementTree


class RcsOutputFileParser:
    """
    Parser to extract results from an IDEA-RCS output file (.xml).

    The following results can be read per check section (see SectionResult):

    - capacity
    - shear
    - torsion
    - interaction
    - crack width
    - detailing
    - stress limitation
    - fatigue

    Example using a File, opened as a binary stream:

    .. code-block:: python

        output_file = analysis.get_output_file(as_file=True)
        with output_file.open_binary() as f:
            parser = RcsOutputFileParser(f)
            for section in parser.section_results():
                capacity = section.capacity()

    Example using the BytesIO that get_output_file() returns:

    .. code-block:: python

        output_file = analysis.get_output_file()
        parser = RcsOutputFileParser(output_file)
        section = parser.section_result(1)
        shear = section.shear()
    """

    def __init__(self, xml_file: BinaryIO) -> None: ...

    class SectionResult:
        """Parsed result section, on which specific results can be retrieved."""

        def __init__(self, id_: int, element: xml.etree.ElementTree.Element) -> None: ...

        @property
        def id_(self) -> int:
            """The id of the check section."""

        def capacity(self) -> list[dict[str, Any] | None]:
            """Get the capacity results of all extremes for the current section."""

        def shear(self) -> list[dict[str, Any] | None]:
            """Get the shear resistances for all extremes for the current section."""

        def torsion(self) -> list[dict[str, Any] | None]:
            """Get the torsion results for all extremes for the current section."""

        def interaction(self) -> list[dict[str, Any] | None]:
            """Get the interaction results for all extremes for the current section."""

        def crack_width(self) -> list[dict[str, dict[str, Any] | None] | None]:
            """Get the crack width results of all extremes for the current section."""

        def detailing(self) -> list[dict[str, Any] | None]:
            """Get the detailing results of all extremes for the current section."""

        def stress_limitation(self) -> list[dict[str, Any] | None]:
            """
            Get the stress limitation results of all extremes for the current section.
            """

        def fatigue(self) -> list[dict[str, dict[str, Any]] | None]:
            """Get the fatigue results of all extremes for the current section."""

        def extremes(self) -> list[dict[str, Any]]:
            """Get all results combined per extreme for the current section."""

    def section_results(self) -> Iterator[RcsOutputFileParser.SectionResult]:
        """Iterates through all section results."""

    def section_result(self, id_: int) -> RcsOutputFileParser.SectionResult:
        """
        Get the result of the check section with the given id.

        :raises ParsingError: if no section has that id.
        """

class OutputFileParser:
    """
    Parser to extract results from an IDEA-RCS output file (.xml), read as a whole.

    The complete document is parsed into an element tree when the parser is made, and every query
    is answered from memory. For very large result files use RcsOutputFileParser instead, which
    streams through the document one check section at a time.
    """

    def __init__(self, xml_file: io.StringIO | io.BytesIO) -> None: ...

    @property
    def section_ids(self, /) -> list[int]:
        """The ids of all check sections in the result file, in document order."""

    def raw_results(self) -> dict[str, Any]:
        """The whole result file as nested dicts (see _element_to_dict)."""

    def capacity_results(self, section_id: int) -> list[dict[str, Any] | None]:
        """
        Get the capacity results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def shear_results(self, section_id: int) -> list[dict[str, Any] | None]:
        """
        Get the shear results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def crack_width_results(self, section_id: int) -> list[dict[str, dict[str, Any] | None] | None]:
        """
        Get the crack width results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def detailing_results(self, section_id: int) -> list[dict[str, float | None] | None]:
        """
        Get the detailing results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def stress_limitation_results(self, section_id: int) -> list[dict[str, float | None] | None]:
        """
        Get the stress limitation results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def fatigue_results(self, section_id: int) -> list[dict | None]:
        """
        Get the fatigue results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """
