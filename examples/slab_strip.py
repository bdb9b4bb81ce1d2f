"""A one-way slab strip one metre wide, reinforced "Ø12 @ 150" at the bottom, "Ø10 @ 200" on top.

The layer by spacing places as many bars as the strip holds at that spacing and reports the
area per metre that the spacing stands for (754 mm2/m for Ø12 @ 150), which is what a
drawing's schedule states. The section is drawn to ``output/slab_strip.png``.

    python examples/slab_strip.py

Axes and signs as IDEA StatiCa RCS reads them: y across the strip, z upwards, the origin on
the centroid; a positive My puts the bottom face in tension (sagging), a negative one the top.
"""

import pathlib

from marlox.external.idea_rcs import Model, RectSection
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)

model = Model()
concrete = model.create_concrete_material(ConcreteMaterial.C30_37)
steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)

strip = model.create_one_way_slab(RectSection(1.0, 0.25), concrete, name="Slab S1 midspan")
bottom = strip.create_bar_layer_by_spacing(0.012, steel, 0.15, cover=0.03)
top = strip.create_bar_layer_by_spacing(0.010, steel, 0.20, cover=0.03, face="top")
for layer in (bottom, top):
    print(f"{layer!r}: {len(layer)} bars in the strip, {layer.area_per_metre * 1e6:.0f} mm2/m")

strip.create_extreme(  # per metre of width: N m / m
    fundamental=LoadingULS(InternalForces(my=62e3, qz=48e3)),
    characteristic=LoadingSLS(InternalForces(my=44e3)),
    quasi_permanent=LoadingSLS(InternalForces(my=31e3)),
)
strip.create_extreme(
    description="Over the support",
    fundamental=LoadingULS(InternalForces(my=-38e3, qz=60e3)),
    characteristic=LoadingSLS(InternalForces(my=-27e3)),
    quasi_permanent=LoadingSLS(InternalForces(my=-19e3)),
)

depths = strip.section_properties()["effective_depth"]
print(f"{strip!r}; d = {depths['bottom']:.3f} m (sagging), {depths['top']:.3f} m (hogging)")
for finding in model.validate():
    print(finding)

output = pathlib.Path("output")
output.mkdir(exist_ok=True)
model.plot(strip).figure.savefig(output / "slab_strip.png", dpi=150, bbox_inches="tight")
print(f"section drawn to {output / 'slab_strip.png'}")
