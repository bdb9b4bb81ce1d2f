"""Write or check the type stubs of the compiled modules.

python tools/stubs.py          # regenerate the committed stubs from the installed build
python tools/stubs.py --check  # fail when the committed stubs differ from the build
"""

from __future__ import annotations

import argparse
import ast
import difflib
import importlib
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGE = ROOT / "src" / "marlox" / "external" / "idea_rcs"
MODULES = ["objects", "idea_rcs"]
# The module whose classes the signatures of the others may name without their module.
COMPANION = "objects"


def generate(module: str, out: pathlib.Path) -> str:
    subprocess.run(
        [
            sys.executable,
            "-m",
            "nanobind.stubgen",
            "-q",
            "-P",
            "-p",
            str(ROOT / "tools" / "stubs.patterns"),
            "-m",
            f"marlox.external.idea_rcs.{module}",
            "-o",
            str(out),
        ],
        check=True,
    )
    return import_companion_names(out.read_text(), module)


def import_companion_names(stub: str, module: str) -> str:
    """Import the companion module's classes that the stub names without their module.

    Signatures written in the bindings name the object types as Python code does after
    ``from ...objects import ...``; stubgen qualifies only the names it resolves itself, so the
    others are imported here for type checkers to resolve.
    """
    if module == COMPANION:
        return stub
    tree = ast.parse(stub)
    defined = set()
    for node in tree.body:
        if isinstance(node, ast.ClassDef | ast.FunctionDef):
            defined.add(node.name)
        elif isinstance(node, ast.Import | ast.ImportFrom):
            defined.update((a.asname or a.name).split(".")[0] for a in node.names)
        elif isinstance(node, ast.Assign | ast.AnnAssign):
            targets = node.targets if isinstance(node, ast.Assign) else [node.target]
            defined.update(t.id for t in targets if isinstance(t, ast.Name))
    used = {node.id for node in ast.walk(tree) if isinstance(node, ast.Name)}
    companion = importlib.import_module(f"marlox.external.idea_rcs.{COMPANION}")
    names = sorted(n for n in used - defined if isinstance(getattr(companion, n, None), type))
    if not names:
        return stub
    imports = [n for n in tree.body if isinstance(n, ast.Import | ast.ImportFrom)]
    lines = stub.splitlines(True)
    at = max(n.end_lineno for n in imports) if imports else 0
    block = [f"from marlox.external.idea_rcs.{COMPANION} import (\n"]
    block += [f"    {name},\n" for name in names] + [")\n"]
    return "".join(lines[:at] + block + lines[at:])


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="compare instead of writing")
    args = parser.parse_args()
    drift = False
    with tempfile.TemporaryDirectory() as tmp:
        for module in MODULES:
            fresh = generate(module, pathlib.Path(tmp) / f"{module}.pyi")
            committed_path = PACKAGE / f"{module}.pyi"
            committed = committed_path.read_text() if committed_path.exists() else ""
            if not args.check:
                committed_path.write_text(fresh)
                continue
            if fresh != committed:
                drift = True
                sys.stdout.writelines(
                    difflib.unified_diff(
                        committed.splitlines(True),
                        fresh.splitlines(True),
                        f"committed/{module}.pyi",
                        f"built/{module}.pyi",
                    )
                )
    if drift:
        print("Type stubs differ from the build: run 'python tools/stubs.py' and commit.")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
