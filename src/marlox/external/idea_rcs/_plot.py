"""Drawing a section with matplotlib, the optional extra ``plot``.

The model's ``plot()`` computes what to draw (polygons with arcs divided, bar circles, stirrup
axes, located findings) and hands it here as plain data; this module only makes the artists.
matplotlib is imported when a drawing is made, never when the package is imported.
"""

from __future__ import annotations

from typing import Any

_COLOURS = {"concrete": "0.85", "edge": "0.35", "bar": "tab:blue", "stirrup": "tab:green"}
_MARKS = {"error": "tab:red", "warning": "tab:orange"}


def _matplotlib() -> Any:
    try:
        import matplotlib.patches as patches
        import matplotlib.path as path
    except ImportError as error:
        raise ImportError(
            "drawing a section needs matplotlib, the optional extra 'plot': "
            "pip install 'marlox[plot]'"
        ) from error
    return patches, path


def _ring(points: list[tuple[float, float]], path: Any) -> tuple[list[Any], list[Any]]:
    codes = [path.Path.MOVETO] + [path.Path.LINETO] * (len(points) - 2) + [path.Path.CLOSEPOLY]
    return list(points), codes


def draw(drawing: dict[str, Any], ax: Any = None) -> Any:
    """Draw ``drawing`` (as the model's ``plot()`` makes it) on ``ax`` or a new figure."""
    patches, path = _matplotlib()
    if ax is None:
        import matplotlib.pyplot as plt

        _, ax = plt.subplots()
    vertices: list[Any] = []
    codes: list[Any] = []
    for ring in drawing["outlines"] + drawing["openings"]:
        if len(ring) >= 3:
            more, more_codes = _ring(ring, path)
            vertices += more
            codes += more_codes
    if vertices:
        ax.add_patch(
            patches.PathPatch(
                path.Path(vertices, codes),
                facecolor=_COLOURS["concrete"],
                edgecolor=_COLOURS["edge"],
                gid="concrete",
            )
        )
    for y, z, diameter in drawing["bars"]:
        ax.add_patch(patches.Circle((y, z), diameter / 2, color=_COLOURS["bar"], gid="bar"))
    for points, _diameter in drawing["stirrups"]:
        ax.add_patch(
            patches.PathPatch(
                path.Path(points),
                fill=False,
                edgecolor=_COLOURS["stirrup"],
                linewidth=1.5,
                gid="stirrup",
            )
        )
    for y, z, severity, message in drawing["findings"]:
        ax.plot(y, z, "x", markersize=9, color=_MARKS[severity], label=message, zorder=5)
    title = drawing["title"]
    if not drawing["outline_drawn"]:
        title += " (concrete not drawn)"
    ax.set_title(title)
    ax.set_xlabel("y [m]")
    ax.set_ylabel("z [m]")
    ax.set_aspect("equal", adjustable="datalim")
    ax.autoscale_view()
    if drawing["findings"]:
        ax.legend(loc="upper left", bbox_to_anchor=(1.02, 1.0), fontsize="small", frameon=False)
    return ax
