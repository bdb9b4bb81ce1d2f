"""A parametric study: one beam section with four bar diameters under five bending moments,
twenty IDEA StatiCa RCS runs, at most four at once, into one table.

Each variant is a model and the parameters that tell it from the others; ``run_study`` converts
each model to input XML, runs it as an analysis job (reusing results already in the cache
folder), and joins every variant's check table with its parameters. The governing check of each
variant is printed. Running RCS needs an IDEA StatiCa RCS service (``MARLOX_IDEA_RCS_URL`` or
``MARLOX_IDEA_RCS_EXE``); without one every variant fails with the job's error, which is
printed instead. (In CI the service is a stand-in that returns sample results whose unity
checks merely grow with the moment and shrink with the bars' area.)

    python examples/study.py [cache folder]
"""

import sys
import tempfile

from marlox.external.idea_rcs import Model, RectSection
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)
from marlox.external.idea_rcs.study import Variant, run_study

DIAMETERS = (0.016, 0.020, 0.025, 0.032)  # m
MOMENTS = (150e3, 200e3, 250e3, 300e3, 350e3)  # N m


def beam(diameter: float, moment: float) -> Model:
    model = Model()
    concrete = model.create_concrete_material(ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)
    beam = model.create_beam(RectSection(0.3, 0.6), concrete, name=f"B {diameter * 1e3:g}")
    beam.create_bar_layer(
        origin=(-0.1, -0.25), diameter=diameter, material=steel, number_of_bars=4, delta_y=0.2 / 3
    )
    beam.create_bar_layer(
        origin=(-0.1, 0.255), diameter=0.012, material=steel, number_of_bars=2, delta_y=0.2
    )
    beam.create_extreme(
        fundamental=LoadingULS(InternalForces(my=moment, qz=0.2 * moment)),
        characteristic=LoadingSLS(InternalForces(my=0.7 * moment)),
    )
    return model


def main() -> None:
    cache = sys.argv[1] if len(sys.argv) > 1 else tempfile.mkdtemp(prefix="marlox-cache-")
    variants = [
        Variant(beam(d, m), {"diameter_mm": round(d * 1e3), "moment_kNm": m / 1e3})
        for d in DIAMETERS
        for m in MOMENTS
    ]
    study = run_study(
        variants, seats=4, cache=cache, units="engineering", progress=sys.stderr.isatty()
    )
    print(f"{study!r}, results cached in {cache}")
    for failure in study.failures[:3]:
        print(f"variant {failure.index} {failure.parameters}: {failure.error}")

    # The governing check per variant: the first governing row of each variant is its worst.
    print(f"{'d mm':>5} {'M kNm':>6}  {'section':>7}  {'family':<12} {'result':<10} {'uc':>6}")
    seen = set()
    for row in study.governing().to_pylist():
        if row["variant"] in seen:
            continue
        seen.add(row["variant"])
        print(
            f"{row['diameter_mm']:>5} {row['moment_kNm']:>6g}  {row['section']:>7}  "
            f"{row['family']:<12} {row['result']:<10} {row['check_value']:>6.3f}"
        )


if __name__ == "__main__":
    main()
