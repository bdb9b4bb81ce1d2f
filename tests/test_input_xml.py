"""IDEA input XML: the writer behind the conversion service, compared with IDEA's own samples."""

import importlib.util
import json
import pathlib
import xml.etree.ElementTree as ET

import pytest

from marlox import errors
from marlox.external.idea_rcs import OpenModel
from marlox.external.idea_rcs import objects as o

ROOT = pathlib.Path(__file__).resolve().parent.parent
SAMPLES = ROOT / "tests" / "data"
XSI_TYPE = "{http://www.w3.org/2001/XMLSchema-instance}type"


def load_example(name):
    found = importlib.util.spec_from_file_location(name, ROOT / "examples" / f"{name}.py")
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


def write(model):
    return o._write_input_xml(json.dumps(model._serialize()).encode())


def flatten(element, path=""):
    """(path, text) of every element in document order; a path names tags and xsi:types."""
    tag = element.tag
    if XSI_TYPE in element.attrib:
        tag += f"[{element.attrib[XSI_TYPE]}]"
    path = f"{path}/{tag}"
    rows = [(path, (element.text or "").strip())]
    for child in element:
        rows.extend(flatten(child, path))
    return rows


def structural_diff(ours, theirs, *, extra=(), differing=()):
    """The first difference between two documents, or None.

    Ours may hold additional elements whose path ends with one of ``extra``; the texts of paths
    containing one of ``differing`` are not compared (values the two models state differently).
    """
    mine, sample = flatten(ours), flatten(theirs)
    i = j = 0
    while i < len(mine) and j < len(sample):
        (my_path, my_text), (path, text) = mine[i], sample[j]
        if my_path != path:
            if any(my_path.endswith(e) for e in extra):
                i += 1
                continue
            return f"element {i}: ours {my_path!r}, sample {path!r}"
        if my_text != text and not any(d in path for d in differing):
            return f"{path}: ours {my_text!r}, sample {text!r}"
        i, j = i + 1, j + 1
    if j < len(sample):
        return f"missing {sample[j][0]!r}"
    rest = [p for p, _ in mine[i:] if not any(p.endswith(e) for e in extra)]
    return f"additional {rest[0]!r}" if rest else None


# Elements our models always state that IDEA's samples leave out.
OUR_EXTRAS = (
    "/CheckMember[CheckMember1D]/Name",
    "/CheckSectionExtreme[StandardCheckSectionExtreme]/Description",
)


def test_the_import_sample_model_matches_idea_s_document():
    model = load_example("openmodel_import_sample").build_model()
    ours = ET.fromstring(write(model))
    theirs = ET.parse(SAMPLES / "iom-rcs-ImportOpenModel.xml").getroot()
    # The sample takes its materials from IDEA's library (all values 0); ours states them.
    differing = ("/MatConcrete/", "/MatReinforcement/")
    assert structural_diff(ours, theirs, extra=OUR_EXTRAS, differing=differing) is None


def test_a_model_with_explicit_materials_matches_idea_s_document():
    text = (SAMPLES / "iom-rcs-RcsOpenModel3.xml").read_bytes().decode("utf-16")
    theirs = ET.fromstring(text.split("?>", 1)[1])  # its declaration contradicts its bytes
    model = load_example("openmodel_import_sample").build_model()
    model.project_data.date = "2022-11-19"
    concrete, steel = model._mat_concrete_list[0], model._mat_reinforcement_list[0]
    concrete.e_modulus = 32836600000.0
    concrete.order_in_code = steel.order_in_code = 0
    concrete.cement_class = o.ConcCementClass.S
    concrete.diagram_type = o.ConcDiagramType.BILINEAR
    steel.epsuk = 0.025
    ours = ET.fromstring(write(model))
    # The sample's stone diameter and ftk are 0, which a model cannot state; it has no
    # IsInPrincipal.
    extra, differing = OUR_EXTRAS + ("/IsInPrincipal",), ("/StoneDiameter", "/Ftk")
    assert structural_diff(ours, theirs, extra=extra, differing=differing) is None


@pytest.mark.parametrize("shape", list(o.CrossSectionType), ids=lambda t: t.name)
def test_every_cross_section_type_converts(shape):
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(o.ConcreteMaterial.C25_30)
    section = model.create_cross_section_parameter(shape, concrete, H=0.5, Width=0.3)
    model.create_reinforced_cross_section(section)
    root = ET.fromstring(write(model))
    cs = root.find("CrossSection/CrossSection")
    assert cs.get(XSI_TYPE) == "CrossSectionParameter"
    assert cs.findtext("CrossSectionType") == shape.value
    assert [p.findtext("Name") for p in cs.iter("Parameter")] == ["H", "Width"]


def test_a_general_shape_with_openings_and_arcs():
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(o.ConcreteMaterial.C25_30)
    section = model.create_cross_section_component("general")
    section.create_component(
        [(-0.4, -0.4), (0.4, -0.4), ((-0.4, -0.4), (0.0, 0.4))],
        concrete,
        openings=[[(-0.1, -0.1), (0.1, -0.1), (0.0, 0.1)], [(0, -0.3), (0.05, -0.3), (0, -0.25)]],
    )
    model.create_reinforced_cross_section(section)
    root = ET.fromstring(write(model))
    component = root.find("CrossSection/CrossSection/Components/CssComponent")
    outline = component.find("Geometry/Outline/Segments")
    # The arc ends at the start point, so the outline is closed without another segment.
    assert [s.get(XSI_TYPE) for s in outline] == ["LineSegment2D", "ArcSegment2D"]
    assert outline[1].findtext("Point/Y") == "0.4"
    openings = component.findall("Geometry/Openings")
    assert len(openings) == 2
    assert [s.findtext("EndPoint/X") for s in openings[0].find("Segments")] == ["0.1", "0", "-0.1"]
    assert component.findtext("Phase") == "0"


def test_units_numbers_and_defaults_as_idea_writes_them():
    model = OpenModel()
    model.create_matconcrete_ec2(
        o.ConcreteMaterial.C30_37, e_modulus=1e12, g_modulus=0.0001, thermal_expansion=1e-5
    )
    member = model.create_check_member1d()
    given = {"relative_humidity": 80, "creep_coefficient": 2}
    model.add_member_data_ec2(member, o.MemberType.COLUMN, o.TwoWaySlabType.SLAB, **given)
    root = ET.fromstring(write(model))
    concrete = root.find("MatConcrete/MatConcrete")
    assert concrete.findtext("E") == "1E+18"
    assert concrete.findtext("G") == "100"
    assert concrete.findtext("ThermalExpansion") == "1E-05"
    data = root.find("Attribute/OpenAttribute")
    assert data.findtext("RelativeHumidity") == "0.8"
    assert data.findtext("CreepCoeffInfinityValue") == "UserInput"
    assert data.findtext("CreepCoeffInfinity") == "2"
    assert data.findtext("ExposureClassesData/NoCorrosionCheck") == "true"
    setup = {e.tag: e.text for e in data.find("CalculationSetup")}
    assert setup["UlsDiagram"] == setup["UlsShear"] == setup["Detailing"] == "true"
    assert setup["UlsTorsion"] == setup["Fatigue"] == "false"
    assert root.findtext("ConcreteSetup/Annex") == root.findtext(
        "ProjectData/CodeDependentData/AnnexCode"
    )


@pytest.mark.parametrize(
    "change, message",
    [
        (
            lambda d: d["check_member_list"].clear(),
            "ConcreteMemberDataEc2 1: 'Element' refers to CheckMember 1, which the model does "
            "not have",
        ),
        (
            lambda d: d["cross_section_list"][0][1].update(CrossSectionType="Circle"),
            "CrossSectionParameter 1: 'CrossSectionType' must be a CrossSectionType member name",
        ),
        (
            lambda d: d["mat_concrete_list"][0][1].update(E="stiff"),
            "MatConcreteEc2 1: 'E' must be a number, not a string",
        ),
        (
            lambda d: d["check_member_list"][0][1].update(Name="a\x01b"),
            "CheckMember1D 1: 'Name' holds a control character",
        ),
        (
            lambda d: d["check_member_list"].append(d["check_member_list"][0]),
            "CheckMember1D 1: 'Id' repeats id 1",
        ),
        (
            lambda d: d["attribute_list"].append(["Beam", {}]),
            "attribute_list entry: class 'Beam' cannot stand in attribute_list",
        ),
    ],
)
def test_the_writer_names_the_object_and_field_it_cannot_convert(change, message):
    document = load_example("openmodel_import_sample").build_model()._serialize()
    change(document)
    with pytest.raises(ValueError, match=message.replace("(", r"\(")):
        o._write_input_xml(json.dumps(document).encode())


def test_a_model_the_service_cannot_convert_surfaces_with_the_cause():
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    other = OpenModel()
    other.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    other.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    section = model.create_cross_section_parameter(
        o.CrossSectionType.RECT, other._mat_concrete_list[1], Width=1.0, Height=1.0
    )
    assert concrete.id == 1 and section.material.id == 2
    with pytest.raises(Exception, match="Input file could not be generated") as caught:
        model.generate_xml_input()
    assert isinstance(caught.value.__cause__, errors.InternalError)
    assert "'Material' refers to MatConcrete 2" in str(caught.value.__cause__)


def test_not_a_model():
    for document in (b"", b"[1, 2]", b'{"mat_concrete_list": []}', b"\xff"):
        with pytest.raises(ValueError):
            o._write_input_xml(document)
