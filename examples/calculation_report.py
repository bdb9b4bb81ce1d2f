"""The calculation report of a result file and the model it was run from.

Writes report.html (one self-contained page: summary with the failures first, project and code
settings, materials, the reinforced sections drawn, the loads, the utilisation along each member
and every check by member, each non-conformity where it occurs, and traceability), report.pdf
when WeasyPrint (the extra 'pdf') is installed, and utilisation.png (the extra 'plot': the same
lines as the report's charts, through matplotlib). By default it reports the synthetic result
file in tests/data and its input model; give RESULTS and INPUT as arguments for your own.
"""

import sys
from pathlib import Path

from marlox.external.idea_rcs import check_table
from marlox.external.idea_rcs.report import write_report

DATA = Path(__file__).resolve().parent.parent / "tests" / "data"


def main() -> None:
    results = Path(sys.argv[1]) if len(sys.argv) > 2 else DATA / "rcs-result-synthetic.xml"
    model = Path(sys.argv[2]) if len(sys.argv) > 2 else DATA / "rcs-input-synthetic.xml"

    print(f"report of {results.name} with {model.name}:")
    print(f"  {write_report(results, model, 'report.html')}")
    try:
        print(f"  {write_report(results, model, 'report.pdf')}")
    except ImportError as error:
        print(f"  no PDF: {error}")

    table = check_table(results, model=model, units="engineering")
    for row in table.governing().to_pylist():
        print(
            f"  {row['member']} / {row['section_name']} (position {row['position']}): "
            f"{row['family']} governs at {row['check_value']:.3f}, {row['result']}"
        )
    try:
        from marlox.external.idea_rcs.utilisation import plot_utilisation

        plot_utilisation(table).savefig("utilisation.png", dpi=120)
        print("  utilisation.png")
    except ImportError as error:
        print(f"  no plot: {error}")


if __name__ == "__main__":
    main()
