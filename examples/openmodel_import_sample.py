"""Build IDEA StatiCa's RCS sample model (a T-beam section) through OpenModel.

The model is the one of IDEA StatiCa's ``ImportOpenModel.xml``: a T-section of C30/37 with
twelve B 500B bars and two closed stirrups, one check section with one extreme, and the member
data of a beam. The script prints the serialised model and what ``validate()`` finds, draws
the check section to ``output/import_sample.png`` and writes the input XML through the platform's
conversion service (the embedded local platform when none is configured). The T is drawn and
checked where IDEA places it: its centroid on the origin of the bar coordinates.

    python examples/openmodel_import_sample.py [output.xml]
"""

import json
import pathlib
import sys

from marlox.external.idea_rcs import OpenModel
from marlox.external.idea_rcs.objects import (
    CalculationSetup,
    ConcreteMaterial,
    CrossSectionType,
    ExposureClass,
    ExposureClassesDataEc2,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    MemberType,
    ProjectData,
    ReinforcementMaterial,
    TwoWaySlabType,
)

# Bar centres (y, z) [m] and diameters [m], as in the sample.
BARS = [
    ((0.346, 0.2157), 0.012),
    ((0.071, 0.2157), 0.012),
    ((-0.071, 0.2157), 0.012),
    ((-0.346, 0.2157), 0.012),
    ((-0.071, -0.3923), 0.02),
    ((0.071, -0.3923), 0.02),
    ((-0.346, 0.1437), 0.012),
    ((0.346, 0.1437), 0.012),
    ((-0.079, -0.0063), 0.012),
    ((-0.079, -0.2343), 0.012),
    ((0.079, -0.2343), 0.012),
    ((0.079, -0.0063), 0.012),
]


def rectangle(y0: float, z0: float, y1: float, z1: float) -> list[tuple[float, float]]:
    """A closed stirrup path around a rectangle, starting and ending at (y0, z0)."""
    return [(y0, z0), (y0, z1), (y1, z1), (y1, z0), (y0, z0)]


def build_model() -> OpenModel:
    model = OpenModel(project_data=ProjectData(name="TBeam_RCS", date="2022-12-07"))
    concrete = model.create_matconcrete_ec2(ConcreteMaterial.C30_37)
    steel = model.create_matreinforcement_ec2(ReinforcementMaterial.B_500B)

    section = model.create_cross_section_parameter(
        CrossSectionType.TG,
        concrete,
        "Tsection",
        Height=0.7,
        Width=0.8,
        TopFlangeWidth=0.16,
        WallWidth=0.25,
    )
    reinforced = model.create_reinforced_cross_section(section)
    for centre, diameter in BARS:
        reinforced.create_bar(centre, diameter, steel)
    # Stirrups: diameter 8 mm at 150 mm, mandrel 4 diameters; the web stirrup counts for
    # torsion as well.
    reinforced.create_stirrup(
        rectangle(-0.091, 0.2257, 0.091, -0.4063), 0.008, steel, 0.15, True, True, 4
    )
    reinforced.create_stirrup(
        rectangle(-0.366, 0.2257, 0.366, 0.1337), 0.008, steel, 0.15, True, False, 4
    )

    member = model.create_check_member1d()
    check_section = model.add_check_section(member, reinforced)
    check_section.create_extreme(
        fundamental=LoadingULS(InternalForces(qy=5000.0, qz=50000.0, my=150000.0, mz=20000.0)),
        characteristic=LoadingSLS(InternalForces(my=80000.0, mz=7000.0)),
        quasi_permanent=LoadingSLS(InternalForces()),
    )
    model.add_member_data_ec2(
        member,
        MemberType.BEAM,
        TwoWaySlabType.SHELL_AS_PLATE,
        calculation_setup=CalculationSetup(uls_response=True, uls_torsion=True, fatigue=True),
        exposure_class_data=ExposureClassesDataEc2(
            carbonation=ExposureClass.XC3, chlorides=ExposureClass.XD1
        ),
        relative_humidity=65,
    )
    return model


def main() -> None:
    model = build_model()
    print(json.dumps(model._serialize(), indent=2))
    print("findings:", [str(finding) for finding in model.validate()])
    (check_section,) = model.check_sections
    pathlib.Path("output").mkdir(exist_ok=True)
    drawing = pathlib.Path("output", "import_sample.png")
    model.plot(check_section).figure.savefig(drawing, dpi=150, bbox_inches="tight")
    output = sys.argv[1] if len(sys.argv) > 1 else "import_sample.xml"
    with open(output, "wb") as file:
        file.write(model.generate_xml_input().getvalue())
    print(f"input XML written to {output}")


if __name__ == "__main__":
    main()
