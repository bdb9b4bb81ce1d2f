"""Serialisation takes a native path where it can: the same document and request as the encoder."""

import base64
import gzip
import json
from unittest import mock

import pytest
from hypothesis import given
from hypothesis import strategies as st
from test_input_xml import load_example

from marlox import core
from marlox.external.idea_rcs import Model, OpenModel, RectSection
from marlox.external.idea_rcs import objects as o
from marlox.external.idea_rcs.idea_rcs import _EnumEncoder


def odd_model():
    model = Model(project_data=o.ProjectData(name='"é\\\n\x7f\U0001f600', author="ü"))
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37, stone_diameter=1e16)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B, fyk=2**40)
    beam = model.create_beam(RectSection(0.1 + 0.2, 1e-05), concrete, relative_humidity=0.0001)
    beam.create_bar((-0.0, 1 / 3), 5e-324, steel)
    beam.create_extreme(fundamental=o.LoadingULS(o.InternalForces(n=-1e300, my=123456.789e10)))
    return model


MODELS = {
    "sample": lambda: load_example("openmodel_import_sample").build_model(),
    "beam": lambda: load_example("beam").build_beam_model()[0],
    "odd": odd_model,
}


def requests(model, monkeypatch):
    """The native JSON bytes and what generate_xml_input sends, then down the encoder's path."""
    sent = []

    def post(path, data, timeout=None):
        sent.append(gzip.decompress(base64.b64decode(data["input"])))
        return {"input_file": base64.b64encode(gzip.compress(b"<x/>")).decode()}

    monkeypatch.setattr(core, "_post_on_addon_endpoint", post)
    native = o._dump_document
    monkeypatch.setattr(o, "_dump_document", lambda doc: sent.append(native(doc)) or sent[-1])
    model.generate_xml_input()
    with mock.patch("json.dumps", wraps=json.dumps):  # a replaced function: the encoder's path
        model.generate_xml_input()
        slow = model._serialize()
    return sent, slow


@pytest.mark.parametrize("name", MODELS)
def test_native_document_and_request_are_the_encoders(name, monkeypatch):
    model = MODELS[name]()
    (native, sent, encoded), slow = requests(model, monkeypatch)
    assert native == sent == encoded == json.dumps(slow).encode()
    assert json.dumps(model._serialize()) == json.dumps(slow)


def test_what_callers_replace_is_still_used(monkeypatch):
    class Mine(OpenModel):
        def _serialize(self):
            return {"mine": [1.5]}

    assert requests(Mine(), monkeypatch)[0] == [b'{"mine": [1.5]}'] * 2  # never native

    class Loud(o.CheckMember1D):
        def _serialize(self):
            return {**super()._serialize(), "Name": "loud"}

    model = OpenModel()
    model._check_member_list.append(Loud(1, "quiet"))
    assert model._serialize()["check_member_list"] == [["Loud", {"Id": 1, "Name": "loud"}]]
    monkeypatch.setattr(_EnumEncoder, "default", lambda self, obj: "hooked")
    assert model._serialize()["project_data"] == "hooked"


@given(
    st.recursive(
        st.none() | st.booleans() | st.floats() | st.integers(-(2**63), 2**63 - 1) | st.text(),
        st.lists,
    )
)
def test_any_plain_value_is_written_as_json_writes_it(value):
    assert o._dump_document(value) == json.dumps(value).encode()
    assert json.dumps(o._plain_document((value,))) == json.dumps([value])
