"""The main path: a reinforced-concrete beam section, its IDEA StatiCa RCS input and its check.

Builds a beam through ``Model``, checks it and draws it to ``output/beam.png``, converts it to IDEA
StatiCa RCS input XML through the platform's conversion service and writes ``beam.xml``; then
submits the check as an analysis job. Without a platform configured, the embedded local
platform converts the model in-process; running RCS itself needs an IDEA StatiCa RCS service
(``MARLOX_IDEA_RCS_URL`` or ``MARLOX_IDEA_RCS_EXE``), and without one the job reports that
clearly.

    python examples/beam.py [beam.xml]
"""

import logging
import pathlib
import sys

from marlox.errors import ExecutionError
from marlox.external.idea_rcs import Beam, IdeaRcsAnalysis, Model, RectSection
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)


def build_beam_model() -> tuple[Model, Beam]:
    model = Model()
    concrete = model.create_concrete_material(ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)

    # 300 x 600 mm, 33 mm cover to the stirrups' centre lines, bars 0.5 mm clear of them.
    beam = model.create_beam(
        RectSection(0.3, 0.6), concrete, name="Beam B1 midspan", relative_humidity=65
    )
    beam.create_bar_layer(
        origin=(-0.1, -0.25), diameter=0.025, material=steel, number_of_bars=4, delta_y=0.2
    )
    beam.create_bar_layer(
        origin=(-0.1, 0.255), diameter=0.012, material=steel, number_of_bars=2, delta_y=0.2
    )
    beam.create_stirrup(
        [(-0.117, -0.267), (0.117, -0.267), (0.117, 0.267), (-0.117, 0.267), (-0.117, -0.267)],
        0.008,
        steel,
        0.15,
        shear_check=True,
    )

    beam.create_extreme(
        fundamental=LoadingULS(InternalForces(my=280e3, qz=40e3)),
        characteristic=LoadingSLS(InternalForces(my=200e3, qz=28e3)),
        quasi_permanent=LoadingSLS(InternalForces(my=140e3, qz=20e3)),
    )
    beam.create_extreme(
        description="Support",
        fundamental=LoadingULS(InternalForces(my=-150e3, qz=180e3)),
        characteristic=LoadingSLS(InternalForces(my=-105e3, qz=126e3)),
        quasi_permanent=LoadingSLS(InternalForces(my=-75e3, qz=90e3)),
    )
    return model, beam


def main() -> None:
    # The SDK logs a long job's progress; an application shows it by configuring logging.
    logging.basicConfig(level=logging.INFO, format="%(name)s: %(message)s")
    output = sys.argv[1] if len(sys.argv) > 1 else "beam.xml"
    model, beam = build_beam_model()
    # Before paying for a run: the findings (none for this beam) and a drawing to look at.
    for finding in model.ensure_valid():  # raises ModelError listing every error
        print(finding)
    drawing = pathlib.Path("output", "beam.png")
    drawing.parent.mkdir(exist_ok=True)
    model.plot(beam).figure.savefig(drawing, dpi=150, bbox_inches="tight")
    print(f"section drawn to {drawing}")
    input_file = model.generate_xml_input(as_file=True)
    with open(output, "wb") as file:
        file.write(input_file.getvalue_binary())
    print(f"IDEA StatiCa RCS input written to {output} ({len(input_file.getvalue_binary())} bytes)")

    analysis = IdeaRcsAnalysis(input_file)
    try:
        analysis.execute(timeout=600)
    except ExecutionError as error:
        print(f"analysis not run: {error}")
        return
    result = analysis.get_output_file()
    print(f"result XML received ({len(result.getvalue())} bytes)")


if __name__ == "__main__":
    main()
