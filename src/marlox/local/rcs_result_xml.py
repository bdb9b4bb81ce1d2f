"""The RCS result XML, written from the section results of the RCS REST service.

The REST service answers ``get-results`` with JSON: a list of ``RcsSectionResultDetailed``
objects whose ``sectionResult`` is a ``SectionConcreteCheckResult`` with camelCase keys and
camelCase enumeration names. The result parsers read the document that IDEA StatiCa's .NET
``XmlSerializer`` writes for ``List<SectionConcreteCheckResult>`` through an indented
``XmlTextWriter`` with ``Encoding.Unicode``; :func:`result_xml` writes exactly that form:

- UTF-16 LE with a byte-order mark, declaration ``<?xml version="1.0" encoding="utf-16"?>``,
  CRLF line ends, two-space indentation, no line end after the root's end tag;
- root ``ArrayOfSectionConcreteCheckResult`` with the ``xsi``/``xsd`` namespace declarations;
- IDEA's element names and order, misspellings included (``InternalFores``, ``DecissionMethod``),
  ``xsi:type`` on every check item, enumerations by their C# member names
  (``CheckIsNotNecesssary``), numbers as ``XmlConvert`` writes them (``1E-05``, ``NaN``, ``INF``);
- an absent or null value is left out, an empty list is an empty element (``<NonConformities />``).

JSON carries no class name for a check item, so its ``xsi:type`` is found from the item's
``check`` (or, failing that, from its family's ``resultType``); an explicit ``$type`` wins.
"""

from __future__ import annotations

import decimal
import io
import math
from collections.abc import Callable, Iterable, Mapping
from typing import Any
from xml.sax.saxutils import escape, quoteattr

__all__ = ["ResultXml", "result_xml", "format_double", "ResultFormatError"]

DECLARATION = '<?xml version="1.0" encoding="utf-16"?>'
ROOT = "ArrayOfSectionConcreteCheckResult"
NAMESPACES = (
    ' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
    ' xmlns:xsd="http://www.w3.org/2001/XMLSchema"'
)
#: How an object is written: (element name, kind of value) for each of its fields in order.
Layout = tuple[tuple[str, Any], ...]
NEWLINE = "\r\n"
INDENT = "  "


class ResultFormatError(ValueError):
    """Section results that cannot be written as result XML."""


# Enumerations: C# member name -> value, in declaration order.


def _members(*names: str, values: Iterable[int] | None = None) -> dict[str, int]:
    return dict(zip(names, values if values is not None else range(len(names)), strict=True))


CHECK_RESULT_TYPE = _members(
    "Capacity",
    "Response",
    "Shear",
    "Torsion",
    "Interaction",
    "Fatigue",
    "StressLimitation",
    "CrackWidth",
    "Detailing",
    "Stiffness",
    "Deflection",
)
CHECK_RESULT = _members(
    "Failed",
    "Passed",
    "PassedWithWarnings",
    "FailedWithError",
    "CheckIsOff",
    "NotDone",
    "CheckIsNotNecesssary",
)
CALCULATION_TYPE = _members(
    "NotDefined",
    "Capacity",
    "Response",
    "Shear",
    "Torsion",
    "Interaction",
    "Fatigue",
    "StressLimitationShort",
    "StressLimitationLong",
    "StressLimitationStage",
    "CrackWidthShort",
    "CrackWidthLong",
    "CrackWidthStage",
    "StiffnessShort",
    "StiffnessLong",
    "StiffnessStage",
    "Deflection",
    "BrittleFailure",
    "Detailing",
    "LinearStressShort",
    "LinearStressLong",
    "LinearStressStage",
    "CrossSectionCharacteristicsShort",
    "CrossSectionCharacteristicsLong",
    "CrossSectionCharacteristicsStage",
    "Baumann",
    "OverallColumnRecalculation",
    "ColumnForces",
    "PrestressEffects",
    "Primaryforces",
    "LongTermLosses",
    "MNKappaDiagramULS",
    "MNKappaDiagramSLSShort",
    "MNKappaDiagramSLSLong",
    "CreepAndShrinkageCoefficient",
    "ConcreteCover",
    "CrackingCalculation",
    "CrackingCalculationShort",
    "CrackingCalculationLong",
    "Redistribution",
    "InitilaStateofCrossSection",
    "StrutAngle",
    "DesignReinforcement",
    "CapacityMesh",
    "StiffnessStageLong",
    "LongTermLossesCoefficient",
)
TYPE_SLS_LIMIT_STRESS_CHECK = _members(
    "notSet",
    "Check_7_2_2_Concrete_fck",
    "Check_7_2_3_Concrete_fck",
    "Check_7_2_5_Tendons_fpk",
    "Check_7_2_5_ReinforcementBars_fyk",
    "Check_5_10_3_2_Tendons",
    "Check_5_10_2_1_1_Tendons",
    values=(-1, 6, 7, 8, 9, 10, 11),
)
FATIGUE_METHOD = _members(
    "notSet",
    "Method_6_8_7_1",
    "Method_6_8_7_2",
    "Method_6_8_7_101",
    "Method_6_8_7_101_ANNEX_NEN",
    "Method_Shear_6_8_7_4",
    "Method_Reinf_6_8_5_3",
    "Method_Prestress_6_8_5_3",
    "Method_NN112",
    "Method_Reinf_NN102",
    "Method_Reinf_NN107",
    "Method_Tendon_NN102",
    "Method_Tendon_NN107",
    "Method_6_8_7_2_Shear",
    "Method_Reinf_6_8_5_3_Shear",
)
INT_DIAG_CHECK_METHOD = _members(
    "IDCheckTypeNuMuMu",
    "IDCheckTypeNuMM",
    "IDCheckTypeNMuMu",
    "IDOnlyUlsForce1",
    "IDOnlyPlanarCheck",
    "IDPlaneInfoRequest",
    "IDPlanar_0deg",
    "IDPlanar_90deg",
    values=(1, 2, 4, 8, 16, 32, 64, 128),
)
NON_CONFORMITY_SEVERITY = _members("Info", "Warning", "Error", "TerminatedError")
LOADING_TYPE = _members("LoadCase", "Combination", "ResultClass")


def _enum_name(members: Mapping[str, int], value: Any) -> str:
    """The C# member name of an enumeration value given as JSON: a name in any case (the
    service writes camelCase) or the member's number. A name that is not known is written with
    its first letter raised, as a newer member would be."""
    if isinstance(value, bool):
        raise ResultFormatError(f"{value!r} is not an enumeration value")
    if isinstance(value, int):
        for name, number in members.items():
            if number == value:
                return name
        return str(value)
    if not isinstance(value, str) or not value:
        raise ResultFormatError(f"{value!r} is not an enumeration value")
    folded = value.casefold()
    for name in members:
        if name.casefold() == folded:
            return name
    return value[0].upper() + value[1:]


# Numbers.


def format_double(value: Any) -> str:
    """``value`` as .NET's ``XmlConvert.ToString(double)`` writes it: the shortest text that
    reads back to the same double, fixed-point while the decimal exponent lies in [-5, 16] and
    ``1E-05``/``1.5E+17`` outside it; ``NaN``, ``INF``, ``-INF``, ``-0``."""
    if isinstance(value, str):
        value = _named_double(value)
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise ResultFormatError(f"{value!r} is not a number")
    number = float(value)
    if math.isnan(number):
        return "NaN"
    if math.isinf(number):
        return "INF" if number > 0 else "-INF"
    if number == 0:
        return "-0" if math.copysign(1.0, number) < 0 else "0"
    sign = "-" if number < 0 else ""
    # repr() gives the shortest round-trip digits, as .NET's "R" format does; only the layout
    # of those digits differs.
    exact = decimal.Decimal(repr(abs(number))).as_tuple()
    digits = "".join(map(str, exact.digits))
    assert isinstance(exact.exponent, int)  # a finite number
    scale = len(digits) + exact.exponent  # the decimal point sits after `scale` digits
    digits = digits.rstrip("0")
    if scale > max(len(digits), 17) or scale < -3:
        exponent = scale - 1
        mantissa = digits[0] + ("." + digits[1:] if len(digits) > 1 else "")
        return f"{sign}{mantissa}E{'+' if exponent >= 0 else '-'}{abs(exponent):02d}"
    if scale <= 0:
        return f"{sign}0.{'0' * -scale}{digits}"
    if scale >= len(digits):
        return sign + digits + "0" * (scale - len(digits))
    return f"{sign}{digits[:scale]}.{digits[scale:]}"


_NAMED_DOUBLES = {
    "nan": math.nan,
    "infinity": math.inf,
    "+infinity": math.inf,
    "-infinity": -math.inf,
    "inf": math.inf,
    "-inf": -math.inf,
}


def _named_double(text: str) -> float:
    """A double that JSON could only carry as text ("NaN", "Infinity", ...), or a number
    written as text."""
    named = _NAMED_DOUBLES.get(text.strip().casefold())
    if named is not None:
        return named
    try:
        return float(text)
    except ValueError:
        raise ResultFormatError(f"{text!r} is not a number") from None


def _format_int(value: Any) -> str:
    if isinstance(value, bool) or not isinstance(value, (int, float)) or value != int(value):
        raise ResultFormatError(f"{value!r} is not an integer")
    return str(int(value))


# Layouts: the fields of each class in XmlSerializer order (base class first), with the kind of
# each field. JSON names are the same words in camelCase; they are matched without regard to
# case.

DOUBLE, INT, TEXT = "double", "int", "text"

FORCES = (
    ("Loading", "loading"),
    ("N", DOUBLE),
    ("Qy", DOUBLE),
    ("Qz", DOUBLE),
    ("Mx", DOUBLE),
    ("My", DOUBLE),
    ("Mz", DOUBLE),
)
LOADING = (("LoadingType", LOADING_TYPE), ("Id", INT), ("Items", ("list", "ResultOfLoadingItem")))
LOADING_ITEM = (
    ("Loading", ("object", (("LoadingType", LOADING_TYPE), ("Id", INT)))),
    ("Coefficient", DOUBLE),
)
NON_CONFORMITY = (("Guid", TEXT), ("Severity", NON_CONFORMITY_SEVERITY))
STIFFNESSES = tuple(
    (name, DOUBLE)
    for name in ("Alfa", "EAx", "EccX", "EccY", "EccZ", "EIy", "EIz", "EDyz", "GAy", "GAz", "GIx")
)
CHARACTERISTICS = tuple(
    (name, DOUBLE)
    for name in (
        "A",
        "Sy",
        "Sz",
        "Iy",
        "Iz",
        "Dyz",
        "Cgy",
        "Cgz",
        "Rgy",
        "Rgz",
        "E",
        "Wely",
        "Welz",
        "Wply",
        "Wplz",
        "Iw",
        "It",
        "Y0",
        "Z0",
        "Ay",
        "Az",
    )
)

#: Layouts of list items and nested objects, by element name.
OBJECTS: dict[str, Layout] = {
    "ResultOfLoadingItem": LOADING_ITEM,
    "NonConformity": NON_CONFORMITY,
}

CHECK_ITEM_HEAD = (
    ("InternalFores", ("object", FORCES)),
    ("NonConformities", ("list", "NonConformity")),
    ("Result", CHECK_RESULT),
    ("CheckValue", DOUBLE),
    ("LimitCheckValue", DOUBLE),
    ("Check", CALCULATION_TYPE),
)


def _doubles(*names: str) -> Layout:
    return tuple((name, DOUBLE) for name in names)


#: The own fields of each check item class, after :data:`CHECK_ITEM_HEAD`.
CHECK_ITEM_FIELDS: dict[str, Layout] = {
    "ConcreteULSCheckResultDiagramCapacityEc2": (
        ("Fu1", ("object", FORCES)),
        ("Fu2", ("object", FORCES)),
        ("Fu", ("object", FORCES)),
        ("CheckMethod", INT_DIAG_CHECK_METHOD),
    ),
    "ConcreteULSCheckResultResponseEc2": (),
    "ConcreteULSCheckResultShearEc2": _doubles("Ved", "Vrdc", "Vrdr", "Vrdmax", "Vrds", "Vrd"),
    "ConcreteULSCheckResultTorsionEc2": _doubles("Ted", "Trdc", "Trdmax", "Trds", "Trd"),
    "ConcreteULSCheckResultInteractionEc2": _doubles(
        "Ned",
        "Medy",
        "Medz",
        "Ved",
        "Ted",
        "CheckValueShearAndTorsion",
        "CheckValueShearTorsionAndBending",
    ),
    "ConcreteSLSCheckResultCrackWidthEc2": _doubles("N", "My", "Mz", "W", "Wlim"),
    "ConcreteSLSCheckResultStressLimitationEc2": (
        ("TypeCheck", TYPE_SLS_LIMIT_STRESS_CHECK),
        ("Stress", DOUBLE),
        ("LimitStress", DOUBLE),
    ),
    "ConcreteCheckDetailingEc2": _doubles("CheckValueLongReinf", "CheckValueShearReinf"),
    "ConcreteULSCheckResultFatigueEc2": (
        ("DecissionMethod", FATIGUE_METHOD),
        ("InternalForceMax", ("object", FORCES)),
        ("InternalForceMin", ("object", FORCES)),
    ),
    "ConcreteSLSCheckResultStiffnessEc2": (
        ("LinearStiffness", ("object", STIFFNESSES)),
        ("Stiffness", ("object", STIFFNESSES)),
        ("StiffnessI", ("object", STIFFNESSES)),
        ("CharacteristicsI", ("object", CHARACTERISTICS)),
        ("StiffnessII", ("object", STIFFNESSES)),
        ("CharacteristicsII", ("object", CHARACTERISTICS)),
        ("Fr", DOUBLE),
    ),
}

#: Check item class by the item's ``Check`` (calculation type).
CLASS_BY_CHECK = {
    "Capacity": "ConcreteULSCheckResultDiagramCapacityEc2",
    "Response": "ConcreteULSCheckResultResponseEc2",
    "Shear": "ConcreteULSCheckResultShearEc2",
    "Torsion": "ConcreteULSCheckResultTorsionEc2",
    "Interaction": "ConcreteULSCheckResultInteractionEc2",
    "Fatigue": "ConcreteULSCheckResultFatigueEc2",
    "Detailing": "ConcreteCheckDetailingEc2",
    **{
        check: "ConcreteSLSCheckResultStressLimitationEc2"
        for check in ("StressLimitationShort", "StressLimitationLong", "StressLimitationStage")
    },
    **{
        check: "ConcreteSLSCheckResultCrackWidthEc2"
        for check in ("CrackWidthShort", "CrackWidthLong", "CrackWidthStage")
    },
    **{
        check: "ConcreteSLSCheckResultStiffnessEc2"
        for check in ("StiffnessShort", "StiffnessLong", "StiffnessStage", "StiffnessStageLong")
    },
}

#: Check item class by the ``ResultType`` of its family, for items whose check says nothing.
CLASS_BY_FAMILY = {
    "Capacity": "ConcreteULSCheckResultDiagramCapacityEc2",
    "Response": "ConcreteULSCheckResultResponseEc2",
    "Shear": "ConcreteULSCheckResultShearEc2",
    "Torsion": "ConcreteULSCheckResultTorsionEc2",
    "Interaction": "ConcreteULSCheckResultInteractionEc2",
    "Fatigue": "ConcreteULSCheckResultFatigueEc2",
    "StressLimitation": "ConcreteSLSCheckResultStressLimitationEc2",
    "CrackWidth": "ConcreteSLSCheckResultCrackWidthEc2",
    "Detailing": "ConcreteCheckDetailingEc2",
    "Stiffness": "ConcreteSLSCheckResultStiffnessEc2",
}


def _folded(mapping: Any, what: str) -> dict[str, Any]:
    """The JSON object's members by case-folded name."""
    if not isinstance(mapping, Mapping):
        raise ResultFormatError(f"{what} is {type(mapping).__name__}, not a JSON object")
    return {str(key).casefold(): value for key, value in mapping.items()}


def _list(value: Any, what: str) -> list[Any]:
    if not isinstance(value, list):
        raise ResultFormatError(f"{what} is {type(value).__name__}, not a JSON array")
    return value


class _Writer:
    """Indented XML text, as an indented ``XmlTextWriter`` lays it out: an element without
    content is closed at once (``<NonConformities />``)."""

    def __init__(self) -> None:
        self.parts: list[str] = [DECLARATION]
        # (index of the start tag in `parts`, or None once it is written out; depth; tag;
        # attributes) of each element not yet ended
        self.open: list[tuple[int | None, int, str, str]] = []

    def start(self, depth: int, tag: str, attributes: str = "") -> None:
        self.open.append((len(self.parts), depth, tag, attributes))
        self.parts.append(f"{NEWLINE}{INDENT * depth}<{tag}{attributes}>")

    def end(self) -> None:
        index, depth, tag, attributes = self.open.pop()
        if index == len(self.parts) - 1:
            self.parts[index] = f"{NEWLINE}{INDENT * depth}<{tag}{attributes} />"
        else:
            self.parts.append(f"{NEWLINE}{INDENT * depth}</{tag}>")

    def leaf(self, depth: int, tag: str, text: str) -> None:
        self.start(depth, tag)
        if text:
            self.parts[-1] += escape(text) + f"</{tag}>"
            self.open.pop()
        else:
            self.end()

    def text(self) -> str:
        return "".join(self.parts)

    # Objects described by a layout.

    def fields(self, depth: int, layout: Layout, members: dict[str, Any], what: str) -> None:
        for name, kind in layout:
            value = members.get(name.casefold())
            if value is None:
                continue  # null: XmlSerializer leaves the element out
            self.value(depth, name, kind, value, f"{what}.{name}")

    def value(self, depth: int, name: str, kind: Any, value: Any, what: str) -> None:
        try:
            if kind == DOUBLE:
                self.leaf(depth, name, format_double(value))
            elif kind == INT:
                self.leaf(depth, name, _format_int(value))
            elif kind == TEXT:
                self.leaf(depth, name, str(value))
            elif kind == "loading":
                self.object(depth, name, LOADING, value, what)
            elif isinstance(kind, dict):
                self.leaf(depth, name, _enum_name(kind, value))
            elif kind[0] == "object":
                self.object(depth, name, kind[1], value, what)
            elif kind[0] == "list":
                item, layout = kind[1], OBJECTS[kind[1]]

                def write(depth: int, entry: Any, where: str) -> None:
                    self.object(depth, item, layout, entry, where)

                self.items(depth, name, value, what, write)
            else:  # pragma: no cover - a layout table out of order
                raise AssertionError(f"unknown field kind {kind!r}")
        except ResultFormatError as error:
            if str(error).startswith(what):
                raise
            raise ResultFormatError(f"{what}: {error}") from None

    def object(self, depth: int, name: str, layout: Layout, value: Any, what: str) -> None:
        members = _folded(value, what)
        self.start(depth, name)
        self.fields(depth + 1, layout, members, what)
        self.end()

    def items(
        self,
        depth: int,
        name: str,
        value: Any,
        what: str,
        write_item: Callable[[int, Any, str], None],
    ) -> None:
        """A list: its element, and in it ``write_item(depth, entry, what)`` for each entry."""
        entries = _list(value, what)
        self.start(depth, name)
        for index, entry in enumerate(entries):
            if entry is not None:
                write_item(depth + 1, entry, f"{what}[{index}]")
        self.end()

    # The result tree.

    def section(self, depth: int, value: Any, what: str) -> None:
        members = _folded(value, what)
        self.start(depth, "SectionConcreteCheckResult")
        if members.get("sectionid") is not None:
            self.value(depth + 1, "SectionId", INT, members["sectionid"], f"{what}.SectionId")
        extremes = members.get("extremeresults")
        if extremes is not None:
            where = f"{what}.ExtremeResults"
            self.items(depth + 1, "ExtremeResults", extremes, where, self.extreme)
        self.end()

    def extreme(self, depth: int, value: Any, what: str) -> None:
        members = _folded(value, what)
        self.start(depth, "ConcreteCheckResults")
        families = members.get("checkresults")
        if families is not None:
            self.items(depth + 1, "CheckResults", families, f"{what}.CheckResults", self.family)
        overall = members.get("overall")
        if overall is not None:
            self.overall(depth + 1, overall, f"{what}.Overall")
        self.end()

    def family(self, depth: int, value: Any, what: str) -> None:
        members = _folded(value, what)
        self.start(depth, "ConcreteCheckResult")
        family = members.get("resulttype")
        if family is not None:
            self.value(depth + 1, "ResultType", CHECK_RESULT_TYPE, family, f"{what}.ResultType")
            family = _enum_name(CHECK_RESULT_TYPE, family)
        items = members.get("checkresults")
        if items is not None:

            def item(depth: int, entry: Any, where: str) -> None:
                self.check_item(depth, entry, family, where)

            self.items(depth + 1, "CheckResults", items, f"{what}.CheckResults", item)
        self.end()

    def check_item(self, depth: int, value: Any, family: str | None, what: str) -> None:
        members = _folded(value, what)
        class_name = _check_item_class(members, family, what)
        self.start(depth, "ConcreteCheckResultBase", f" xsi:type={quoteattr(class_name)}")
        self.fields(depth + 1, CHECK_ITEM_HEAD, members, what)
        self.fields(depth + 1, CHECK_ITEM_FIELDS.get(class_name, ()), members, what)
        self.end()

    def overall(self, depth: int, value: Any, what: str) -> None:
        members = _folded(value, what)
        self.start(depth, "Overall")
        checks = members.get("checks")
        if checks is not None:
            layout = (
                ("ResultType", CHECK_RESULT_TYPE),
                ("Result", CHECK_RESULT),
                ("CheckValue", DOUBLE),
            )

            def item(depth: int, entry: Any, where: str) -> None:
                self.object(depth, "ConcreteCheckResultOverallItem", layout, entry, where)

            self.items(depth + 1, "Checks", checks, f"{what}.Checks", item)
        self.end()


def _check_item_class(members: dict[str, Any], family: str | None, what: str) -> str:
    """The ``xsi:type`` of a check item: its ``$type`` if the service names one, else the
    class that writes its ``check``, else the class of its family."""
    named = members.get("$type")
    if isinstance(named, str):
        # "Namespace.Class, Assembly" or a bare class name; other discriminators say nothing
        named = named.split(",")[0].strip().rsplit(".", 1)[-1]
        if named in CHECK_ITEM_FIELDS or named.startswith("Concrete"):
            return named
    check = members.get("check")
    if check is not None:
        class_name = CLASS_BY_CHECK.get(_enum_name(CALCULATION_TYPE, check))
        if class_name is not None:
            return class_name
    class_name = CLASS_BY_FAMILY.get(family or "")
    if class_name is None:
        raise ResultFormatError(
            f"{what}: the RCS service returned a check result of a kind the result XML has no "
            f"type for (check {check!r} in the family {family!r})"
        )
    return class_name


class ResultXml:
    """The result XML document, written a reply at a time: :meth:`add` each ``get-results``
    reply (a JSON array of ``RcsSectionResultDetailed`` objects; sections whose
    ``sectionResult`` is null are left out), then :meth:`finish` for the bytes (UTF-16 LE with
    byte-order mark). Each reply is encoded as soon as it is written, so only the encoded
    document and the reply at hand are held."""

    def __init__(self) -> None:
        self._writer = _Writer()
        self._writer.start(0, ROOT, NAMESPACES)
        self._document = io.BytesIO()
        self._document.write("\ufeff".encode("utf-16-le"))
        self._sections = 0

    def add(self, results: Any) -> None:
        writer = self._writer
        for index, detailed in enumerate(_list(results, "the results")):
            section = _folded(detailed, f"results[{index}]").get("sectionresult")
            if section is not None:
                where = f"results[{self._sections + index}].sectionResult"
                writer.section(1, section, where)
        self._sections += len(results)
        if len(writer.parts) > 2:  # the root has content: what is written is final
            self._document.write("".join(writer.parts).encode("utf-16-le"))
            writer.parts.clear()
            writer.open[0] = (None, *writer.open[0][1:])  # and no longer empty

    def finish(self) -> bytes:
        self._writer.end()
        self._document.write(self._writer.text().encode("utf-16-le"))
        return self._document.getvalue()


def result_xml(results: Any) -> bytes:
    """The result XML document (UTF-16 LE bytes with byte-order mark) of one ``get-results``
    reply ``results``."""
    document = ResultXml()
    document.add(results)
    return document.finish()
