"""The OpenModel builder: ids, default names, unit conversions, forwarding and serialisation."""

import base64
import gzip
import io
import json
import math
import time

import pytest

from marlox import core, errors
from marlox.external.idea_rcs import Model, OpenModel, RectSection
from marlox.external.idea_rcs import objects as o
from marlox.external.idea_rcs.idea_rcs import _EnumEncoder, _Model

C30 = o.ConcreteMaterial.C30_37
B500 = o.ReinforcementMaterial.B_500B


def complete_model():
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(C30)
    steel = model.create_matreinforcement_ec2(B500)
    section = model.create_cross_section_parameter(
        o.CrossSectionType.RECT, concrete, Width=0.3, Height=0.5
    )
    rcs = model.create_reinforced_cross_section(section)
    layer = {"origin": (-0.1, -0.2), "diameter": 0.016, "material": steel, "number_of_bars": 3}
    rcs.create_bar_layer(**layer, delta_y=0.2)
    member = model.create_check_member1d()
    check = model.add_check_section(member, rcs)
    check.create_extreme(fundamental=o.LoadingULS(o.InternalForces(my=50000.0)))
    model.add_member_data_ec2(member, o.MemberType.BEAM, o.TwoWaySlabType.SLAB)
    return model


class TestMaterials:
    def test_concrete_defaults_are_converted_to_pascal(self):
        concrete = OpenModel().create_matconcrete_ec2(C30)
        assert (concrete.id, concrete.name) == (1, "C30/37")
        assert concrete.e_modulus == 32800000000.0 and isinstance(concrete.e_modulus, float)
        assert concrete.g_modulus == 13667000000.0
        assert concrete.fck == 30 * 1e6
        assert concrete.unit_mass == 2500 and type(concrete.unit_mass) is int
        assert isinstance(concrete.thermal_state, o.ThermalState)
        assert concrete.cement_class is o.ConcCementClass.R
        assert concrete.dep_params is None

    def test_reinforcement_defaults_come_from_the_grade_table(self):
        steel = OpenModel().create_matreinforcement_ec2(B500)
        assert steel.name == "B 500B"
        assert steel.e_modulus == 200000000000.0 and steel.g_modulus == 83333000000.0
        assert steel.fyk == 500 * 1e6
        assert steel.ftk_by_fyk == 1.08
        assert steel.ftk == 500 * 1.08 * 1e6
        assert math.isclose(steel.epsuk, 0.05)
        assert steel.diagram_type is o.ReinfDiagramType.BILINEAR_INCLINED
        # A given fyk leaves the grade's ftk alone; epsuk is given in units of 1e-4.
        steel = OpenModel().create_matreinforcement_ec2(B500, fyk=600, epsuk=25)
        assert (steel.fyk, steel.ftk, steel.epsuk) == (600e6, 500 * 1.08 * 1e6, 25 * 0.0001)

    @pytest.mark.parametrize("falsy", [None, 0, "", 0.0])
    def test_falsy_values_take_the_base_values(self, falsy):
        model = OpenModel()
        concrete = model.create_matconcrete_ec2(C30, falsy or None, fck_28=falsy)
        steel = model.create_matreinforcement_ec2(
            B500, name=falsy, fyk=falsy, epsuk=falsy, ftk_by_fyk=falsy, ftk=falsy
        )
        assert concrete.fck == 30e6 and concrete.name == "C30/37"
        assert (steel.name, steel.fyk, steel.ftk_by_fyk) == ("B 500B", 500e6, 1.08)

    def test_each_material_list_counts_its_own_ids(self):
        model = OpenModel()
        model.create_matreinforcement_ec2(B500)
        model.create_matconcrete_ec2(C30)
        model.create_matconcrete_ec2(C30)
        assert model.create_matconcrete_ec2(C30).id == 3
        assert model.create_matreinforcement_ec2(B500).id == 2

    def test_tables_are_consulted_only_when_a_default_is_needed(self):
        model = OpenModel()
        steel = model.create_matreinforcement_ec2(
            "custom", "S", fyk=550, ftk_by_fyk=1.1, epsuk=60, ftk=600
        )
        assert (steel.name, steel.ftk) == ("S", 600e6)
        with pytest.raises(KeyError):
            model.create_matreinforcement_ec2("custom", "S", fyk=550, ftk_by_fyk=1.1, epsuk=60)
        with pytest.raises(KeyError):
            model.create_matconcrete_ec2("custom")

    def test_a_failure_appends_nothing(self):
        model = OpenModel()
        with pytest.raises(TypeError, match="can't multiply sequence"):
            model.create_matconcrete_ec2(C30, e_modulus="32800")
        with pytest.raises(TypeError, match="'cement_class' must be a ConcCementClass"):
            model.create_matconcrete_ec2(C30, cement_class="R")
        assert model._mat_concrete_list == []
        assert model.create_matconcrete_ec2(C30).id == 1

    def test_public_forms_take_the_options_by_keyword_only(self):
        model = OpenModel()
        with pytest.raises(TypeError, match="2 positional arguments but 3 were given"):
            model.create_matconcrete_ec2(C30, "C", 30000)
        with pytest.raises(TypeError, match="2 positional arguments but 3 were given"):
            model.create_matreinforcement_ec2(B500, "B", 200000)
        # The protected operations take everything by position.
        concrete = model._create_matconcrete_ec2(C30, "C", 30000)
        assert concrete.e_modulus == 30000e6


class TestSections:
    def test_default_names_follow_the_ids(self):
        model = OpenModel()
        concrete = model.create_matconcrete_ec2(C30)
        rect = {"cross_section_type": o.CrossSectionType.RECT, "Width": 0.3, "Height": 0.5}
        sections = [
            model.create_cross_section_parameter(material=concrete, **rect) for _ in range(2)
        ]
        rcs = [model.create_reinforced_cross_section(s) for s in sections]
        members = [model.create_check_member1d() for _ in range(2)]
        checks = [model.add_check_section(m, r) for m, r in zip(members, rcs, strict=True)]
        assert [r.name for r in rcs] == ["R1", "R2"]
        assert [m.name for m in members] == ["M 1", "M 2"]
        assert [c.description for c in checks] == ["S1", "S2"]
        assert [s.name for s in sections] == ["", ""]
        named = model.create_reinforced_cross_section(sections[0], "mine")
        assert (named.id, named.name) == (3, "mine")

    def test_both_kinds_of_cross_section_share_one_sequence(self):
        model = OpenModel()
        concrete = model.create_matconcrete_ec2(C30)
        rect = {"cross_section_type": o.CrossSectionType.RECT, "Width": 2.0, "Height": 2.0}
        parametric = model.create_cross_section_parameter(name="cs", material=concrete, **rect)
        component = model.create_cross_section_component()
        assert (parametric.id, component.id) == (1, 2)
        assert parametric.name == "cs"
        assert parametric.parameters == {"Width": 2.0, "Height": 2.0}
        assert parametric.material._serialize() == {"TypeName": "MatConcrete", "Id": 1}
        rcs = model.create_reinforced_cross_section(component)
        assert rcs.cross_section._serialize() == {"TypeName": "CrossSection", "Id": 2}

    def test_member_data_passes_absent_values_as_none(self):
        model = OpenModel()
        member = model.create_check_member1d()
        shell = o.TwoWaySlabType.SHELL_AS_PLATE
        assert model.add_member_data_ec2(member, o.MemberType.BEAM_SLAB, shell) is None
        (data,) = model._attribute_list
        assert data.member._serialize() == {"TypeName": "CheckMember", "Id": 1}
        names = "calculation_setup coeff_kx_for_wmax exposure_class_data creep_coefficient"
        assert [getattr(data, n) for n in [*names.split(), "relative_humidity"]] == [None] * 5

    def test_a_reference_to_an_object_without_id_fails_before_anything_is_made(self):
        model = OpenModel()
        with pytest.raises(AttributeError, match="'object' object has no attribute 'id'"):
            model.create_reinforced_cross_section(object())
        with pytest.raises(AttributeError):
            model.add_check_section(model.create_check_member1d(), object())
        assert model._reinforced_cross_section_list == []
        assert model._check_section_list == []

    def test_public_operations_call_the_protected_ones(self):
        calls = []

        class Recording(OpenModel):
            def _create_check_member1d(self, name=None):
                calls.append(name)
                return "made"

        assert Recording().create_check_member1d("x") == "made"
        assert calls == ["x"]


class TestModelContainer:
    def test_falsy_project_data_and_code_settings_take_the_defaults(self):
        settings = o.CodeSettings(national_annex=o.NationalAnnex.DUTCH)
        model = OpenModel(0, settings)
        assert isinstance(model.project_data, o.ProjectData)
        assert model.code_settings is settings
        assert isinstance(_Model({}, None).code_settings, o.CodeSettings)

    def test_lists_are_the_models_own(self):
        model = OpenModel()
        assert model._check_member_list is model._check_member_list
        model.create_check_member1d()
        assert len(model._check_member_list) == 1


class TestSerialisation:
    def test_empty_model(self):
        document = OpenModel()._serialize()
        assert list(document) == (
            "mat_concrete_list mat_reinforcement_list cross_section_list "
            "reinforced_cross_section_list check_member_list check_section_list "
            "attribute_list project_data code_settings".split()
        )
        assert all(document[key] == [] for key in list(document)[:7])
        assert document["code_settings"]["AnnexCode"] == "NoAnnex"
        assert set(document["project_data"]) == {"Name", "Description", "Number", "Author", "Date"}

    def test_pairs_name_the_class_and_keep_number_kinds(self):
        model = complete_model()
        component = model.create_cross_section_component("general")
        component.create_component([(0, 0), (1, 0), (0, 1)], model._mat_concrete_list[0])
        document = model._serialize()
        kinds = [pair[0] for pair in document["cross_section_list"]]
        assert kinds == ["CrossSectionParameter", "CrossSectionComponent"]
        name, concrete = document["mat_concrete_list"][0]
        assert name == "MatConcreteEc2"
        assert concrete["UnitMass"] == 2500 and type(concrete["UnitMass"]) is int
        assert concrete["E"] == 32800000000.0 and type(concrete["E"]) is float
        assert concrete["CementClass"] == "R"
        assert concrete["ThermalState"]["StateOfThermalExpansion"] == "None"
        assert document["attribute_list"][0][0] == "ConcreteMemberDataEc2"
        assert document["check_section_list"][0][1]["Extremes"][0]["Description"] == "S1 - E 1"
        assert model._serialize() == document
        assert json.loads(json.dumps(document)) == document

    def test_an_object_without_serialise_fails_and_changes_nothing(self):
        model = complete_model()
        before = model._serialize()
        model._check_member_list.append(object())
        with pytest.raises(AttributeError, match="_serialize"):
            model._serialize()
        model._check_member_list.pop()
        assert model._serialize() == before

    def test_enum_encoder(self):
        assert issubclass(_EnumEncoder, json.JSONEncoder)
        assert _EnumEncoder.__doc__ == "To auto-serialize Enum type."
        text = json.dumps({"t": o.CrossSectionType.TG, "s": o.CalculationSetup()}, cls=_EnumEncoder)
        assert json.loads(text)["t"] == "Tg"
        assert json.loads(text)["s"]["UlsDiagram"] is True

        class Unencodable:
            pass

        with pytest.raises(AttributeError, match="_serialize"):
            json.dumps([Unencodable()], cls=_EnumEncoder)


class TestInputXml:
    @pytest.fixture
    def service(self, monkeypatch):
        calls = []

        def post(path, data, timeout=None):
            calls.append((path, data, timeout))
            payload = gzip.compress(b"<OpenModel />")
            return {"input_file": base64.b64encode(payload).decode()}

        monkeypatch.setattr(core, "_post_on_addon_endpoint", post, raising=False)
        return calls

    def test_request_and_both_return_forms(self, service):
        model = complete_model()
        stream = model.generate_xml_input()
        assert isinstance(stream, io.BytesIO) and stream.tell() == 0
        assert stream.read() == b"<OpenModel />"
        file = model.generate_xml_input(as_file=True)
        assert isinstance(file, core.File) and file.getvalue_binary() == b"<OpenModel />"
        path, data, timeout = service[0]
        assert (path, list(data), timeout) == ("fillidearcstemplate/v3/jobs/", ["input"], 60)
        sent = base64.b64decode(data["input"], validate=True)
        text = json.dumps(model._serialize()).encode()
        assert json.loads(gzip.decompress(sent)) == model._serialize()
        # One gzip member at level 9, byte for byte what the interpreter's gzip writes.
        mtime = int.from_bytes(sent[4:8], "little")
        assert abs(mtime - time.time()) < 600
        assert sent == gzip.compress(text, mtime=mtime)

    def test_a_service_failure_is_mapped_with_its_cause(self, monkeypatch):
        cause = errors.InternalError("conversion refused")

        def post(path, data, timeout=None):
            raise cause

        monkeypatch.setattr(core, "_post_on_addon_endpoint", post, raising=False)
        with pytest.raises(Exception) as caught:
            OpenModel().generate_xml_input()
        assert type(caught.value) is Exception
        assert str(caught.value) == "Input file could not be generated, please check your model"
        assert caught.value.__cause__ is cause

    @pytest.mark.parametrize(
        "reply, error",
        [(ConnectionError("down"), ConnectionError), ({"other": 1}, KeyError)]
        + [({"input_file": "not base64!"}, Exception)],
    )
    def test_other_failures_propagate_as_they_are(self, monkeypatch, reply, error):
        def post(path, data, timeout=None):
            if isinstance(reply, Exception):
                raise reply
            return reply

        monkeypatch.setattr(core, "_post_on_addon_endpoint", post, raising=False)
        with pytest.raises(error) as caught:
            OpenModel().generate_xml_input()
        assert str(caught.value) != "Input file could not be generated, please check your model"


def _xml(**kw):
    made = OpenModel().generate_xml_input(**kw)
    return type(made), made.getvalue()


def _concrete(**kw):
    model = OpenModel()
    model.create_matconcrete_ec2(C30, **kw)
    return model._serialize()


def _steel(**kw):
    model = OpenModel()
    model.create_matreinforcement_ec2(B500, **kw)
    return model._serialize()


def _built(build):
    """The serialised model after `build(model, concrete, steel, member)` on a model with a
    material of each kind and a beam: what an operation changed, compared whole."""

    def run(**kw):
        model = Model()
        concrete = model.create_concrete_material(C30)
        steel = model.create_reinforcement_material(B500)
        beam = model.create_beam(RectSection(0.3, 0.5), concrete)
        build(model, concrete, steel, beam, kw)
        return model._serialize()

    return run


def _open(build):
    def run(**kw):
        model = complete_model()
        concrete, section = model._mat_concrete_list[0], model._cross_section_list[0]
        rcs, member = model._reinforced_cross_section_list[0], model._check_member_list[0]
        build(model, concrete, section, rcs, member, kw)
        return model._serialize()

    return run


FALSY = (None, 0, "", False, 0.0)
STIRRUP = ([(-0.1, -0.2), (0.1, -0.2), (0.1, 0.2), (-0.1, 0.2)], 0.008)
# (operation, parameter, values that must act as the parameter left out)
ABSENT = [
    (_xml, "as_file", FALSY),
    (_concrete, "name", FALSY),
    (_concrete, "fck_28", FALSY),
    (_concrete, "thermal_state", FALSY),
    (_concrete, "dep_params", (None,)),
    *((_steel, p, FALSY) for p in ("name", "thermal_state", "fyk", "ftk_by_fyk", "epsuk", "ftk")),
    (_open(lambda m, c, s, r, mb, kw: m.create_cross_section_component(**kw)), "name", FALSY),
    (
        _open(
            lambda m, c, s, r, mb, kw: m.create_cross_section_parameter(
                o.CrossSectionType.RECT, c, **kw, Width=0.2, Height=0.4
            )
        ),
        "name",
        FALSY,
    ),
    (_open(lambda m, c, s, r, mb, kw: m.create_reinforced_cross_section(s, **kw)), "name", FALSY),
    (_open(lambda m, c, s, r, mb, kw: m.create_check_member1d(**kw)), "name", FALSY),
    (_open(lambda m, c, s, r, mb, kw: m.add_check_section(mb, r, **kw)), "description", FALSY),
    *(
        (
            _open(
                lambda m, c, s, r, mb, kw: m.add_member_data_ec2(
                    mb, o.MemberType.BEAM, o.TwoWaySlabType.SLAB, **kw
                )
            ),
            p,
            (None,),
        )
        for p in ("calculation_setup", "coeff_kx_for_wmax", "exposure_class_data")
        + ("creep_coefficient", "relative_humidity")
    ),
    *(
        (_built(lambda m, c, s, b, kw: m.create_concrete_material(C30, **kw)), p, values)
        for p, values in (("name", FALSY), ("fck", FALSY), ("dep_params", (None,)))
    ),
    *(
        (_built(lambda m, c, s, b, kw: m.create_reinforcement_material(B500, **kw)), p, FALSY)
        for p in ("name", "fyk", "ftk_by_fyk", "epsuk")
    ),
    *(
        (_built(lambda m, c, s, b, kw: m.create_beam(RectSection(0.2, 0.4), c, **kw)), p, (None,))
        for p in ("calculation_control", "name", "rcs_name", "design_member_name")
        + ("exposure_classes", "coeff_kx", "creep_coefficient", "relative_humidity")
    ),
    *(
        (
            _built(
                lambda m, c, s, b, kw: b.create_bar_layer(
                    origin=(0, 0), diameter=0.01, material=s, number_of_bars=2, **kw
                )
            ),
            p,
            (None,),
        )
        for p in ("delta_y", "delta_z")
    ),
    *(
        (_built(lambda m, c, s, b, kw: b.create_stirrup(*STIRRUP, s, 0.15, **kw)), p, (None,))
        for p in ("shear_check", "torsion_check", "mandrel_diameter_factor", "anchorage_length")
    ),
    *(
        (_built(lambda m, c, s, b, kw: b.create_extreme(**kw)), p, (None,))
        for p in ("description", "accidental", "fatigue", "frequent", "fundamental")
        + ("characteristic", "quasi_permanent")
    ),
]


@pytest.mark.parametrize(
    "operation, parameter, values", ABSENT, ids=[f"{p}-{i}" for i, (_, p, _) in enumerate(ABSENT)]
)
def test_absent_values_may_be_given_as_none_or_any_falsy_value(
    monkeypatch, operation, parameter, values
):
    payload = base64.b64encode(gzip.compress(b"<OpenModel />")).decode()
    reply = {"input_file": payload}
    monkeypatch.setattr(core, "_post_on_addon_endpoint", lambda *a, **k: reply, raising=False)
    expected = operation()
    for value in values:
        assert operation(**{parameter: value}) == expected, value
