"""A one-way slab strip reinforced "Ø12 @ 150" at the bottom and "Ø10 @ 200" on top.

The layer by spacing places as many bars as the strip holds at that spacing and reports the
area per metre that the spacing stands for (754 mm2/m for Ø12 @ 150), which is what a
drawing's schedule states. RCS checks the bars the strip holds, so the strip is as wide as a
whole number of both spacings (0.6 m: 4 × 150 mm, 3 × 200 mm) and carries exactly that area per
metre; a 1 m strip would hold 7 bars of Ø12, 792 mm2/m, and its checks would flatter the slab.
The forces are those of the 0.6 m strip. The section is drawn to ``output/slab_strip.png``.

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

WIDTH = 0.6  # m: a whole number of 150 mm and of 200 mm
strip = model.create_one_way_slab(RectSection(WIDTH, 0.25), concrete, name="Slab S1 midspan")
bottom = strip.create_bar_layer_by_spacing(0.012, steel, 0.15, cover=0.03)
top = strip.create_bar_layer_by_spacing(0.010, steel, 0.20, cover=0.03, face="top")
for layer in (bottom, top):
    held = len(layer) * layer.area_per_metre * layer.spacing / WIDTH
    print(f"{layer!r}: {len(layer)} bars in the strip, {held * 1e6:.0f} mm2/m")

strip.create_extreme(  # 62, 48, 44 and 31 kN(m) per metre, on the 0.6 m strip
    fundamental=LoadingULS(InternalForces(my=62e3 * WIDTH, qz=48e3 * WIDTH)),
    characteristic=LoadingSLS(InternalForces(my=44e3 * WIDTH)),
    quasi_permanent=LoadingSLS(InternalForces(my=31e3 * WIDTH)),
)
strip.create_extreme(
    description="Over the support",
    fundamental=LoadingULS(InternalForces(my=-38e3 * WIDTH, qz=60e3 * WIDTH)),
    characteristic=LoadingSLS(InternalForces(my=-27e3 * WIDTH)),
    quasi_permanent=LoadingSLS(InternalForces(my=-19e3 * WIDTH)),
)

depths = strip.section_properties()["effective_depth"]
print(f"{strip!r}; d = {depths['bottom']:.3f} m (sagging), {depths['top']:.3f} m (hogging)")
for finding in model.validate():
    print(finding)

output = pathlib.Path("output")
output.mkdir(exist_ok=True)
model.plot(strip).figure.savefig(output / "slab_strip.png", dpi=150, bbox_inches="tight")
print(f"section drawn to {output / 'slab_strip.png'}")
