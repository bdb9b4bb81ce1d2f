"""Reference readers of the RCS result XML, written plainly on top of ElementTree.

These two classes state the behaviour of the native result parsers in the most literal Python
there is: ElementTree's ``iterparse`` and ``fromstring``, its ElementPath expressions,
``float()``/``int()`` on leaf texts, plain dicts built in key order. They are not part of the
package; the differential tests compare every observable of ``RcsOutputFileParser`` and
``OutputFileParser`` (results, key orders, exception types and messages, stream positions) with
what these give for the same document, and the benchmarks use them as the ElementTree baseline.

Keep them naive. Every missing element is read without a guard so that the interpreter's own
``AttributeError``/``TypeError``/``ValueError`` (and their messages) are the reference.
"""

import math
import xml.etree.ElementTree as ET
from collections.abc import Iterator
from typing import Any, BinaryIO

from marlox.errors import ParsingError

CAPACITY = './/*[ResultType="Capacity"]/CheckResults/ConcreteCheckResultBase'
SHEAR = './/*[ResultType="Shear"]/CheckResults/ConcreteCheckResultBase'
TORSION = './/*[ResultType="Torsion"]/CheckResults/ConcreteCheckResultBase'
INTERACTION = './/*[ResultType="Interaction"]/CheckResults/ConcreteCheckResultBase'
CRACK_WIDTH = './/*[ResultType="CrackWidth"]/CheckResults'
DETAILING = './/*[ResultType="Detailing"]/CheckResults/ConcreteCheckResultBase'
STRESS_LIMITATION = './/*[ResultType="StressLimitation"]/CheckResults'
FATIGUE = './/*[ResultType="Fatigue"]/CheckResults'

SHEAR_KEYS = ("Ved", "Vrd", "Vrdc", "Vrdmax", "Vrdr", "Vrds", "CheckValue")
TORSION_KEYS = ("Ted", "Trdc", "Trdmax", "Trds", "Trd", "CheckValue")
INTERACTION_KEYS = ("Ned", "Medy", "Medz", "Ved", "Ted", "CheckValue", "CheckValueShearAndTorsion")
INTERACTION_KEYS += ("CheckValueShearTorsionAndBending",)
CRACK_WIDTH_KEYS = ("N", "My", "Mz", "W", "Wlim", "CheckValue")
STRESS_CHECKS = tuple(
    "Check_7_2_2_Concrete_fck Check_7_2_3_Concrete_fck Check_7_2_5_Tendons_fpk "
    "Check_7_2_5_ReinforcementBars_fyk Check_5_10_3_2_Tendons Check_5_10_2_1_1_Tendons".split()
)
FAMILIES = tuple(
    "capacity shear torsion interaction crack_width detailing stress_limitation fatigue".split()
)
INTERNAL_FORCES_KEYS = ("N", "Qy", "Qz", "Mx", "My", "Mz")

STRESS_SHORT = 'ConcreteCheckResultBase[Check="StressLimitationShort"]'
STRESS_LONG = 'ConcreteCheckResultBase[Check="StressLimitationLong"]'

NOT_AVAILABLE = "section with id '{}' is not available in the result file."


class OracleStreamParser:
    """Streaming reader: one ``SectionResult`` per "SectionConcreteCheckResult" element."""

    class SectionResult:
        def __init__(self, id_: int, element: ET.Element) -> None:
            self._id = id_
            self._element = element

        @property
        def id_(self) -> int:
            return self._id

        def _iter_extreme_results(self) -> Iterator[ET.Element]:
            extreme_results = self._element.find("ExtremeResults")
            if extreme_results is not None:
                yield from extreme_results

        def _fixed_keys(self, path: str, keys: tuple) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                element = extreme.find(path)
                entry = None
                if element is not None and len(element) > 0:
                    entry = {}
                    for key in keys:
                        entry[key] = float(element.find(key).text)
                    entry["Result"] = element.find("Result").text
                results.append(entry)
            return results

        def capacity(self) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                element = extreme.find(CAPACITY)
                entry = None
                if element is not None and len(element) > 0:
                    entry = {}
                    for name in ("Fu", "Fu1", "Fu2"):
                        forces = {}
                        for child in element.find(name):
                            forces[child.tag] = float(child.text)
                        entry[name] = forces if forces else None
                    entry["CheckValue"] = float(element.find("CheckValue").text)
                    entry["Result"] = element.find("Result").text
                results.append(entry)
            return results

        def shear(self) -> list:
            return self._fixed_keys(SHEAR, SHEAR_KEYS)

        def torsion(self) -> list:
            return self._fixed_keys(TORSION, TORSION_KEYS)

        def interaction(self) -> list:
            return self._fixed_keys(INTERACTION, INTERACTION_KEYS)

        def crack_width(self) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                check_results = extreme.find(CRACK_WIDTH)
                if check_results is None or len(check_results) == 0:
                    results.append(None)
                    continue
                short = check_results.find('ConcreteCheckResultBase[Check="CrackWidthShort"]')
                long = check_results.find('ConcreteCheckResultBase[Check="CrackWidthLong"]')
                entry = {"short": None, "long": None}
                if short is not None:
                    entry["short"] = {k: float(short.find(k).text) for k in CRACK_WIDTH_KEYS}
                if long is not None:
                    entry["long"] = {k: float(long.find(k).text) for k in CRACK_WIDTH_KEYS}
                if entry["short"]:
                    entry["short"]["Result"] = short.find("Result").text
                if entry["long"]:
                    entry["long"]["Result"] = long.find("Result").text
                results.append(entry)
            return results

        def detailing(self) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                element = extreme.find(DETAILING)
                if element is None or len(element) == 0:
                    results.append(None)
                    continue
                long_reinf = element.find("CheckValueLongReinf")
                shear_reinf = element.find("CheckValueShearReinf")
                longitudinal = float(long_reinf.text) if long_reinf is not None else None
                shear = float(shear_reinf.text) if shear_reinf is not None else None
                entry = {"longitudinal": longitudinal, "shear": shear}
                entry["CheckValue"] = float(element.find("CheckValue").text)
                entry["CheckValueLongReinf"] = longitudinal
                entry["CheckValueShearReinf"] = shear
                entry["Result"] = element.find("Result").text
                results.append(entry)
            return results

        def stress_limitation(self) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                check_results = extreme.find(STRESS_LIMITATION)
                if check_results is None or len(check_results) == 0:
                    results.append(None)
                    continue
                entry = {}
                shorts = check_results.findall(STRESS_SHORT)
                longs = check_results.findall(STRESS_LONG)
                for term, elements in (("short", shorts), ("long", longs)):
                    stresses = {}
                    for element in elements:
                        type_check = element.find("TypeCheck")
                        stress = element.find("Stress")
                        if type_check is None or stress is None:
                            continue
                        value = float(stress.text or "nan")
                        stresses[type_check.text] = None if math.isnan(value) else value
                    entry[term] = stresses if stresses else None
                for name in STRESS_CHECKS:
                    entry[name] = None
                    path = 'ConcreteCheckResultBase[TypeCheck="' + name + '"]'
                    for element in check_results.findall(path):
                        if element.find("Check").text == "StressLimitationShort":
                            term = "short"
                        elif element.find("Check").text == "StressLimitationLong":
                            term = "long"
                        else:
                            raise NotImplementedError
                        if entry[name] is None:
                            entry[name] = {}
                        stress = element.find("Stress").text or ""
                        entry[name][term] = {
                            "Stress": None if stress.lower() == "nan" else float(stress),
                            "CheckValue": float(element.find("CheckValue").text),
                            "Result": element.find("Result").text,
                        }
                results.append(entry)
            return results

        def fatigue(self) -> list:
            results = []
            for extreme in self._iter_extreme_results():
                check_results = extreme.find(FATIGUE)
                if check_results is None or len(check_results) == 0:
                    results.append(None)
                    continue
                entry = {"fatigue": {}, "shear": {}}
                fatigue = 'ConcreteCheckResultBase[Check="Fatigue"]'
                max_internal_forces = check_results.find(fatigue + "/InternalForceMax")
                min_internal_forces = check_results.find(fatigue + "/InternalForceMin")
                entry["fatigue"] = {
                    "CheckValue": float(check_results.find(fatigue + "/CheckValue").text),
                    "DecisionMethod": check_results.find(fatigue + "/DecissionMethod").text,
                    "Result": check_results.find(fatigue + "/Result").text,
                }
                for shear_result in check_results.findall('ConcreteCheckResultBase[Check="Shear"]'):
                    if all(
                        shear_result.findtext(".//" + k) == max_internal_forces.findtext(".//" + k)
                        for k in INTERNAL_FORCES_KEYS
                    ):
                        entry["shear"]["max"] = {
                            k: float(shear_result.find(k).text) for k in SHEAR_KEYS
                        }
                        entry["shear"]["max"]["Result"] = shear_result.find("Result").text
                    if all(
                        shear_result.findtext(".//" + k) == min_internal_forces.findtext(".//" + k)
                        for k in INTERNAL_FORCES_KEYS
                    ):
                        entry["shear"]["min"] = {
                            k: float(shear_result.find(k).text) for k in SHEAR_KEYS
                        }
                        entry["shear"]["min"]["Result"] = shear_result.find("Result").text
                results.append(entry)
            return results

        def extremes(self) -> list:
            per_family = [getattr(self, family)() for family in FAMILIES]
            rows = zip(*per_family, strict=False)
            return [dict(zip(FAMILIES, row, strict=True)) for row in rows]

    def __init__(self, xml_file: BinaryIO) -> None:
        self._pos = xml_file.tell()
        self._file = xml_file

    def _reset_file(self) -> None:
        self._file.seek(self._pos)

    def section_results(self) -> Iterator["OracleStreamParser.SectionResult"]:
        self._file.seek(0)
        for _event, element in ET.iterparse(self._file, events=("end",)):
            if element.tag == "SectionConcreteCheckResult":
                section_id = int(element.find("SectionId").text)
                yield self.SectionResult(section_id, element)
                element.clear()
        self._reset_file()

    def section_result(self, id_: Any) -> "OracleStreamParser.SectionResult":
        for section in self.section_results():
            if section.id_ == id_:
                self._reset_file()
                return section
        raise ParsingError(NOT_AVAILABLE.format(f"{id_}"))


class OracleWholeParser:
    """Whole-document reader: the tree of ``fromstring``, families through ``SectionResult``."""

    def __init__(self, xml_file: Any) -> None:
        try:
            self._root = ET.fromstring(xml_file.getvalue())
        except ET.ParseError as e:
            raise ParsingError("Provided 'xml_file' is not a valid XML file.") from e

    @property
    def section_ids(self) -> list:
        return [
            int(section.find("SectionId").text)
            for section in self._root
            if section.tag == "SectionConcreteCheckResult"
        ]

    def _element_to_dict(self, e: ET.Element) -> dict:
        children = [self._element_to_dict(child) for child in e]
        return {e.tag: children if children else e.text}

    def raw_results(self) -> dict:
        return self._element_to_dict(self._root)

    def _section_element(self, section_id: Any) -> ET.Element:
        for section in self._root:
            if section.tag == "SectionConcreteCheckResult":
                if int(section.find("SectionId").text) == section_id:
                    return section
        raise ParsingError(NOT_AVAILABLE.format(f"{section_id}"))

    def _section(self, section_id: Any) -> OracleStreamParser.SectionResult:
        return OracleStreamParser.SectionResult(section_id, self._section_element(section_id))


def _accessor(family: str) -> Any:
    def results(self: OracleWholeParser, section_id: Any) -> list:
        return getattr(self._section(section_id), family)()

    results.__name__ = f"{family}_results"
    return results


for _family in ("capacity", "shear", "crack_width", "detailing", "stress_limitation", "fatigue"):
    setattr(OracleWholeParser, f"{_family}_results", _accessor(_family))
