"""What ``validate()`` costs beside the serialisation it starts from, and how it grows with size.

Builds the models of ``bench_input_xml.py`` (N beams: a rectangle, 8 bars, 1 stirrup,
4 extremes and member data each) and a model of N round columns (a general shape with two
arcs, 30 bars, a round stirrup), and measures side by side, best of three:

- serialise: ``model._serialize()``
- validate:  ``model.validate()`` end to end (it serialises the model first)

The ratio validate / serialise is what checking adds; linear time shows as a flat time per
member across sizes.

    python bench/bench_validate.py [--members 500 2000 5000]
"""

import argparse
import importlib.util
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


def best(function, repeat=3) -> float:
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        function()
        times.append(time.perf_counter() - start)
    return min(times)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--members", type=int, nargs="+", default=[500, 2000, 5000])
    sizes = parser.parse_args().members
    print(
        f"{'model':>8} {'members':>8} {'serialise s':>12} {'validate s':>11} {'ratio':>6} "
        f"{'validate ms/member':>19}"
    )
    for name, make in (("beams", beams), ("columns", columns)):
        for size in sizes:
            model = make(size)
            serialise = best(model._serialize)
            validate = best(model.validate)
            assert model.validate() == []
            print(
                f"{name:>8} {size:>8} {serialise:>12.3f} {validate:>11.3f} "
                f"{validate / serialise:>6.2f} {1e3 * validate / size:>19.3f}"
            )


if __name__ == "__main__":
    main()
