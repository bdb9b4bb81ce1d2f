"""Command line ``marlox-rcs``: results an engineer can act on, and input models read back.

Each group of commands lives in a module of its own that adds its sub-commands to the parser
(``add_commands``); this module assembles them. A failure the user can cause (a missing file, a
document that is not XML or not of the kind the command reads, an unknown name, a full disk)
is raised by the command as :class:`UserError` and becomes one line on stderr and exit status
2; anything else is a fault of this program and keeps its traceback.
"""

from __future__ import annotations

import argparse
import sys
from collections.abc import Sequence

from .cli_errors import UserError

#: Exit status for input the command could not use (as argparse uses for bad arguments).
EXIT_USAGE = 2

# Modules that contribute sub-commands: each defines ``add_commands(subparsers)``, and every
# sub-command sets ``func(args) -> int`` as its parser default.
_COMMAND_MODULES: tuple[str, ...] = (
    "marlox.external.idea_rcs.cli_results",
    "marlox.external.idea_rcs.cli_input",
    "marlox.external.idea_rcs.cli_report",
)


def build_parser() -> argparse.ArgumentParser:
    """The argument parser with every sub-command of the installed command modules."""
    import importlib

    parser = argparse.ArgumentParser(
        prog="marlox-rcs",
        description="Read IDEA StatiCa RCS result and input XML: tables, the governing check, "
        "model inventories.",
    )
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    for name in _COMMAND_MODULES:
        importlib.import_module(name).add_commands(commands)
    return parser


def main(argv: Sequence[str] | None = None) -> int:
    """Run one command; returns the exit status."""
    args = build_parser().parse_args(argv)
    try:
        status: int = args.func(args)
        return status
    except UserError as error:
        print(f"marlox-rcs: error: {error}", file=sys.stderr)
        return EXIT_USAGE
    except KeyboardInterrupt:
        return 130


if __name__ == "__main__":
    sys.exit(main())
