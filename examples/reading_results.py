"""Reading results: the check table of a result file, its governing checks, and the table in
pandas, polars, Arrow and CSV.

Reads the synthetic result file in tests/data (or the file given as the first argument) in one
streaming pass, prints the governing check of every section and the worst check of each family,
writes the table as CSV, and hands it to whichever of pyarrow, pandas and polars is installed.
"""

import sys
from pathlib import Path

from marlox.external.idea_rcs import check_table

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


if __name__ == "__main__":
    main()
