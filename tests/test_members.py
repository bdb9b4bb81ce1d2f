"""Section prototypes and members: the abstract classes, the two shapes, and how a member
forwards to the reinforced cross-section and check section that it holds."""

import abc

import pytest

from marlox.external.idea_rcs import idea_rcs
from marlox.external.idea_rcs import objects as o
from marlox.external.idea_rcs.idea_rcs import (
    Beam,
    CompressionMember,
    GeneralShape,
    Member,
    OneWaySlab,
    RectSection,
    SectionPrototype1D,
)

ABSTRACT = [idea_rcs._SectionPrototype, SectionPrototype1D, idea_rcs._SectionPrototype2D]


def python_abstract_class(name):
    """The interpreter's own version of an abstract prototype, to compare failures with."""

    class Prototype(abc.ABC):
        @abc.abstractmethod
        def __init__(self):
            pass

        @property
        @abc.abstractmethod
        def _type(self):
            raise NotImplementedError

        @property
        @abc.abstractmethod
        def _parameters(self):
            raise NotImplementedError

    Prototype.__name__ = Prototype.__qualname__ = name
    return Prototype


def message(error_type, call):
    with pytest.raises(error_type) as caught:
        call()
    return str(caught.value)


# --- abstract prototypes ---------------------------------------------------------------------


@pytest.mark.parametrize("cls", ABSTRACT, ids=lambda c: c.__name__)
def test_abstract_prototypes_fail_as_the_interpreter_does(cls):
    assert isinstance(cls, abc.ABCMeta) and issubclass(cls, abc.ABC)
    assert cls.__abstractmethods__ == {"__init__", "_type", "_parameters"}
    expected = message(TypeError, python_abstract_class(cls.__name__))
    assert message(TypeError, cls) == expected
    # The bodies of the abstract properties raise NotImplementedError, as declared.
    for name in ("_type", "_parameters"):
        with pytest.raises(NotImplementedError) as caught:
            getattr(cls, name).fget(object())
        assert caught.value.args == ()


def test_class_tree():
    for cls in ABSTRACT[1:]:
        assert issubclass(cls, idea_rcs._SectionPrototype)
    for cls in (RectSection, GeneralShape):
        assert cls.__bases__ == (SectionPrototype1D,)
        assert cls.__abstractmethods__ == frozenset()
    for cls in (Beam, CompressionMember, OneWaySlab):
        assert cls.__bases__ == (Member,)
    assert Member.__doc__ == "Base class of all member types."
    operations = ["create_beam", "create_compression_member", "create_one_way_slab"]
    for cls, operation in zip((Beam, CompressionMember, OneWaySlab), operations, strict=True):
        assert cls.__doc__ == (
            "Do not use this __init__ directly, but create the object by "
            f":meth:`Model.{operation}`."
        )


def test_a_subclass_without_the_properties_stays_abstract():
    class Incomplete(SectionPrototype1D):
        def __init__(self):
            pass

        @property
        def _type(self):
            return o.CrossSectionType.RECT

    class PythonIncomplete(python_abstract_class("SectionPrototype1D")):
        def __init__(self):
            pass

        @property
        def _type(self):
            return o.CrossSectionType.RECT

    PythonIncomplete.__name__ = PythonIncomplete.__qualname__ = "Incomplete"
    assert Incomplete.__abstractmethods__ == {"_parameters"}
    assert message(TypeError, Incomplete) == message(TypeError, PythonIncomplete)

    class NoConstructor(SectionPrototype1D):
        _type = property(lambda self: o.CrossSectionType.RECT)
        _parameters = property(lambda self: {})

    assert NoConstructor.__abstractmethods__ == {"__init__"}
    with pytest.raises(TypeError, match="abstract method '?__init__"):
        NoConstructor()


def test_inherited_constructors():
    def complete(base, init):
        rect = property(lambda self: o.CrossSectionType.RECT)
        return type(
            "Shape", (base,), {"__init__": init, "_type": rect, "_parameters": property(dict)}
        )

    # The 1D root refuses to be called, the 2D root stores the thickness, the root does nothing.
    shape_1d = complete(SectionPrototype1D, lambda self: super(type(self), self).__init__())
    with pytest.raises(NotImplementedError) as caught:
        shape_1d()
    assert caught.value.args == ()

    plate = complete(
        idea_rcs._SectionPrototype2D, lambda self, t: super(type(self), self).__init__(thickness=t)
    )
    assert vars(plate(0.25)) == {"_thickness": 0.25}
    assert vars(plate(None)) == {"_thickness": None}

    root = complete(idea_rcs._SectionPrototype, lambda self: super(type(self), self).__init__())
    assert vars(root()) == {}


# --- the two shapes --------------------------------------------------------------------------


def test_rect_section():
    for shape in (RectSection(0.3, 0.5), RectSection(width=0.3, height=0.5)):
        assert vars(shape) == {"_width": 0.3, "_height": 0.5}
        assert shape._type is o.CrossSectionType.RECT
        assert list(shape._parameters.items()) == [("Width", 0.3), ("Height", 0.5)]
    first, second = shape._parameters, shape._parameters
    assert first == second and first is not second
    first["Width"] = 9.0
    assert shape._parameters["Width"] == 0.3
    # Nothing is checked here.
    assert RectSection(-1, "x")._parameters == {"Width": -1, "Height": "x"}
    with pytest.raises(TypeError):
        RectSection(0.3)


def test_general_shape():
    outline = [(0, 0), (1, 0), (0, 1)]
    shape = GeneralShape(outline)
    assert shape._outline is outline and shape._openings is None
    assert shape._type is o.CrossSectionType.GENERAL
    assert shape._parameters == {} and shape._parameters is not shape._parameters
    openings = [[(0.1, 0.1), (0.2, 0.1), (0.1, 0.2)]]
    assert GeneralShape(outline=outline, openings=openings)._openings is openings
    assert GeneralShape([(0, 0), (1, 1)])._outline == [(0, 0), (1, 1)]  # checked later


# --- members -----------------------------------------------------------------------------------


class Recorder:
    """Stands in for a reinforced cross-section or check section and records the calls."""

    def __init__(self):
        self.calls = []
        self.bars, self.stirrups, self.extremes = ["bar"], ["stirrup"], ["extreme"]

    def __getattr__(self, name):
        def record(*args, **kwargs):
            self.calls.append((name, args, list(kwargs.items())))
            return "made"

        return record


def test_members_forward_by_position_or_keyword_and_return_none():
    rcs, section = Recorder(), Recorder()
    member = Beam(rcs, section)
    assert (member._rcs, member._check_section) == (rcs, section)

    assert member.create_bar((0.1, 0.2), 0.02, "steel") is None
    assert member.create_stirrup([(0, 0), (1, 0)], 0.008, "steel", 0.15) is None
    assert member.create_stirrup("p", "d", "m", "s", True, False, 4.0, 0.3) is None
    layer = {"origin": (0, 0), "diameter": 0.02, "material": "steel", "number_of_bars": 3}
    assert member.create_bar_layer(**layer) is None
    assert rcs.calls == [
        ("create_bar", ((0.1, 0.2), 0.02, "steel"), []),
        ("create_stirrup", ([(0, 0), (1, 0)], 0.008, "steel", 0.15, None, None, None, None), []),
        ("create_stirrup", ("p", "d", "m", "s", True, False, 4.0, 0.3), []),
        ("create_bar_layer", (), [*layer.items(), ("delta_y", None), ("delta_z", None)]),
    ]

    assert member.create_extreme() is None
    assert member.create_extreme(quasi_permanent="qp", description="E") is None
    names = "description accidental fatigue frequent fundamental characteristic quasi_permanent"
    given = {"description": "E", "quasi_permanent": "qp"}
    assert section.calls == [
        ("create_extreme", (), [(name, given.get(name)) for name in names.split()])
        for given in ({}, given)
    ]


def test_keyword_only_member_operations():
    member = Member(Recorder(), Recorder())
    with pytest.raises(TypeError):
        member.create_bar_layer((0, 0), 0.02, "steel", 3)
    with pytest.raises(TypeError):
        member.create_extreme("description")
    with pytest.raises(TypeError):
        member.create_bar((0, 0), 0.02)
    assert member._rcs.calls == member._check_section.calls == []


@pytest.fixture
def model_member():
    model = idea_rcs.Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    return model.create_beam(RectSection(0.3, 0.5), concrete), steel


def test_member_operations_reach_the_model_objects(model_member):
    member, steel = model_member
    assert member.bars == member.stirrups == member.extremes == []
    member.create_bar((0.1, 0.1), 0.02, steel)
    assert len(member.bars) == 1 and isinstance(member.bars[0], o.ReinforcedBar)
    member.create_extreme()
    member.create_extreme(description="wind")
    assert [e.description for e in member.extremes] == ["S1 - E 1", "wind"]


def test_member_operations_pass_companion_errors_through(model_member):
    member, steel = model_member
    with pytest.raises(ValueError, match="number_of_bars"):
        member.create_bar_layer(origin=(0, 0), diameter=0.02, material=steel, number_of_bars=1)
    with pytest.raises(TypeError, match="points"):
        member.create_stirrup([(0, 0), "x"], 0.008, steel, 0.15)
    assert member.bars == member.stirrups == []
