"""A beam, a column and a one-way slab built member by member with Model.

Run it as ``python examples/model_members.py``: it prints the serialised model, the document
that ``generate_xml_input()`` sends to the conversion service, and a summary; it draws the
three sections side by side to ``output/members.png`` and prints what ``validate()`` finds.

Units: lengths in m, forces in N, moments in N m; section coordinates (y, z) are measured from
the centre of the rectangle.
"""

import json
import pathlib

import matplotlib.pyplot as plt

from marlox.external.idea_rcs import Model, RectSection
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    FatigueLoading,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)


def rectangle_stirrup(
    width: float, height: float, cover: float, diameter: float
) -> list[tuple[float, float]]:
    """A closed stirrup around a rectangle: its centre line, first point repeated at the end."""
    y, z = width / 2 - cover - diameter / 2, height / 2 - cover - diameter / 2
    return [(-y, -z), (y, -z), (y, z), (-y, z), (-y, -z)]


def rounded_stirrup(
    width: float, height: float, cover: float, diameter: float, radius: float
) -> list[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]:
    """A closed stirrup with a rounded corner at each vertex: straight legs joined by arcs.

    An arc is given as ((y_end, z_end), (y_on_arc, z_on_arc)); the point on the arc is taken
    halfway round each corner.
    """
    y, z = width / 2 - cover - diameter / 2, height / 2 - cover - diameter / 2
    a, b = y - radius, z - radius
    h = radius * 2**-0.5  # 45 degrees round the corner
    return [
        (-a, -z),
        (a, -z),
        ((y, -b), (a + h, -b - h)),
        (y, b),
        ((a, z), (a + h, b + h)),
        (-a, z),
        ((-y, b), (-a - h, b + h)),
        (-y, -b),
        ((-a, -z), (-a - h, -b - h)),
    ]


model = Model()
concrete = model.create_concrete_material(ConcreteMaterial.C30_37)
steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)

# A beam 300 x 500 mm: three bars of 20 mm at the bottom, two of 16 mm at the top, stirrups of
# 8 mm every 200 mm that count for shear.
beam = model.create_beam(RectSection(0.3, 0.5), concrete, name="Beam at midspan")
beam.create_bar_layer(
    origin=(-0.102, -0.202), diameter=0.020, material=steel, number_of_bars=3, delta_y=0.204
)
beam.create_bar_layer(
    origin=(-0.104, 0.204), diameter=0.016, material=steel, number_of_bars=2, delta_y=0.208
)
beam.create_stirrup(
    rectangle_stirrup(0.3, 0.5, 0.030, 0.008), 0.008, steel, 0.200, shear_check=True
)
service = InternalForces(my=85e3, qz=60e3)
beam.create_extreme(
    description="Midspan",
    fundamental=LoadingULS(InternalForces(my=120e3, qz=85e3)),
    characteristic=LoadingSLS(service),
    frequent=LoadingSLS(InternalForces(my=70e3, qz=50e3)),
    quasi_permanent=LoadingSLS(InternalForces(my=55e3, qz=40e3)),
    fatigue=FatigueLoading(
        LoadingULS(InternalForces(my=75e3, qz=52e3)), LoadingULS(InternalForces(my=40e3, qz=28e3))
    ),
)
beam.create_extreme(fundamental=LoadingULS(InternalForces(my=-60e3, qz=-40e3)))  # "... - E 2"

# A column 400 x 400 mm: four bars of 25 mm in two layers, stirrups of 10 mm with rounded
# corners every 250 mm.
column = model.create_compression_member(
    RectSection(0.4, 0.4), concrete, name="Column foot", relative_humidity=70
)
for z in (-0.1375, 0.1375):
    column.create_bar_layer(
        origin=(-0.1375, z), diameter=0.025, material=steel, number_of_bars=2, delta_y=0.275
    )
column.create_stirrup(
    rounded_stirrup(0.4, 0.4, 0.035, 0.010, 0.02),
    0.010,
    steel,
    0.250,
    shear_check=True,
    mandrel_diameter_factor=4.0,
)
column.create_extreme(
    fundamental=LoadingULS(InternalForces(n=-1.85e6, my=95e3, mz=40e3)),
    quasi_permanent=LoadingSLS(InternalForces(n=-1.1e6, my=45e3, mz=15e3)),
)

# A strip of slab 1 m wide and 250 mm thick, spanning one way: bars of 12 mm every 150 mm at the
# bottom, of 10 mm every 200 mm at the top.
slab = model.create_one_way_slab(RectSection(1.0, 0.25), concrete, coeff_kx=1.0)
slab.create_bar_layer(
    origin=(-0.45, -0.094), diameter=0.012, material=steel, number_of_bars=7, delta_y=0.9
)
slab.create_bar_layer(
    origin=(-0.4, 0.095), diameter=0.010, material=steel, number_of_bars=5, delta_y=0.8
)
slab.create_extreme(
    fundamental=LoadingULS(InternalForces(my=62e3, qz=48e3)),
    frequent=LoadingSLS(InternalForces(my=38e3)),
    quasi_permanent=LoadingSLS(InternalForces(my=31e3)),
)

print(json.dumps(model._serialize(), indent=2))

members = {"beam": beam, "column": column, "slab": slab}
for name, member in members.items():
    print(
        f"{name}: bars {len(member.bars)}, stirrups {len(member.stirrups)}, "
        f"extremes {[extreme.description for extreme in member.extremes]}"
    )

figure, axes = plt.subplots(1, 3, figsize=(12, 4))
for ax, member in zip(axes, members.values(), strict=True):
    model.plot(member, ax)
pathlib.Path("output").mkdir(exist_ok=True)
figure.savefig("output/members.png", dpi=150, bbox_inches="tight")
print("findings:", [str(finding) for finding in model.validate()])
