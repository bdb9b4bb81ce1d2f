"""``marlox-rcs inventory``: what an IDEA StatiCa RCS input XML holds, before a paid run.

The model is read with :meth:`OpenModel.from_xml`; a document the model cannot hold fails
with one line on stderr that names the element and its line (see ``cli_errors.reading``).
"""

from __future__ import annotations

import argparse
from collections import Counter
from collections.abc import Iterable

from .cli_errors import reading
from .idea_rcs import Finding, OpenModel, Severity


def add_commands(subparsers: argparse._SubParsersAction[argparse.ArgumentParser]) -> None:
    parser = subparsers.add_parser(
        "inventory",
        help="read an input XML and list its materials, sections, members and extremes",
        description="Read IDEA StatiCa RCS input XML (an OpenModel document, UTF-8 or UTF-16) "
        "and print what it holds and what validate() finds in it. The exit status is 1 when it "
        "finds an error.",
    )
    parser.add_argument("input", help="the input XML file")
    parser.add_argument(
        "--sections",
        action="store_true",
        help="also list every check section: its member, reinforced section and extremes",
    )
    parser.set_defaults(func=run)


def _counted(names: Iterable[str]) -> str:
    counts = Counter(names)
    return ", ".join(f"{name} x{n}" if n > 1 else name for name, n in counts.items()) or "-"


def _plural(n: int, word: str) -> str:
    return f"{n} {word}" + ("" if n == 1 else "s")


def inventory(model: OpenModel, *, sections: bool = False) -> list[str]:
    """The lines that ``marlox-rcs inventory`` prints for ``model``."""
    project, code = model.project_data, model.code_settings
    concretes, steels = model._mat_concrete_list, model._mat_reinforcement_list
    shapes = model._cross_section_list
    reinforced = model._reinforced_cross_section_list
    members, checks = model._check_member_list, model._check_section_list
    parametric = [s.cross_section_type.value for s in shapes if hasattr(s, "cross_section_type")]
    bars = sum(len(r.bars) for r in reinforced)
    stirrups = sum(len(r.stirrups) for r in reinforced)
    extremes = sum(len(c.extremes) for c in checks)
    lines = [
        f"project     {project.name or '(no name)'}, {project.date}, annex "
        f"{code.national_annex.value}, design working life {code.design_working_life} years",
        f"concrete    {len(concretes)}: {_counted(m.name for m in concretes)}",
        f"steel       {len(steels)}: {_counted(m.name for m in steels)}",
        f"sections    {_plural(len(shapes), 'cross-section')}: {_counted(parametric)}"
        + (
            f", {len(shapes) - len(parametric)} of components"
            if len(parametric) < len(shapes)
            else ""
        ),
        f"reinforced  {len(reinforced)}: {_plural(bars, 'bar')}, {_plural(stirrups, 'stirrup')}",
        f"members     {len(members)}: "
        + _counted(d.member_type.value for d in model._attribute_list)
        + f" ({len(model._attribute_list)} with member data)",
        f"checks      {_plural(len(checks), 'check section')}, {_plural(extremes, 'extreme')}",
    ]
    if sections:
        member_names = {m.id: m.name for m in members}
        section_of = {r.id: r for r in reinforced}
        for check in checks:
            rcs = section_of.get(check.reinf_section.id)
            detail = (
                f"{rcs.name} ({_plural(len(rcs.bars), 'bar')}, "
                f"{_plural(len(rcs.stirrups), 'stirrup')})"
                if rcs is not None
                else f"R{check.reinf_section.id}"
            )
            lines.append(
                f"  {check.description}: member {member_names.get(check.check_member.id, '?')}, "
                f"section {detail}, {_plural(len(check.extremes), 'extreme')}"
            )
    return lines


def findings(model: OpenModel) -> list[Finding]:
    """What the model's own checks find in it (errors and warnings)."""
    return model.validate()


def run(args: argparse.Namespace) -> int:
    with reading(args.input):
        model = OpenModel.from_xml(args.input)
    for line in inventory(model, sections=args.sections):
        print(line)
    problems = findings(model)
    for finding in problems:
        print(f"finding     {finding}")
    return 1 if any(f.severity == Severity.ERROR for f in problems) else 0
