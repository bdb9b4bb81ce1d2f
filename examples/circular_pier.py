"""A circular bridge pier: 20 bars on a circle and a hoop, in a few lines.

Builds a 1.2 m round column with 20 bars of 32 mm inside a 12 mm hoop, 50 mm clear cover,
prints its section properties and what ``validate()`` finds, draws the section to
``output/circular_pier.png`` and writes its IDEA StatiCa RCS input XML to
``output/circular_pier.xml`` (through the embedded local platform when none is configured).

    python examples/circular_pier.py

Axes and signs as IDEA StatiCa RCS reads them: y across, z upwards, the origin on the
centroid; N is positive in tension (compression is negative); a positive My puts the bottom
(negative z) in tension.
"""

import pathlib

from marlox.external.idea_rcs import CircleSection, Model
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)

model = Model()
concrete = model.create_concrete_material(ConcreteMaterial.C35_45)
steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)

pier = model.create_compression_member(CircleSection(1.2), concrete, name="Pier P2 base")
cover, hoop = 0.05, 0.012
pier.create_ring_stirrup(hoop, steel, 0.2, cover=cover, shear_check=True)
bars = pier.create_bar_circle(20, 0.032, steel, cover=cover + hoop)
print(f"{len(bars)} bars on a circle of radius {abs(complex(*bars[0].coordinates)):.3f} m")

pier.create_extreme(
    fundamental=LoadingULS(InternalForces(n=-9.5e6, my=2.1e6, qz=350e3)),  # N compression
    characteristic=LoadingSLS(InternalForces(n=-7.0e6, my=1.5e6)),
    quasi_permanent=LoadingSLS(InternalForces(n=-6.0e6, my=0.9e6)),
)

properties = pier.section_properties()
print(
    f"{pier!r}\n"
    f"concrete {properties['concrete_area']:.4f} m2, "
    f"As {properties['reinforcement_area'] * 1e6:.0f} mm2 "
    f"({properties['reinforcement_ratio']:.2%}), "
    f"d (bottom in tension) {properties['effective_depth']['bottom']:.3f} m"
)
for finding in model.validate():
    print(finding)

output = pathlib.Path("output")
output.mkdir(exist_ok=True)
model.plot(pier).figure.savefig(output / "circular_pier.png", dpi=150, bbox_inches="tight")
xml = model.generate_xml_input().getvalue()
(output / "circular_pier.xml").write_bytes(xml)
print(f"section drawn to {output / 'circular_pier.png'}; input XML {len(xml)} bytes")
