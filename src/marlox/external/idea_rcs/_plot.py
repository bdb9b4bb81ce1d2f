"""Drawing a section with matplotlib, the optional extra ``plot``.

The model's ``plot()`` computes what to draw (polygons with arcs divided, bar circles, stirrup
axes, located findings) and hands it here as plain data; this module only makes the artists.
matplotlib is imported when a drawing is made, never when the package is imported.
"""

from __future__ import annotations

from typing import Any

from marlox._extras import require

_COLOURS = {"concrete": "0.85", "edge": "0.35", "bar": "tab:blue", "stirrup": "tab:green"}
_MARKS = {"error": "tab:red", "warning": "tab:orange"}
_FONT_SIZE = 8  # points, of the findings' numbers and list


def _matplotlib() -> Any:
    patches = require("matplotlib.patches", extra="plot", what="drawing a section")
    return patches, require("matplotlib.path", extra="plot", what="drawing a section")


def _ring(points: list[tuple[float, float]], path: Any) -> tuple[list[Any], list[Any]]:
    codes = [path.Path.MOVETO] + [path.Path.LINETO] * (len(points) - 2) + [path.Path.CLOSEPOLY]
    return list(points), codes


def _add(ax: Any, patch: Any, points: list[Any]) -> None:
    """Add a patch, its data limits taken at once from points that enclose it.

    ``add_patch`` measures a path segment by segment in Python, which costs more than the rest
    of a drawing for a traced arc of a few thousand points.
    """
    ax.add_artist(patch)
    ax.update_datalim(points)


def _wrapped(findings: list[Any], ax: Any) -> str:
    """The numbered findings as lines no wider than the axes, so that neighbours stay clear."""
    import textwrap

    figure = ax.figure
    width = ax.get_position().width * figure.get_figwidth() * 72  # points
    columns = max(20, int(width / (0.6 * _FONT_SIZE)))
    lines = []
    for number, (_where, severity, message) in enumerate(findings, 1):
        lines += textwrap.wrap(
            f"{number}. {severity}: {message}", columns, subsequent_indent="    "
        )
    return "\n".join(lines)


def draw(drawing: dict[str, Any], ax: Any = None) -> Any:
    """Draw ``drawing`` (as the model's ``plot()`` makes it) on ``ax`` or a new figure.

    Located findings are marked by their number; the findings are listed below the axes,
    wrapped to the axes' width. A figure without a layout engine gets matplotlib's constrained
    layout, which keeps each list clear of the axes below it.
    """
    patches, path = _matplotlib()
    if ax is None:
        import matplotlib.pyplot as plt

        _, ax = plt.subplots(layout="constrained")
    elif ax.figure.get_layout_engine() is None:
        ax.figure.set_layout_engine("constrained")
    vertices: list[Any] = []
    codes: list[Any] = []
    for ring in drawing["outlines"] + drawing["openings"]:
        if len(ring) >= 3:
            more, more_codes = _ring(ring, path)
            vertices += more
            codes += more_codes
    if vertices:
        _add(
            ax,
            patches.PathPatch(
                path.Path(vertices, codes),
                facecolor=_COLOURS["concrete"],
                edgecolor=_COLOURS["edge"],
                gid="concrete",
            ),
            vertices,
        )
    for y, z, diameter in drawing["bars"]:
        r = diameter / 2
        circle = patches.Circle((y, z), r, color=_COLOURS["bar"], gid="bar")
        _add(ax, circle, [(y - r, z - r), (y + r, z + r)])
    for points, _diameter in drawing["stirrups"]:
        _add(
            ax,
            patches.PathPatch(
                path.Path(points),
                fill=False,
                edgecolor=_COLOURS["stirrup"],
                linewidth=1.5,
                gid="stirrup",
            ),
            points,
        )
    findings = drawing["findings"]
    numbers: dict[tuple[float, float], list[str]] = {}  # findings at one point share a label
    for number, (where, severity, message) in enumerate(findings, 1):
        if where is None:
            continue
        colour = _MARKS[severity]
        ax.plot(*where, "x", markersize=9, color=colour, label=message, zorder=5, gid="finding")
        numbers.setdefault(tuple(where), []).append(str(number))
    for where, labels in numbers.items():
        ax.annotate(
            ",".join(labels),
            where,
            xytext=(4, 4),
            textcoords="offset points",
            fontsize=_FONT_SIZE,
            zorder=5,
        )
    title = drawing["title"]
    if not drawing["outline_drawn"]:
        title += " (concrete not drawn)"
    if drawing["too_far"]:
        title += f" ({drawing['too_far']} not drawn: beyond 1e6 m)"
    ax.set_title(title)
    ax.set_xlabel("y [m]")
    ax.set_ylabel("z [m]")
    ax.set_aspect("equal", adjustable="datalim")
    ax.autoscale_view()
    if findings:
        ax.annotate(
            _wrapped(findings, ax),
            (0, 0),
            xycoords=("axes fraction", ax.xaxis.label),
            xytext=(0, -6),
            textcoords="offset points",
            va="top",
            ha="left",
            fontsize=_FONT_SIZE,
            gid="findings",
        )
    return ax
