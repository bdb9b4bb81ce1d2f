"""Studies: many variants through the "idearcs" worker and a fake RCS service, under a seat
limit, with a result cache, into one table; and the check tables of many result files."""

from __future__ import annotations

import _thread
import threading
import time
import zipfile
from pathlib import Path

import pytest
from platform_fakes import closed_port_url, serving, use_platform
from rcs_service_fake import FakeRcsService, by_moment_and_bars, results_from_xml

from marlox.errors import InternalError, ParsingError
from marlox.external.idea_rcs import Model, RectSection, check_table
from marlox.external.idea_rcs import study as study_module
from marlox.external.idea_rcs.objects import (
    ConcreteMaterial,
    InternalForces,
    LoadingSLS,
    LoadingULS,
    ReinforcementMaterial,
)
from marlox.external.idea_rcs.study import StudyInterrupted, Variant, run_study
from marlox.external.idea_rcs.study_cache import ResultCache
from marlox.external.idea_rcs.study_tables import check_tables
from marlox.local import jobs
from marlox.local.server import make_server
from marlox.local.store import SqliteStore

DATA = Path(__file__).parent / "data"
SYNTHETIC = (DATA / "rcs-result-synthetic.xml").read_bytes()


def beam(diameter: float, moment: float) -> Model:
    model = Model()
    concrete = model.create_concrete_material(ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(ReinforcementMaterial.B_500B)
    member = model.create_beam(RectSection(0.3, 0.6), concrete)
    member.create_bar_layer(
        origin=(-0.1, -0.25), diameter=diameter, material=steel, number_of_bars=3, delta_y=0.1
    )
    member.create_extreme(
        fundamental=LoadingULS(InternalForces(my=moment)),
        characteristic=LoadingSLS(InternalForces(my=0.7 * moment)),
    )
    return model


def variants(count: int, moment: float = 100e3) -> list[Variant]:
    return [
        Variant(beam(0.02, moment + 1e3 * i), {"i": i, "moment": moment + 1e3 * i})
        for i in range(count)
    ]


@pytest.fixture
def service(monkeypatch):
    """The fake RCS service; each calculation takes 0.15 s, so that jobs overlap."""
    for name in ("no_proxy", "NO_PROXY"):
        monkeypatch.delenv(name, raising=False)
    monkeypatch.setenv("http_proxy", closed_port_url())
    server = FakeRcsService(results_from_xml(SYNTHETIC))
    server.delays["calculate"] = 0.15
    with serving(server) as url:
        monkeypatch.setenv("MARLOX_IDEA_RCS_URL", url)
        yield server


def no_job_running() -> bool:
    runner = jobs.runner()
    return not any(a.record.status == "running" for a in list(runner._active.values()))


def test_a_study_runs_within_its_seats_into_one_table(service, tmp_path):
    service.vary = by_moment_and_bars  # each variant's unity checks its own
    folder = tmp_path / "results"
    study = run_study(
        variants(6), seats=2, results_dir=folder, return_rcs_file=True, progress=False
    )

    assert service.most_open == 2  # never more than the seats, and both used
    assert service.open_projects == 0
    assert [o.status for o in study.variants] == ["finished"] * 6
    assert study.failures == [] and not study.interrupted

    # Each variant's rows are its own result file's check table, led by its parameters.
    own = [check_table(o.result()) for o in study.variants]
    size = own[0].num_rows
    assert study.table.num_rows == 6 * size
    assert study.table.column_names == ["variant", "i", "moment", *own[0].column_names]
    for k, row in enumerate(study.table.to_pylist()):
        variant, item = divmod(k, size)
        assert row["variant"] == row["i"] == variant
        assert row["moment"] == 100e3 + 1e3 * variant
        assert {c: row[c] for c in own[0].column_names} == own[variant].to_pylist()[item]
    governing = study.governing().to_pylist()
    per_variant = own[0].governing().num_rows
    assert len(governing) == 6 * per_variant
    worst = [r["check_value"] for r in governing[::per_variant]]
    assert [r["variant"] for r in governing[::per_variant]] == list(range(6))
    assert worst == sorted(worst) and worst[0] < worst[-1]  # the moment grows with the variant
    assert study.overall.num_rows == 6 * own[0].overall.num_rows

    # The result files are kept whole in the folder.
    files = sorted(p.name for p in folder.iterdir())
    assert files == [f"variant-{i:04d}.{kind}" for i in range(6) for kind in ("ideaRcs", "xml")]
    assert study.variants[3].files["body"].read_bytes() == study.variants[3].result()
    assert study.variants[3].result("idea_rcs_body") == service.rcs_file


def test_failed_variants_are_collected_not_raised(service):
    class Unconvertible:
        def generate_xml_input(self):
            raise InternalError("Input file could not be generated, please check your model")

    study = run_study(
        [
            (beam(0.02, 1e5), {"case": "good"}),
            (Unconvertible(), {"case": "unconvertible"}),
            (b"", {"case": "empty"}),
            Variant(beam(0.025, 2e5), {"case": "good too"}),
        ],
        seats=2,
        progress=False,
    )

    assert [(o.status, o.error) for o in study.variants] == [
        ("finished", None),
        ("failed", "Input file could not be generated, please check your model"),
        ("failed", "Input is missing, please check input file"),  # the ExecutionError text
        ("finished", None),
    ]
    assert [o.index for o in study.failures] == [1, 2]
    assert set(study.table.column("case")) == {"good", "good too"}
    assert study.variants[0].data["body"] == study.variants[0].result()
    with pytest.raises(KeyError, match="variant 2 has no result field 'body'"):
        study.variants[2].result()


def test_the_cache_runs_only_what_changed(service, tmp_path):
    cache = tmp_path / "cache"
    first = run_study(variants(5), seats=2, cache=cache, progress=False)
    assert len(service.imported) == 5
    assert first.counts()["finished"] == 5

    changed = variants(5)
    changed[3] = Variant(beam(0.025, 103e3), {"i": 3, "moment": 103e3})
    second = run_study(changed, seats=2, cache=cache, progress=False)
    assert len(service.imported) == 6  # one more job: the changed variant
    assert [o.status for o in second.variants] == ["cached"] * 3 + ["finished", "cached"]
    assert second.variants[0].result() == first.variants[0].result()
    assert second.table.to_pylist()[:10] == first.table.to_pylist()[:10]


def test_a_cache_entry_is_whole_or_absent(tmp_path):
    cache = ResultCache(tmp_path)
    key = cache.key(b"<OpenModel/>", {"version": 1})
    assert key != cache.key(b"<OpenModel/>", {"version": 2})
    assert cache.get(key) is None

    fields = {"body": SYNTHETIC, "idea_rcs_body": b"7z"}
    seen: list[dict | None] = []

    def read() -> None:
        for _ in range(200):
            seen.append(cache.get(key))

    reader = threading.Thread(target=read)
    reader.start()
    for _ in range(20):
        cache.put(key, fields)
    reader.join()
    assert all(entry in (None, fields) for entry in seen)
    assert cache.get(key) == fields
    assert not [p for p in tmp_path.rglob(".entry-*")]  # no temporary file left

    # A damaged entry (a disk error) counts as missing and is written again.
    entry = next(tmp_path.rglob("*.zip"))
    entry.write_bytes(entry.read_bytes()[:100])
    assert cache.get(key) is None
    cache.put(key, fields)
    assert zipfile.is_zipfile(entry) and cache.get(key) == fields


def test_ctrl_c_cancels_every_job_and_keeps_what_finished(service, monkeypatch):
    service.delays["calculate"] = 0.4
    heard = threading.Event()
    interrupt = study_module._Study.interrupt

    def interrupt_heard(self) -> None:
        heard.set()
        interrupt(self)

    monkeypatch.setattr(study_module._Study, "interrupt", interrupt_heard)

    def press_ctrl_c() -> None:
        # A third import: a seat has finished its first variant and taken the next one.
        deadline = time.monotonic() + 20
        while len(service.imported) < 3 and time.monotonic() < deadline:
            time.sleep(0.01)
        # Pressed again until the study hears it, as a user would: a KeyboardInterrupt raised
        # while a finaliser runs in the main thread is only reported as ignored by the
        # interpreter (one full-suite run in three lost the single press under load).
        for _ in range(20):
            _thread.interrupt_main()
            if heard.wait(0.5):
                return

    threading.Thread(target=press_ctrl_c, daemon=True).start()
    with pytest.raises(StudyInterrupted) as stopped:
        run_study(variants(12), seats=2, progress=False)

    result = stopped.value.result
    statuses = [o.status for o in result.variants]
    assert result.interrupted and set(statuses) <= {"finished", "cancelled"}
    assert 1 <= statuses.count("finished") < 12
    assert result.table.num_rows > 0
    assert no_job_running() and service.open_projects == 0
    assert len(service.imported) <= statuses.count("finished") + 2


def test_a_study_on_a_served_platform_and_a_job_out_of_time(service, monkeypatch, tmp_path):
    monkeypatch.delenv("http_proxy")  # the SDK would ask the proxy for the platform too
    runner = jobs.JobRunner(4, store=SqliteStore(tmp_path / "jobs.db"))
    with serving(make_server(jobs=runner)) as url:
        use_platform(monkeypatch, url)
        study = run_study(variants(4), seats=2, progress=False)
        assert study.counts()["finished"] == 4 and service.most_open <= 2

        service.delays["calculate"] = 2.0
        late = run_study(variants(1), seats=1, timeout=0.3, progress=False)
        (outcome,) = late.variants
        assert outcome.status == "failed"
        assert outcome.error == f"The job {outcome.job_id} did not finish within 0.3 s"
        assert runner.wait(outcome.job_id, 10)["message"] == jobs.CANCELLED  # not left running
    runner.close()


@pytest.mark.parametrize(
    "arguments, error, match",
    [
        ({"seats": 0}, ValueError, "seats must be at least 1, not 0"),
        ({"seats": 1.5}, TypeError, "seats must be an int, not float"),
        ({"seats": 1, "timeout": 0}, ValueError, "positive number of seconds"),
        ({"seats": 1, "cache": "FILE"}, ValueError, "The cache folder '.*' cannot be written"),
        ({"seats": 1, "results_dir": "FILE/x"}, ValueError, "The results folder"),
    ],
)
def test_bad_arguments_fail_before_any_job(service, tmp_path, arguments, error, match):
    file = tmp_path / "file"
    file.write_text("not a folder")
    arguments = {
        k: str(v).replace("FILE", str(file)) if k in ("cache", "results_dir") else v
        for k, v in arguments.items()
    }
    with pytest.raises(error, match=match):
        run_study(variants(2), progress=False, **arguments)
    assert service.imported == []


@pytest.mark.parametrize(
    "parameters, error, match",
    [
        ({"section": 1}, ValueError, "key column 'section' is a column of the table"),
        ({"items": 1}, ValueError, "key column 'items'"),  # a column of the governing table
        ({"x": [1]}, TypeError, r"parameter 'x' of variant 1 is \[1\]"),
        ({"x": "a"}, TypeError, "parameter 'x' is float in one variant and str in another"),
    ],
)
def test_bad_parameters_fail_before_any_job(service, parameters, error, match):
    with pytest.raises(error, match=match):
        run_study([(b"<a/>", {"x": 1.5}), (b"<a/>", parameters)], seats=1, progress=False)
    assert service.imported == []


def test_parameter_columns_take_the_type_of_their_values(service):
    study = run_study(
        [
            (beam(0.02, 1e5), {"n": 1, "x": 2, "flag": True, "name": "a"}),
            (beam(0.02, 1e5), {"n": 2, "x": 2.5, "flag": None}),
        ],
        seats=2,
        progress=False,
    )
    rows = study.governing().to_pylist()
    first, last = rows[0], rows[-1]
    assert (first["n"], first["x"], first["flag"], first["name"]) == (1, 2.0, True, "a")
    assert (last["n"], last["x"], last["flag"], last["name"]) == (2, 2.5, None, None)
    assert type(first["x"]) is float


def test_many_result_files_read_side_by_side(tmp_path):
    paths = []
    for i in range(6):
        paths.append(tmp_path / f"r{i}.xml")
        paths[-1].write_bytes(SYNTHETIC)
    single = check_table(SYNTHETIC, units="engineering")

    for threads in (1, 2):
        many = check_tables(paths, threads=threads, units="engineering")
        assert [t.to_pylist() for t in many.tables] == [single.to_pylist()] * 6
        assert many.table.column("file") == [str(p) for p in paths for _ in range(single.num_rows)]
        assert (
            many.governing(per_family=True).num_rows
            == 6 * single.governing(per_family=True).num_rows
        )

    # The first failing file in the given order raises, as check_table raises for it.
    broken = tmp_path / "broken.xml"
    broken.write_bytes(SYNTHETIC[:5000])
    with pytest.raises(Exception) as one:
        check_table(broken)
    with pytest.raises(type(one.value), match=str(one.value)):
        check_tables([paths[0], broken, tmp_path / "missing.xml"], threads=2)
    with pytest.raises(FileNotFoundError):
        check_tables([tmp_path / "missing.xml", broken], threads=2)
    with pytest.raises(ValueError, match="threads must be at least 1"):
        check_tables(paths, threads=0)
    assert check_tables([]).table.num_rows == 0
    assert set(check_tables([SYNTHETIC, paths[0]]).table.column("file")) == {"#0", str(paths[0])}


def test_many_files_read_together_leave_the_unusual_ones_to_check_table(tmp_path):
    # Threads read several files with the lock released once; a file that needs the
    # interpreter (an id int() reads but the core does not) or fails is read by check_table().
    underscored = SYNTHETIC.decode("utf-16").replace(
        "<SectionId>1</SectionId>", "<SectionId>1_0</SectionId>"
    )
    odd = tmp_path / "odd.xml"
    odd.write_bytes(underscored.encode("utf-16"))
    plain = tmp_path / "plain.xml"
    plain.write_bytes(SYNTHETIC)
    sources = [plain, SYNTHETIC, odd, bytearray(SYNTHETIC), str(plain)] * 3
    many = check_tables(sources, threads=2)
    assert [t.to_pylist() for t in many.tables] == [check_table(s).to_pylist() for s in sources]
    assert set(many.table.column("section")) == {1, 10}
    with pytest.raises(ParsingError, match="'2' is not available"):
        check_tables([plain, SYNTHETIC] * 5, threads=2, sections=[1, 2])
    with pytest.raises(IsADirectoryError):
        check_tables([plain, tmp_path, odd], threads=2)
