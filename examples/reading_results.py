"""Reading results: the check table of a result file, its governing checks, the table in
pandas, polars, Arrow and CSV, and the file's sections one at a time.

Reads the synthetic result file in tests/data (or the file given as the first argument) in one
streaming pass, prints the governing check of every section and the worst check of each family,
writes the table as CSV, hands it to whichever of pyarrow, pandas and polars is installed, and
streams through the sections with their results as dicts.
"""

import sys
from pathlib import Path

from marlox.external.idea_rcs import RcsOutputFileParser, check_table

SAMPLE = Path(__file__).resolve().parent.parent / "tests" / "data" / "rcs-result-synthetic.xml"


def main() -> None:
    path = Path(sys.argv[1]) if len(sys.argv) > 1 else SAMPLE
    table = check_table(path, units="engineering")  # kN and kN·m; unity checks stay unitless
    print(f"{path.name}: {len(table)} check items, columns: {', '.join(table.column_names)}")
    print(f"units: N in {table.units['N']}, My in {table.units['My']}")

    print("\nthe worst check of every family, worst first:")
    for row in table.governing(per_family=True).to_pylist():
        mark = "governing" if row["governing"] else ""
        print(
            f"  section {row['section']}  {row['family']:<17} extreme {row['extreme']}  "
            f"{row['check']:<22} {row['result']:<8} {row['check_value']:6.3f}  {mark}"
        )

    failed = [row for row in table.to_pylist() if row["result"] in ("Failed", "FailedWithError")]
    print(f"\nfailed checks: {len(failed)}")

    capacity = check_table(path, families=["Capacity"], units="engineering")
    for row in capacity.to_pylist():
        forces = f"My = {row['My']:.1f} kN·m, N = {row['N']:.1f} kN"
        print(f"capacity, extreme {row['extreme']}: {forces}")

    table.to_csv("checks.csv")
    print("\nwritten: checks.csv")

    try:
        import pyarrow as pa
    except ImportError:
        print("pyarrow is not installed: pip install 'marlox[arrow]'")
    else:
        arrow = pa.table(table)  # no copy: the Arrow PyCapsule interface
        unit = arrow.schema.field("My").metadata[b"unit"].decode()
        print(f"pyarrow: {arrow.num_rows} rows, My in {unit} (field metadata)")
    for convert, extra in ((table.to_pandas, "pandas"), (table.to_polars, "polars")):
        try:
            frame = convert()
        except ImportError as error:
            print(error)
        else:
            print(f"{extra}: {frame.shape[0]} rows x {frame.shape[1]} columns")

    # Section by section, every family's results as dicts per extreme. threads=None parses a
    # large file's pieces on every processor while the sections still come in document order;
    # read each section before the next one (the loop empties the one before).
    with path.open("rb") as f:
        for section in RcsOutputFileParser(f).section_results(threads=None):
            extremes = section.extremes()
            worst = max((e["capacity"]["CheckValue"] for e in extremes if e["capacity"]), default=0)
            print(f"section {section.id_}: {len(extremes)} extremes, capacity up to {worst:.3f}")


if __name__ == "__main__":
    main()
