"""Write or check the type stubs of the compiled modules.

python tools/stubs.py          # regenerate the committed stubs from the installed build
python tools/stubs.py --check  # fail when the committed stubs differ from the build
"""

from __future__ import annotations

import argparse
import difflib
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGE = ROOT / "src" / "marlox" / "external" / "idea_rcs"
MODULES = ["objects", "idea_rcs"]


def generate(module: str, out: pathlib.Path) -> str:
    command = [
        sys.executable,
        "-m",
        "nanobind.stubgen",
        "-q",
        "-m",
        f"marlox.external.idea_rcs.{module}",
        "-o",
        str(out),
    ]
    # Entries that stubgen cannot derive itself (such as public names ending in "_").
    patterns = ROOT / "tools" / f"{module}.stubpatterns"
    if patterns.exists():
        command += ["-p", str(patterns)]
    subprocess.run(command, check=True)
    return out.read_text()


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
