"""The section result: its id, its extremes, and the reading rules worth stating by value
(result type text, first item of a term, NaN stresses, shear items matched by force text).
Every other shape is compared with the reference readers by the differential tests."""

import io
import math
import xml.etree.ElementTree as ET

import pytest

from marlox.external.idea_rcs import RcsOutputFileParser

SectionResult = RcsOutputFileParser.SectionResult


def leaves(**values):
    return "".join(f"<{k}>{v}</{k}>" if v is not None else f"<{k}/>" for k, v in values.items())


def family(result_type, *items, wrap=True):
    body = "".join(items)
    if wrap:
        body = "".join(
            f"<ConcreteCheckResultBase>{item}</ConcreteCheckResultBase>" for item in items
        )
    return (
        f"<ConcreteCheckResult><ResultType>{result_type}</ResultType>"
        f"<CheckResults>{body}</CheckResults></ConcreteCheckResult>"
    )


def extreme(*families):
    return (
        "<ConcreteCheckResults><CheckResults>" + "".join(families) + "</CheckResults>"
        "<Overall><Checks><ConcreteCheckResultOverallItem><ResultType>Capacity</ResultType>"
        "<Result>Passed</Result></ConcreteCheckResultOverallItem></Checks></Overall>"
        "</ConcreteCheckResults>"
    )


def section_xml(*extremes, section_id=1):
    return (
        f"<SectionConcreteCheckResult><SectionId>{section_id}</SectionId><ExtremeResults>"
        + "".join(extremes)
        + "</ExtremeResults></SectionConcreteCheckResult>"
    )


def read(reader, *extremes):
    """What ``reader`` gives on the one section of a document, as the streaming parser hands it
    out. (The other paths, a caller's element and the whole-document accessors, are compared
    with the reference by the differential tests.)"""
    doc = f"<r>{section_xml(*extremes)}</r>"
    section = next(RcsOutputFileParser(io.BytesIO(doc.encode())).section_results())
    return getattr(section, reader)()


SHEAR_ITEM = leaves(Ved=1, Vrd=2, Vrdc=3, Vrdmax=4, Vrdr=5, Vrds=6, CheckValue=0.5, Result="OK")


FAMILIES = tuple(
    "capacity shear torsion interaction crack_width detailing stress_limitation fatigue".split()
)


def test_section_without_extreme_results_reads_empty():
    text = "<SectionConcreteCheckResult><SectionId>1</SectionId></SectionConcreteCheckResult>"
    s = SectionResult(1, ET.fromstring(text))
    for reader in (*FAMILIES, "extremes"):
        assert getattr(s, reader)() == []
    assert read("extremes") == []


def test_id_and_iterating_extremes():
    element = ET.fromstring(section_xml(extreme(), "<Other/>"))
    s = SectionResult(12, element)
    assert s.id_ == 12 and s._id == 12 and s._element is element
    assert [e.tag for e in s._iter_extreme_results()] == ["ConcreteCheckResults", "Other"]
    with pytest.raises(AttributeError):
        s.id_ = 3


def test_iterating_extremes_is_lazy_and_live():
    it = SectionResult(1, None)._iter_extreme_results()  # nothing happens yet
    with pytest.raises(AttributeError, match="'NoneType' object has no attribute 'find'"):
        next(it)
    with pytest.raises(AttributeError, match="'NoneType' object has no attribute 'find'"):
        SectionResult(1, None).shear()

    class Fake:  # any object with find() will do
        def find(self, path):
            return None

    assert SectionResult("x", Fake()).extremes() == [] and SectionResult("x", Fake()).id_ == "x"
    element = ET.fromstring(section_xml("<a/>", "<b/>"))
    it = SectionResult(1, element)._iter_extreme_results()
    assert next(it).tag == "a"
    element.find("ExtremeResults").append(ET.Element("c"))
    assert [e.tag for e in it] == ["b", "c"]


def test_capacity_force_sets():
    fu = "<Fu><N>-1.5e5</N><My>2.1E5</My></Fu>"
    item = fu + "<Fu1/><Fu2/>" + leaves(CheckValue=" 0.25 ", Result="Passed")
    [entry] = read("capacity", extreme(family("Capacity", item)))
    assert list(entry) == ["Fu", "Fu1", "Fu2", "CheckValue", "Result"]
    assert entry["Fu"] == {"N": -150000.0, "My": 210000.0}
    assert list(entry["Fu"]) == ["N", "My"]
    assert entry["Fu1"] is None and entry["Fu2"] is None
    assert entry["CheckValue"] == 0.25 and entry["Result"] == "Passed"
    repeated = "<Fu><N>1</N><My>2</My><N>3</N></Fu><Fu1/><Fu2/>" + leaves(CheckValue=1, Result="x")
    [entry] = read("capacity", extreme(family("Capacity", repeated)))
    assert list(entry["Fu"].items()) == [("N", 3.0), ("My", 2.0)]


def test_result_type_is_matched_on_the_whole_text():
    split = (
        "<ConcreteCheckResult><ResultType>Sh<!--c-->ea<b>r</b></ResultType><CheckResults>"
        f"<ConcreteCheckResultBase>{SHEAR_ITEM}</ConcreteCheckResultBase></CheckResults>"
        "</ConcreteCheckResult>"
    )
    assert read("shear", extreme(split))[0]["Vrd"] == 2.0
    spaced = family(" Shear", SHEAR_ITEM)
    assert read("shear", extreme(spaced)) == [None]


def crack(check, w="0.0002", result="Passed"):
    return leaves(
        Check=check, N=0, My=80000, Mz=7000, W=w, Wlim="0.0003", CheckValue="NaN", Result=result
    )


def test_crack_width_takes_the_first_item_of_a_term():
    both = family(
        "CrackWidth",
        crack("CrackWidthShort", result=" ok "),
        crack("CrackWidthShort", w="1"),
        crack("CrackWidthLong"),
    )
    [entry] = read("crack_width", extreme(both))
    assert entry["short"]["W"] == 0.0002 and entry["short"]["Result"] == " ok "


def stress(term, type_check, value, check_value="0.5"):
    return leaves(
        Check=term, TypeCheck=type_check, Stress=value, CheckValue=check_value, Result="Passed"
    )


def test_stress_limitation_shapes():
    items = family(
        "StressLimitation",
        stress("StressLimitationLong", "Check_7_2_5_ReinforcementBars_fyk", "-nan"),
        stress("StressLimitationShort", "Check_7_2_2_Concrete_fck", "-1.5e6"),
        stress("StressLimitationShort", "Check_7_2_3_Concrete_fck", "NaN"),
    )
    entry, absent = read("stress_limitation", extreme(items), extreme())
    assert entry["short"] == {"Check_7_2_2_Concrete_fck": -1.5e6, "Check_7_2_3_Concrete_fck": None}
    assert entry["long"] == {"Check_7_2_5_ReinforcementBars_fyk": None}
    assert entry["Check_7_2_2_Concrete_fck"] == {
        "short": {"Stress": -1.5e6, "CheckValue": 0.5, "Result": "Passed"}
    }
    assert entry["Check_7_2_3_Concrete_fck"]["short"]["Stress"] is None
    assert math.isnan(entry["Check_7_2_5_ReinforcementBars_fyk"]["long"]["Stress"])
    assert entry["Check_7_2_5_Tendons_fpk"] is None
    assert absent is None


def forces(tag, values):
    pairs = zip(("N", "Qy", "Qz", "Mx", "My", "Mz"), values, strict=True)
    return f"<{tag}>" + "".join(f"<{k}>{v}</{k}>" for k, v in pairs) + f"</{tag}>"


def fatigue_items(shears):
    head = leaves(
        Check="Fatigue", CheckValue="0.7", DecissionMethod="Method_6_8_7_1", Result="Passed"
    )
    head += forces("InternalForceMax", [0, 1, 2, 3, 4, 5])
    head += forces("InternalForceMin", [0, 1, 2, 3, 4, "5.0"])
    items = [head]
    for values, ved in shears:
        shear = SHEAR_ITEM.replace("<Ved>1</Ved>", f"<Ved>{ved}</Ved>")
        items.append(leaves(Check="Shear") + forces("InternalFores", values) + shear)
    return family("Fatigue", *items)


def test_fatigue_matching():
    [entry] = read(
        "fatigue",
        extreme(
            fatigue_items(
                [([0, 1, 2, 3, 4, 5], 10), ([0, 1, 2, 3, 4, 5.0], 20), ([0, 1, 2, 3, 4, "5.0"], 30)]
            )
        ),
    )
    assert entry["fatigue"] == {
        "CheckValue": 0.7,
        "DecisionMethod": "Method_6_8_7_1",
        "Result": "Passed",
    }
    assert list(entry) == ["fatigue", "shear"]
    assert entry["shear"]["max"]["Ved"] == 10.0  # "5" and "5.0" are different texts
    assert entry["shear"]["min"]["Ved"] == 30.0
    assert list(entry["shear"]["max"]) == "Ved Vrd Vrdc Vrdmax Vrdr Vrds CheckValue Result".split()
    [entry] = read("fatigue", extreme(fatigue_items([])))
    assert entry["shear"] == {}


def test_results_are_new_lists_every_call():
    doc = section_xml(extreme(family("Shear", SHEAR_ITEM)))
    s = SectionResult(1, ET.fromstring(doc))
    first, second = s.shear(), s.shear()
    assert first == second and first is not second and first[0] is not second[0]
