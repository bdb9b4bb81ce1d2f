"""Command ``report``: the calculation report of a result file and the model it was run from,
as one HTML page or a PDF (the extra ``pdf``)."""

from __future__ import annotations

import argparse
import sys

from .cli_errors import UserError, reading, writing


def add_commands(subparsers: argparse._SubParsersAction[argparse.ArgumentParser]) -> None:
    report = subparsers.add_parser(
        "report",
        help="the calculation report of a result file and its model, HTML or PDF",
        description="Write the calculation report: summary with the failures first, project "
        "and code settings, materials, reinforced sections drawn, loads, the utilisation along "
        "each member and every check by member, every non-conformity where it occurs, "
        "traceability. Exit status 2 for input that cannot be used; "
        "nothing is left half-written.",
    )
    report.add_argument("file", help="result XML written by IDEA StatiCa RCS")
    report.add_argument(
        "--model", required=True, metavar="INPUT", help="the input XML the results were run from"
    )
    report.add_argument(
        "-o", "--output", required=True, metavar="OUT", help="report.html or report.pdf"
    )
    report.add_argument(
        "--rcs-version",
        metavar="VERSION",
        help="the IDEA StatiCa RCS version that ran, for the traceability (a result file does "
        "not state it)",
    )
    report.set_defaults(func=_report)


def _report(args: argparse.Namespace) -> int:
    from marlox.external.idea_rcs.report import write_report

    try:
        with reading(args.file), writing(args.output):
            path = write_report(args.file, args.model, args.output, args.rcs_version)
    except ImportError as error:  # the optional extra of the PDF
        raise UserError(str(error)) from None
    print(f"report written to {path}", file=sys.stderr)
    return 0
