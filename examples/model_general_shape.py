"""A hollow box beam of general shape: a polygon with an opening.

Run it as ``python examples/model_general_shape.py``: it prints the serialised model and a
summary, then checks a variant with faults and draws both to ``output/box.png`` and
``output/box_faults.png`` with the findings marked. The vertices (y, z) are in metres; each
polygon is closed implicitly, so its first vertex is not repeated at the end.
"""

import json
import pathlib

from marlox.external.idea_rcs import GeneralShape, Model
from marlox.external.idea_rcs.objects import (
    CalculationSetup,
    ConcreteMaterial,
    CrossSectionComponent,
    ExposureClass,
    ExposureClassesDataEc2,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)

# Outer boundary 800 x 600 mm with chamfered bottom corners; a void of 500 x 300 mm inside.
outline = [(0.05, 0.0), (0.75, 0.0), (0.8, 0.05), (0.8, 0.6), (0.0, 0.6), (0.0, 0.05)]
void = [(0.15, 0.15), (0.65, 0.15), (0.65, 0.45), (0.15, 0.45)]

model = Model()
concrete = model.create_concrete_material(ConcreteMaterial.C35_45, fck=35)
steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B, epsuk=25)

box = model.create_beam(
    GeneralShape(outline, openings=[void]),
    concrete,
    name="Box girder, support",
    rcs_name="Box",
    design_member_name="Girder 1",
    calculation_control=CalculationSetup(fatigue=True),
    exposure_classes=ExposureClassesDataEc2(carbonation=ExposureClass.XC3),
    creep_coefficient=2.0,
)
box.create_bar_layer(
    origin=(0.06, 0.05), diameter=0.020, material=steel, number_of_bars=6, delta_y=0.68
)
box.create_bar_layer(
    origin=(0.05, 0.55), diameter=0.016, material=steel, number_of_bars=8, delta_y=0.7
)
for y in (0.05, 0.75):  # one bar in the middle of each web
    box.create_bar((y, 0.3), 0.016, steel)
box.create_extreme(
    fundamental=LoadingULS(InternalForces(my=-420e3, qz=310e3, mx=25e3)),
    characteristic=LoadingSLS(InternalForces(my=-300e3, qz=220e3)),
)

print(json.dumps(model._serialize(), indent=2))
OUTPUT = pathlib.Path("output")
OUTPUT.mkdir(exist_ok=True)
model.plot(box).figure.savefig(OUTPUT / "box.png", dpi=150, bbox_inches="tight")
section = model.cross_sections[0]
assert isinstance(section, CrossSectionComponent)  # a general shape is made of components
print(
    f"{type(section).__name__} with {len(section.components)} component; "
    f"bars {len(box.bars)}, extremes {[extreme.description for extreme in box.extremes]}"
)

# The same box with three faults: a bar in the void, two bars on top of each other and a
# stirrup whose arc bulges out of the web. validate() names each; the drawing marks them.
box.create_bar((0.4, 0.3), 0.020, steel)
box.create_bar((0.26, 0.55), 0.016, steel)
box.create_stirrup([(0.04, 0.04), (0.04, 0.56), ((0.04, 0.04), (-0.02, 0.3))], 0.008, steel, 0.2)
for finding in model.validate():
    print(finding)
model.plot(box).figure.savefig(OUTPUT / "box_faults.png", dpi=150, bbox_inches="tight")
