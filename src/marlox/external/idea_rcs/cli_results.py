"""Commands on result files: ``summary`` (the governing check of every section, exit status 1
when a check failed) and ``table`` (the check table as CSV, Excel, Parquet or Arrow)."""

from __future__ import annotations

import argparse
import contextlib
import os
import stat
import sys
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from .idea_rcs import CheckTable

from marlox._extras import MissingExtra, require

from .cli_errors import UserError, reading, writing

#: Exit status of ``summary`` when any check failed.
EXIT_FAILED = 1

_OUTPUTS = (".csv", ".xlsx", ".parquet", ".arrow")


def _ids(text: str) -> list[int]:
    try:
        return [int(part) for part in text.split(",") if part.strip()]
    except ValueError:
        raise argparse.ArgumentTypeError(f"not a list of section ids: {text!r}") from None


def _names(text: str) -> list[str]:
    return [part.strip() for part in text.split(",") if part.strip()]


def _count(text: str) -> int:
    try:
        value = int(text)
    except ValueError:
        value = 0
    if value < 1:
        raise argparse.ArgumentTypeError(f"not a positive number of rows: {text!r}")
    return value


def add_commands(subparsers: argparse._SubParsersAction[argparse.ArgumentParser]) -> None:
    common = argparse.ArgumentParser(add_help=False)
    common.add_argument("file", help="result XML written by IDEA StatiCa RCS")
    common.add_argument(
        "--sections", type=_ids, metavar="IDS", help="comma-separated section ids (default: all)"
    )
    common.add_argument(
        "--families",
        type=_names,
        metavar="NAMES",
        help="comma-separated check families, e.g. Capacity,CrackWidth (default: all)",
    )
    common.add_argument(
        "--units",
        choices=("SI", "engineering"),
        default="SI",
        help="SI as the file (N, N·m) or engineering (kN, kN·m); default SI",
    )
    common.add_argument(
        "--model",
        metavar="INPUT",
        help="the input XML the results were run from: names of sections, members, extremes",
    )
    summary = subparsers.add_parser(
        "summary",
        parents=[common],
        help="the governing check of every section, worst first",
        description="Print the governing check of every section, worst first. Exit status 1 "
        "when any check failed, 0 when none did, 2 for input that cannot be read.",
    )
    summary.add_argument(
        "--per-family", action="store_true", help="the worst check of every family as well"
    )
    summary.add_argument(
        "--failed-only", action="store_true", help="only the sections with a failed check"
    )
    summary.add_argument(
        "--min-check-value",
        type=float,
        metavar="X",
        help="only governing checks whose check value is at least X",
    )
    summary.add_argument(
        "--top", type=_count, metavar="N", help="only the N worst sections (rows with --per-family)"
    )
    summary.set_defaults(func=_summary)
    table = subparsers.add_parser(
        "table",
        parents=[common],
        help="the check table to CSV, Excel, Parquet or Arrow",
        description="Write one row per section, extreme and check item (or with --governing "
        "the governing rows). Excel needs openpyxl, Parquet and Arrow (IPC file) pyarrow.",
    )
    table.add_argument(
        "-o",
        "--output",
        required=True,
        metavar="OUT",
        help="out.csv, out.xlsx, out.parquet or out.arrow",
    )
    table.add_argument(
        "--governing",
        action="store_true",
        help="the governing check of every section instead of every item",
    )
    table.add_argument(
        "--per-family", action="store_true", help="with --governing: of every family as well"
    )
    table.add_argument(
        "--excel",
        action="store_true",
        help="CSV with a byte-order mark, so that spreadsheet programs read it as UTF-8",
    )
    table.set_defaults(func=_table)


@contextlib.contextmanager
def _progress(path: str) -> Iterator[Callable[[int], object] | None]:
    """A progress bar on stderr while the file is read, when stderr is a terminal."""
    if not sys.stderr.isatty():
        yield None
        return
    from tqdm import tqdm

    total = os.path.getsize(path)
    with tqdm(total=total, unit="B", unit_scale=True, leave=False, file=sys.stderr) as bar:
        yield bar.update


def _read(args: argparse.Namespace) -> CheckTable:
    from marlox.external.idea_rcs import check_table

    with reading(args.file), _progress(args.file) as progress:
        return check_table(
            args.file,
            sections=args.sections,
            families=args.families,
            units=args.units,
            progress=progress,
            model=args.model,
        )


def _summary(args: argparse.Namespace) -> int:
    table = _read(args)
    every = table.governing(per_family=args.per_family).to_pylist()
    if not every:
        which = f"{', '.join(args.families)} " if args.families else ""
        raise UserError(f"{args.file}: no {which}check results in this file")
    rows = _chosen(every, args)
    named = args.model is not None
    headers: tuple[str, ...] = ("section", *(("name",) if named else ()), "family", "extreme")
    headers += ("check", "result", "check value", "failed", "errors", "not done")
    shown = {row["section"] for row in rows if row.get("governing", True)}
    lines = [
        (
            ""
            if args.per_family and not row["governing"] and row["section"] in shown
            else str(row["section"]),
            *((row["section_name"] or "",) if named else ()),
            row["family"],
            str(row["extreme"]),
            row["check"] or "",
            row["result"] or "",
            "" if row["check_value"] is None else f"{row['check_value']:.3f}",
            f"{row['failed_items']}/{row['items']}",
            str(row["error_count"] + row["terminated_error_count"]),
            str(row["not_done_items"]),
        )
        for row in rows
    ]
    widths = [max([len(h), *(len(line[i]) for line in lines)]) for i, h in enumerate(headers)]
    right = {0, 2, 5, 6, 7, 8} if not named else {0, 3, 6, 7, 8, 9}
    for line in (headers, *lines):
        cells = zip(line, widths, strict=True)
        print("  ".join(c.rjust(w) if i in right else c.ljust(w) for i, (c, w) in enumerate(cells)))
    sections = {row["section"] for row in every}
    failed = {row["section"] for row in every if row["failed_items"]}
    errors = {row["section"] for row in every if row["error_count"] + row["terminated_error_count"]}
    not_done = {row["section"] for row in every if row["not_done_items"]}
    print(
        f"{len(sections)} section{'' if len(sections) == 1 else 's'}: {len(failed)} with failed "
        f"checks, {len(errors)} with errors, {len(not_done)} with checks not done"
        + ("" if len(rows) == len(every) else f"; {len(rows)} of {len(every)} rows shown")
    )
    return EXIT_FAILED if failed else 0


def _chosen(rows: list[dict[str, Any]], args: argparse.Namespace) -> list[dict[str, Any]]:
    """The governing rows that the filters keep, worst first."""
    if args.failed_only:
        rows = [row for row in rows if row["failed_items"]]
    if args.min_check_value is not None:
        least = args.min_check_value
        rows = [row for row in rows if (row["check_value"] or 0) >= least]
    return rows if args.top is None else rows[: args.top]


def _table(args: argparse.Namespace) -> int:
    suffix = Path(args.output).suffix.lower()
    if suffix not in _OUTPUTS:
        raise UserError(f"the output must end in {', '.join(_OUTPUTS)}: {args.output}")
    pa: Any = None
    if suffix != ".csv":
        try:
            pa = require("pyarrow", extra="arrow", what=f"writing {suffix}")
        except MissingExtra as error:
            raise UserError(str(error)) from None
    if suffix == ".xlsx":
        from .cli_excel import require_openpyxl

        require_openpyxl()
    checks = _read(args)
    table = checks.governing(per_family=args.per_family) if args.governing else checks
    with writing(args.output):
        if suffix == ".csv" and not args.excel:
            table.to_csv(args.output)  # under a temporary name, renamed when complete
        elif suffix in (".csv", ".xlsx"):
            with _replacing(args.output) as temporary, open(temporary, "wb") as out:
                if suffix == ".xlsx":
                    from .cli_excel import write_xlsx

                    write_xlsx(table, out)
                else:
                    out.write("\ufeff".encode())  # so that spreadsheet programs read UTF-8
                    table.to_csv(out)
        else:
            data = pa.table(table)
            with _replacing(args.output) as temporary:
                if suffix == ".parquet":
                    import pyarrow.parquet

                    pyarrow.parquet.write_table(data, temporary)
                else:
                    with pa.OSFile(temporary, "wb") as sink:
                        with pa.ipc.new_file(sink, data.schema) as writer:
                            writer.write_table(data)
    print(f"{len(table)} rows written to {args.output}", file=sys.stderr)
    return 0


@contextlib.contextmanager
def _replacing(path: str) -> Iterator[str]:
    """A temporary name beside ``path`` to write to; renamed to ``path`` when the block ends
    without an error, removed when it fails, so that ``path`` never holds a partial file."""
    target = os.path.realpath(path)
    if os.path.exists(target) and not os.path.isfile(target):  # a device or a pipe: in place
        yield target
        return
    directory, name = os.path.split(target)
    fd, temporary = tempfile.mkstemp(dir=directory, prefix=f".{name}.", suffix=".tmp")
    os.close(fd)
    try:
        yield temporary
        with open(temporary, "rb") as written:
            os.fsync(written.fileno())
        os.chmod(temporary, _mode_for(target))
        os.replace(temporary, target)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(temporary)
        raise


def _mode_for(target: str) -> int:
    """The permissions of the file being replaced, else those a new file gets."""
    try:
        return stat.S_IMODE(os.stat(target).st_mode)
    except FileNotFoundError:
        umask = os.umask(0)
        os.umask(umask)
        return 0o666 & ~umask
