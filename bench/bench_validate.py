"""What ``validate()`` and ``plot()`` cost, and that the cost of drawing one section does not grow
with the model.

Builds the models of ``bench_input_xml.py`` (N beams: a rectangle, 8 bars, 1 stirrup,
4 extremes and member data each) and a model of N round columns (a general shape with two
arcs, 30 bars, a round stirrup), and measures side by side in one run, best of three,
imports and model building outside the timers:

- JSON road: ``json.dumps(model._serialize())``, the model as JSON text: what checks that
  read a serialised document pay before they start (the checks read the objects instead)
- validate:  ``model.validate()``
- plot:      ``model.plot(section, ax)`` of the last check section on a reused axes, with its
  findings (matplotlib's artists included, the figure not rendered)

Flat cost shows as the same plot time at every size and the same validate time per member.
Then ``validate()`` of a square outline of N vertices with an identical opening (a case whose
cost once grew with the cube of N): near-linear shows as a flat time per vertex.

    python bench/bench_validate.py [--members 1000 10000] [--vertices 2000 10000 40000]
"""

import argparse
import importlib.util
import json
import math
import pathlib
import time

from marlox.external.idea_rcs import GeneralShape, Model
from marlox.external.idea_rcs import objects as o


def beams(count: int):
    path = pathlib.Path(__file__).with_name("bench_input_xml.py")
    found = importlib.util.spec_from_file_location("bench_input_xml", path)
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module.build(count)


def columns(count: int) -> Model:
    def circle(r):
        return [(r, 0), ((-r, 0), (0, r)), ((r, 0), (0, -r))]

    model = Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    for _ in range(count):
        column = model.create_compression_member(GeneralShape(circle(0.5)), concrete)
        for i in range(30):
            angle = 2 * math.pi * i / 30
            column.create_bar((0.44 * math.cos(angle), 0.44 * math.sin(angle)), 0.025, steel)
        column.create_stirrup(circle(0.47), 0.01, steel, 0.2)
        column.create_extreme(fundamental=o.LoadingULS(o.InternalForces(n=-1e6)))
    return model


def best(functions: dict, repeat: int = 3, setup=None) -> dict:
    """The least time of each function, run in turn so that they share the machine's state."""
    times: dict = {name: math.inf for name in functions}
    for _ in range(repeat):
        for name, function in functions.items():
            if setup is not None:
                setup()
            start = time.perf_counter()
            function()
            times[name] = min(times[name], time.perf_counter() - start)
    return times


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--members", type=int, nargs="+", default=[1000, 10000])
    parser.add_argument("--vertices", type=int, nargs="+", default=[2000, 10000, 40000])
    arguments = parser.parse_args()
    sizes = arguments.members
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    _, ax = plt.subplots()
    print(
        f"{'model':>8} {'members':>8} {'JSON road s':>12} {'validate s':>11} "
        f"{'validate/JSON':>14} {'ms/1000 members':>16} {'plot ms':>8}"
    )
    for name, make in (("beams", beams), ("columns", columns)):
        for size in sizes:
            model = make(size)
            section = model._check_section_list[-1]
            assert model.validate() == []
            t = best(
                {
                    "json": lambda model=model: json.dumps(model._serialize()),
                    "validate": model.validate,
                    "plot": lambda model=model, section=section: model.plot(section, ax),
                },
                setup=ax.cla,
            )
            print(
                f"{name:>8} {size:>8} {t['json']:>12.3f} {t['validate']:>11.3f} "
                f"{t['validate'] / t['json']:>14.3f} {1e6 * t['validate'] / size:>16.1f} "
                f"{1e3 * t['plot']:>8.1f}"
            )

    print(f"\n{'vertices':>9} {'validate s':>11} {'us/vertex':>10}")
    for count in arguments.vertices:
        model = opening_on_outline(count)
        t = best({"validate": model.validate})["validate"]
        print(f"{count:>9} {t:>11.3f} {1e6 * t / count:>10.2f}")


def opening_on_outline(count: int) -> Model:
    """A square of `count` vertices whose opening is the same square: no concrete at all."""
    k = count // 4
    side = [(i / k, 0.0) for i in range(k)] + [(1.0, i / k) for i in range(k)]
    side += [(1 - i / k, 1.0) for i in range(k)] + [(0.0, 1 - i / k) for i in range(k)]
    model = Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    model.create_beam(GeneralShape(side, [side]), concrete)
    return model


if __name__ == "__main__":
    main()
