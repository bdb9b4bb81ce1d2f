"""Utilisation along members: the check value of each check section against its position
along its member, one line per check family and their envelope, with the limit, failed checks
marked and the governing family named at each position (matplotlib, the optional extra
``plot``).

The points are the governing rows per family of a check table read with its model
(``check_table(results, model=...)``), so that the plot shows exactly what the table says.
"""

from __future__ import annotations

from collections import defaultdict
from typing import Any

from marlox._extras import require


def _pyplot() -> Any:
    return require("matplotlib.pyplot", extra="plot", what="plotting utilisation")


def utilisation_lines(table: Any) -> dict[str, dict[str, list[tuple[int, float, bool]]]]:
    """{member: {family: [(position, check value, failed), ...]}} from the governing rows per
    family of `table`, each line ordered by position; the envelope is the family "envelope",
    whose points carry the governing family in ``utilisation_governing``.

    :raises ValueError: for a table read without its model (no positions).
    """
    rows = table.governing(per_family=True).to_pylist()
    if any(row["position"] is None for row in rows):
        raise ValueError(
            "plotting utilisation needs the positions of the check sections: read the check "
            "table with its model, check_table(results, model=...)"
        )
    lines: dict[str, dict[str, list[tuple[int, float, bool]]]] = defaultdict(
        lambda: defaultdict(list)
    )
    for row in rows:
        value = row["check_value"]
        if value is None or value != value:  # no value to plot (a check not computed)
            continue
        point = (row["position"], value, row["failed_items"] > 0)
        lines[row["member"] or ""][row["family"]].append(point)
        if row["governing"]:
            lines[row["member"] or ""]["envelope"].append(point)
    return {m: {f: sorted(p) for f, p in families.items()} for m, families in lines.items()}


def utilisation_governing(table: Any) -> dict[str, dict[int, str]]:
    """{member: {position: the family that governs there}}."""
    out: dict[str, dict[int, str]] = defaultdict(dict)
    for row in table.governing(per_family=True).to_pylist():
        if row["governing"] and row["position"] is not None:
            out[row["member"] or ""][row["position"]] = row["family"]
    return dict(out)


def plot_utilisation(table: Any, member: str | None = None, ax: Any = None) -> Any:
    """Plot the utilisation of the members of `table` (a CheckTable read with ``model=``): one
    axes per member (or only `member`, drawn on `ax` when given). Returns the figure."""
    plt = _pyplot()
    lines = utilisation_lines(table)
    governing = utilisation_governing(table)
    members = [member] if member is not None else sorted(lines)
    if member is not None and member not in lines:
        raise ValueError(f"no check section of member {member!r} in the table")
    if ax is not None:
        if len(members) != 1:
            raise ValueError("one axes holds one member: name it with member=")
        axes, figure = [ax], ax.figure
    else:
        figure, grid = plt.subplots(len(members), 1, figsize=(8, 3.2 * len(members)), squeeze=False)
        axes = [row[0] for row in grid]
    for name, axis in zip(members, axes, strict=True):
        families = lines[name]
        for family, points in families.items():
            if family == "envelope":
                continue
            xs, ys, _ = zip(*points, strict=True)
            axis.plot(xs, ys, marker=".", linewidth=1, alpha=0.8, label=family)
        xs, ys, failed = zip(*families["envelope"], strict=True)
        axis.plot(xs, ys, color="black", linewidth=2.2, label="envelope")
        axis.axhline(1.0, color="tab:red", linestyle="--", linewidth=1, label="limit")
        bad = [(x, y) for x, y, f in zip(xs, ys, failed, strict=True) if f]
        if bad:
            axis.scatter(
                *zip(*bad, strict=True), marker="x", s=70, color="tab:red", zorder=5, label="failed"
            )
        for x, y in zip(xs, ys, strict=True):
            axis.annotate(
                governing[name][x],
                (x, y),
                textcoords="offset points",
                xytext=(0, 6),
                ha="center",
                fontsize=7,
            )
        axis.set_xticks(sorted(set(xs)))
        axis.set_xlabel("check section along the member (position)")
        axis.set_ylabel("check value")
        axis.set_title(f"Utilisation of member {name}" if name else "Utilisation")
        axis.set_ylim(bottom=0, top=max(1.1, max(ys) * 1.15))
        axis.legend(fontsize=7, loc="upper left", bbox_to_anchor=(1.0, 1.0))
    figure.tight_layout()
    return figure
