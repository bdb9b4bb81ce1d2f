"""Open an existing IDEA StatiCa RCS input XML, raise a load, and write the model again.

The input is IDEA StatiCa's own sample ``RcsOpenModel3.xml`` (UTF-16, one T-beam section) unless
a path is given; the changed model is written through the platform's conversion service (the
embedded local platform when none is configured) to ``changed.xml``.

    python examples/read_input_xml.py [input.xml]
"""

import pathlib
import sys

from marlox.external.idea_rcs import OpenModel

SAMPLE = pathlib.Path(__file__).resolve().parent.parent / "tests/data/iom-rcs-RcsOpenModel3.xml"

model = OpenModel.from_xml(sys.argv[1] if len(sys.argv) > 1 else SAMPLE)
for section in model.check_sections:
    for extreme in section.extremes:
        if extreme.fundamental is not None:
            extreme.fundamental.internal_forces.my *= 1.2  # 20 % more bending moment
            print(
                f"{section.description} / {extreme.description}: "
                f"My = {extreme.fundamental.internal_forces.my / 1e3:.0f} kNm"
            )

xml = model.generate_xml_input().getvalue()
pathlib.Path("changed.xml").write_bytes(xml)
again = OpenModel.from_xml(xml)
print(
    f"wrote changed.xml ({len(xml)} bytes); it reads back to "
    f"{len(again.reinforced_sections[0].bars)} bars and "
    f"{len(again.extremes)} extreme(s)"
)

# Its section as it reads back: with matplotlib to a PNG, and without it as SVG text (what
# Jupyter shows inline for a member).
pathlib.Path("output").mkdir(exist_ok=True)
section = again.check_sections[0]
again.plot(section).figure.savefig("output/changed.png", dpi=150, bbox_inches="tight")
pathlib.Path("output/changed.svg").write_text(again.svg(section), encoding="utf-8")
print("section drawn to output/changed.png and output/changed.svg")
