"""Write a large RCS result file as IDEA StatiCa RCS writes it, for the parser benchmarks.

The file is UTF-16 LE with BOM and CRLF line ends, indented by two spaces, rooted at
"ArrayOfSectionConcreteCheckResult". Every extreme carries all families with the item counts of
a typical RCS run (1 capacity, 1 shear, 1 torsion, 1 interaction, 2 crack width, 4 stress
limitation, 1 detailing, 1 fatigue with 2 shear items, and the "Overall" block), and every item
the common head (xsi:type, InternalFores, NonConformities, Result, CheckValue, LimitCheckValue,
Check); some items carry non-conformities. That is about 32 KB of UTF-16 per extreme. Numbers
are random doubles printed in .NET's round-trip form.

Sections are written one at a time, so memory stays flat whatever the size:

    python bench/generate_results.py --mb 100 --out build/bench/results-100mb.xml
"""

import argparse
import math
import random
import sys
from pathlib import Path

MB = 1_000_000
NL = "\r\n"
PAD = ["  " * i for i in range(16)]
FORCES = ("N", "Qy", "Qz", "Mx", "My", "Mz")
STRESS = (
    ("StressLimitationShort", "Check_7_2_2_Concrete_fck"),
    ("StressLimitationShort", "Check_7_2_5_ReinforcementBars_fyk"),
    ("StressLimitationLong", "Check_7_2_3_Concrete_fck"),
    ("StressLimitationLong", "Check_7_2_5_Tendons_fpk"),
)
FAMILIES = (
    "Capacity",
    "Shear",
    "Torsion",
    "Interaction",
    "CrackWidth",
    "StressLimitation",
    "Detailing",
    "Fatigue",
)


def dotnet(value):
    """A double in .NET's round-trip ("R") form: 0.236534..., 1E-05, 7.38E+15, NaN, -0."""
    if math.isnan(value):
        return "NaN"
    if value == int(value) and abs(value) < 1e15:
        return str(int(value)) if value or math.copysign(1, value) > 0 else "-0"
    text = repr(value)
    if "e" in text:
        mantissa, exponent = text.split("e")
        sign = "-" if exponent[0] == "-" else "+"
        text = f"{mantissa.removesuffix('.0')}E{sign}{exponent.lstrip('+-').zfill(2)}"
    return text


class Writer:
    """Lines of one section, indented as XmlSerializer indents them."""

    def __init__(self, rng):
        self.rng = rng
        self.lines = []

    def num(self, scale=1e5):
        r = self.rng.random()
        if r < 0.1:
            return str(self.rng.randrange(-1000, 1000) * 1000)
        if r < 0.13:
            return "0"
        return dotnet(self.rng.uniform(-scale, scale))

    def open(self, d, tag, attrs=""):
        self.lines.append(f"{PAD[d]}<{tag}{attrs}>")

    def close(self, d, tag):
        self.lines.append(f"{PAD[d]}</{tag}>")

    def leaf(self, d, tag, text):
        self.lines.append(f"{PAD[d]}<{tag}>{text}</{tag}>")

    def forces(self, d, tag, values):
        self.open(d, tag)
        for k, v in zip(FORCES, values, strict=True):
            self.leaf(d + 1, k, v)
        self.close(d, tag)

    def item(self, d, xsi_type, check, own, forces=None, result="Passed"):
        self.open(d, "ConcreteCheckResultBase", f' xsi:type="{xsi_type}"')
        self.forces(d + 1, "InternalFores", forces or [self.num() for _ in FORCES])
        if self.rng.random() < 0.2:
            self.open(d + 1, "NonConformities")
            for _ in range(self.rng.randrange(1, 4)):
                self.open(d + 2, "NonConformity")
                a, b, c, e, f = (self.rng.getrandbits(n) for n in (32, 16, 16, 16, 48))
                guid = f"{a:08x}-{b:04x}-{c:04x}-{e:04x}-{f:012x}"
                self.leaf(d + 3, "Guid", guid)
                self.leaf(d + 3, "Severity", self.rng.choice(("Info", "Warning")))
                self.close(d + 2, "NonConformity")
            self.close(d + 1, "NonConformities")
        else:
            self.lines.append(f"{PAD[d + 1]}<NonConformities />")
        self.leaf(d + 1, "Result", result)
        self.leaf(d + 1, "CheckValue", dotnet(self.rng.random()))
        self.leaf(d + 1, "LimitCheckValue", "1")
        self.leaf(d + 1, "Check", check)
        own(d + 1)
        self.close(d, "ConcreteCheckResultBase")

    def family(self, d, result_type, items):
        self.open(d, "ConcreteCheckResult")
        self.leaf(d + 1, "ResultType", result_type)
        self.open(d + 1, "CheckResults")
        for item in items:
            item(d + 2)
        self.close(d + 1, "CheckResults")
        self.close(d, "ConcreteCheckResult")

    def values(self, d, tags, scale=1e5):
        for tag in tags:
            self.leaf(d, tag, self.num(scale))

    def extreme(self, d):
        rng = self.rng
        fmax = [self.num() for _ in FORCES]
        fmin = [self.num() for _ in FORCES]
        shear = ("Ved", "Vrdc", "Vrdr", "Vrdmax", "Vrds", "Vrd")

        def capacity(e):
            for tag in ("Fu1", "Fu2", "Fu"):
                self.forces(e, tag, [self.num() for _ in FORCES])
            self.leaf(e, "CheckMethod", "IDCheckTypeNuMuMu")

        def crack(e):
            self.values(e, ("N", "My", "Mz"))
            self.values(e, ("W", "Wlim"), 1e-3)

        def stress(type_check, e):
            value = "NaN" if type_check.endswith("Tendons_fpk") else self.num(4e8)
            self.leaf(e, "TypeCheck", type_check)
            self.leaf(e, "Stress", value)
            self.leaf(e, "LimitStress", "NaN" if value == "NaN" else self.num(4e8))

        def fatigue(e):
            self.leaf(e, "DecissionMethod", "Method_6_8_7_1")
            self.forces(e, "InternalForceMax", fmax)
            self.forces(e, "InternalForceMin", fmin)

        self.open(d, "ConcreteCheckResults")
        self.open(d + 1, "CheckResults")
        e = d + 2
        self.family(
            e,
            "Capacity",
            [
                lambda x: self.item(
                    x, "ConcreteULSCheckResultDiagramCapacityEc2", "Capacity", capacity
                )
            ],
        )
        self.family(
            e,
            "Shear",
            [
                lambda x: self.item(
                    x, "ConcreteULSCheckResultShearEc2", "Shear", lambda y: self.values(y, shear)
                )
            ],
        )
        self.family(
            e,
            "Torsion",
            [
                lambda x: self.item(
                    x,
                    "ConcreteULSCheckResultTorsionEc2",
                    "Torsion",
                    lambda y: self.values(y, ("Ted", "Trdc", "Trdmax", "Trds", "Trd")),
                )
            ],
        )
        self.family(
            e,
            "Interaction",
            [
                lambda x: self.item(
                    x,
                    "ConcreteULSCheckResultInteractionEc2",
                    "Interaction",
                    lambda y: (
                        self.values(y, ("Ned", "Medy", "Medz", "Ved", "Ted")),
                        self.values(
                            y, ("CheckValueShearAndTorsion", "CheckValueShearTorsionAndBending"), 1
                        ),
                    ),
                )
            ],
        )
        self.family(
            e,
            "CrackWidth",
            [
                lambda x, c=c: self.item(x, "ConcreteSLSCheckResultCrackWidthEc2", c, crack)
                for c in ("CrackWidthShort", "CrackWidthLong")
            ],
        )
        self.family(
            e,
            "StressLimitation",
            [
                lambda x, c=c, t=t: self.item(
                    x,
                    "ConcreteSLSCheckResultStressLimitationEc2",
                    c,
                    lambda y: stress(t, y),
                    result=rng.choice(("Passed", "Passed", "CheckIsNotNecesssary")),
                )
                for c, t in STRESS
            ],
        )
        self.family(
            e,
            "Detailing",
            [
                lambda x: self.item(
                    x,
                    "ConcreteCheckDetailingEc2",
                    "Detailing",
                    lambda y: self.values(y, ("CheckValueLongReinf", "CheckValueShearReinf"), 1),
                )
            ],
        )
        self.family(
            e,
            "Fatigue",
            [
                lambda x: self.item(x, "ConcreteULSCheckResultFatigueEc2", "Fatigue", fatigue),
                lambda x: self.item(
                    x,
                    "ConcreteULSCheckResultShearEc2",
                    "Shear",
                    lambda y: self.values(y, shear),
                    forces=fmax,
                ),
                lambda x: self.item(
                    x,
                    "ConcreteULSCheckResultShearEc2",
                    "Shear",
                    lambda y: self.values(y, shear),
                    forces=fmin,
                ),
            ],
        )
        self.close(d + 1, "CheckResults")
        self.open(d + 1, "Overall")
        self.open(d + 2, "Checks")
        for result_type in FAMILIES:
            self.open(d + 3, "ConcreteCheckResultOverallItem")
            self.leaf(d + 4, "ResultType", result_type)
            self.leaf(d + 4, "Result", "Passed")
            self.leaf(d + 4, "CheckValue", dotnet(rng.random()))
            self.close(d + 3, "ConcreteCheckResultOverallItem")
        self.close(d + 2, "Checks")
        self.close(d + 1, "Overall")
        self.close(d, "ConcreteCheckResults")

    def section(self, section_id, extremes):
        self.open(1, "SectionConcreteCheckResult")
        self.leaf(2, "SectionId", str(section_id))
        self.open(2, "ExtremeResults")
        for _ in range(extremes):
            self.extreme(3)
        self.close(2, "ExtremeResults")
        self.close(1, "SectionConcreteCheckResult")


def generate(out, mb, extremes=5, seed=0):
    """Write a result file of at least ``mb`` MB (10**6 bytes) to ``out``; return its size."""
    rng = random.Random(seed)
    target = int(mb * MB)
    out = Path(out)
    out.parent.mkdir(parents=True, exist_ok=True)
    partial = out.with_name(out.name + ".partial")
    head = (
        '<?xml version="1.0" encoding="utf-16"?>' + NL + "<ArrayOfSectionConcreteCheckResult"
        ' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
        ' xmlns:xsd="http://www.w3.org/2001/XMLSchema">'
    )
    tail = NL + "</ArrayOfSectionConcreteCheckResult>"
    with open(partial, "wb") as f:
        f.write(b"\xff\xfe" + head.encode("utf-16-le"))
        size = f.tell()
        section_id = 0
        while size < target - len(tail) * 2:
            section_id += 1
            writer = Writer(rng)
            writer.section(section_id, extremes)
            chunk = (NL + NL.join(writer.lines)).encode("utf-16-le")
            f.write(chunk)
            size += len(chunk)
        f.write(tail.encode("utf-16-le"))
        size = f.tell()
    partial.replace(out)
    return size


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--mb", type=float, default=100, help="size in MB (10**6 bytes)")
    parser.add_argument("--out", help="output file (default build/bench/results-<mb>mb.xml)")
    parser.add_argument("--extremes", type=int, default=5, help="extremes per section")
    parser.add_argument("--seed", type=int, default=0)
    args = parser.parse_args(argv)
    out = args.out or f"build/bench/results-{args.mb:g}mb.xml"
    size = generate(out, args.mb, args.extremes, args.seed)
    print(f"{out}: {size / MB:.1f} MB", file=sys.stderr)


if __name__ == "__main__":
    main()
