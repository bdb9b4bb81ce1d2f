"""Studies: many models through IDEA StatiCa RCS as platform jobs, at most ``seats`` at once,
into one check table.

:func:`run_study` is SDK-level orchestration (like :mod:`marlox.external.external_program`, whose
job API it drives): each of its threads takes the next variant, makes its input XML, looks it up
in the result cache, else takes one of the ``seats`` to submit an :class:`IdeaRcsAnalysis` job
and wait for it, then keeps its result files and reads its check table. The main thread only
draws the progress bar and waits, so that Ctrl-C reaches it: it cancels every job through the
platform and stops the threads.
"""

from __future__ import annotations

import io
import logging
import os
import threading
import time
from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from ... import core
from ...errors import ExecutionError, InternalError
from .. import external_program
from .idea_rcs import CheckTable, IdeaRcsAnalysis, ResultTable, check_table
from .study_cache import ResultCache, writable_folder
from .study_tables import CheckTables, Units

__all__ = ["Variant", "VariantOutcome", "StudyResult", "StudyInterrupted", "run_study"]

log = logging.getLogger("marlox.study")

#: Longest pause between two status requests of a job on a remote platform, in seconds.
LONGEST_POLL = 0.5
#: Seconds between two redraws of the progress bar.
REFRESH = 0.2
INTERRUPTED = "The study was interrupted"
#: Seconds that cancelled jobs are given to end before the study stops waiting for them.
CANCEL_WAIT = 60.0


@dataclass
class Variant:
    """One model of a study and the parameters that tell it from the others.

    ``source`` is a model (``Model`` or ``OpenModel``, whose input XML is generated when its
    turn comes) or its input XML: bytes, a binary stream, a ``marlox.core.File`` or a path.
    ``parameters`` become columns of the study's tables (int, float, bool, str or None each).
    """

    source: Any
    parameters: dict[str, Any] = field(default_factory=dict)

    def input_xml(self) -> bytes:
        source = self.source
        if hasattr(source, "generate_xml_input"):
            source = source.generate_xml_input()
        if isinstance(source, (bytes, bytearray, memoryview)):
            return bytes(source)
        if isinstance(source, io.BytesIO):
            return source.getvalue()
        if hasattr(source, "getvalue_binary"):
            return bytes(source.getvalue_binary())
        if hasattr(source, "read"):
            return bytes(source.read())
        if isinstance(source, (str, os.PathLike)):
            return Path(source).read_bytes()
        raise TypeError(
            "a variant is a model or its input XML (bytes, a binary stream, a File or a path), "
            f"not {type(source).__name__}"
        )


@dataclass
class VariantOutcome:
    """What became of one variant: ``status`` is "finished" (run now), "cached" (its results
    came from the cache), "failed" (``error`` says why: the conversion's, the job's
    ``ExecutionError`` or the result file's text) or "cancelled" (stopped, or never started,
    by Ctrl-C)."""

    index: int
    parameters: dict[str, Any]
    status: str = "queued"
    error: str | None = None
    job_id: str | None = None
    #: Seconds the variant took (conversion, cache, job, result files, table).
    seconds: float = 0.0
    #: Seconds from the job's submission to its end as the platform reported it (0 if no job).
    job_seconds: float = 0.0
    #: The result fields' files, when the study keeps them in a folder.
    files: dict[str, Path] = field(default_factory=dict)
    #: The result fields' bytes, when the study keeps them in memory.
    data: dict[str, bytes] = field(default_factory=dict, repr=False)
    table: CheckTable | None = field(default=None, repr=False)

    def result(self, name: str = "body") -> bytes:
        """The bytes of a result field: "body" (the result XML) or "idea_rcs_body"."""
        if name in self.data:
            return self.data[name]
        if name in self.files:
            return self.files[name].read_bytes()
        raise KeyError(f"variant {self.index} has no result field '{name}' ({self.status})")

    @property
    def ok(self) -> bool:
        return self.status in ("finished", "cached")


class StudyResult:
    """The outcome of a study: every variant's :class:`VariantOutcome`, in the order given, and
    the tables of those that have results, each row led by "variant" (the variant's index)
    and the variant's parameters."""

    def __init__(self, outcomes: list[VariantOutcome], units: Units, interrupted: bool) -> None:
        self.variants = outcomes
        self.interrupted = interrupted
        done = [o for o in outcomes if o.table is not None]
        keys = [{"variant": o.index, **o.parameters} for o in done]
        self._tables = CheckTables(keys, [o.table for o in done if o.table is not None], units)

    @property
    def failures(self) -> list[VariantOutcome]:
        """The variants that failed or were cancelled, each with its error text."""
        return [o for o in self.variants if not o.ok]

    @property
    def table(self) -> ResultTable:
        """Every check row of every variant with results."""
        return self._tables.table

    @property
    def overall(self) -> ResultTable:
        """Every per-extreme "Overall" item of every variant with results."""
        return self._tables.overall

    def governing(self, *, per_family: bool = False) -> ResultTable:
        """The governing check of every variant and section: the variants in order, their
        sections worst first (see ``CheckTable.governing``)."""
        return self._tables.governing(per_family=per_family)

    def counts(self) -> dict[str, int]:
        """How many variants ended how: finished, cached, failed, cancelled."""
        out = dict.fromkeys(("finished", "cached", "failed", "cancelled"), 0)
        for o in self.variants:
            out[o.status] = out.get(o.status, 0) + 1
        return out

    def __repr__(self) -> str:
        counts = ", ".join(f"{n} {s}" for s, n in self.counts().items() if n)
        return f"<StudyResult: {len(self.variants)} variants ({counts})>"


class StudyInterrupted(KeyboardInterrupt):
    """Ctrl-C stopped a study; every job it had started was cancelled. ``result`` holds what
    finished before (the rest "cancelled")."""

    def __init__(self, result: StudyResult) -> None:
        super().__init__(f"The study was interrupted: {result!r}")
        self.result = result


def _variants(variants: Iterable[Any]) -> list[Variant]:
    out = []
    for index, item in enumerate(variants):
        if isinstance(item, Variant):
            variant = item
        elif isinstance(item, tuple) and len(item) == 2 and isinstance(item[1], Mapping):
            variant = Variant(item[0], dict(item[1]))
        else:
            raise TypeError(
                f"variant {index} is neither a Variant nor a (model, parameters) pair: "
                f"{type(item).__name__}"
            )
        if not isinstance(variant.parameters, Mapping):
            raise TypeError(f"the parameters of variant {index} are not a dict")
        out.append(Variant(variant.source, dict(variant.parameters)))
    return out


class _Study:
    """The shared state of a running study: the queue of variants, the seats' jobs, the
    counts the progress bar shows."""

    def __init__(
        self,
        variants: list[Variant],
        *,
        seats: int,
        jobs: Any,
        cache: ResultCache | None,
        results_dir: Path | None,
        timeout: float,
        units: Units,
        rcs_file: bool,
    ) -> None:
        self.variants = variants
        self.outcomes = [VariantOutcome(i, v.parameters) for i, v in enumerate(variants)]
        self.jobs = jobs
        self.cache = cache
        self.results_dir = results_dir
        self.timeout = timeout
        self.units = units
        self.rcs_file = rcs_file
        self.lock = threading.Lock()
        self.changed = threading.Condition(self.lock)
        self.next = 0
        self.stop = False
        self.running: dict[int, str] = {}  # variant -> job id, while its job runs
        self.stages: dict[int, str] = {}  # variant -> the job's last status message
        self.ended = 0
        self.seats = threading.Semaphore(seats)

    # -- the threads

    def work(self) -> None:
        while True:
            with self.lock:
                if self.stop or self.next >= len(self.variants):
                    return
                index, self.next = self.next, self.next + 1
                self.outcomes[index].status = "running"
            started = time.monotonic()
            try:
                self.run(index)
            except BaseException as error:  # a thread never dies silently
                self.fail(index, f"{type(error).__name__}: {error}")
                if not isinstance(error, Exception):
                    raise
            finally:
                with self.changed:
                    self.outcomes[index].seconds = time.monotonic() - started
                    self.running.pop(index, None)
                    self.stages.pop(index, None)
                    self.ended += 1
                    self.changed.notify_all()

    def fail(self, index: int, message: str, status: str = "failed") -> None:
        outcome = self.outcomes[index]
        outcome.status, outcome.error = status, message
        log.info("variant %d %s: %s", index, status, message)

    def run(self, index: int) -> None:
        try:
            input_xml = self.variants[index].input_xml()
        except Exception as error:
            return self.fail(index, str(error) or type(error).__name__)
        analysis = IdeaRcsAnalysis(io.BytesIO(input_xml), return_rcs_file=self.rcs_file or None)
        options = {
            "integration": analysis.integration,
            "version": analysis.version,
            "return_rcs_file": bool(self.rcs_file),
        }
        key = self.cache.key(input_xml, options) if self.cache is not None else None
        fields = self.cache.get(key) if key is not None and self.cache is not None else None
        status = "cached" if fields is not None else "finished"
        if fields is None:
            fields = self.execute(index, analysis)
            if fields is None:
                return
            if key is not None and self.cache is not None:
                self.cache.put(key, fields)
        self.keep(index, fields)
        try:
            table = check_table(fields["body"], units=self.units)
        except Exception as error:
            return self.fail(index, f"The result file cannot be read: {error}")
        outcome = self.outcomes[index]
        outcome.table, outcome.status = table, status

    def execute(self, index: int, analysis: IdeaRcsAnalysis) -> dict[str, bytes] | None:
        """Run the job on a seat; its result fields, or None when it failed or was cancelled
        before it started (the outcome says why)."""
        while not self.seats.acquire(timeout=REFRESH):
            with self.lock:
                if self.stop:
                    break
        else:
            try:
                with self.lock:
                    stopping = self.stop
                if not stopping:
                    return self.run_job(index, analysis)
            finally:
                self.seats.release()
        self.fail(index, INTERRUPTED, "cancelled")
        return None

    def run_job(self, index: int, analysis: IdeaRcsAnalysis) -> dict[str, bytes] | None:
        content = dict(analysis._generate_job_content())
        submitted = time.monotonic()
        try:
            job_id = self.jobs.submit(analysis.integration, analysis.version, content, 60.0)
        except InternalError as error:
            self.fail(index, str(error))
            return None
        self.outcomes[index].job_id = job_id
        with self.lock:
            self.running[index] = job_id
            stopping = self.stop
        if stopping:  # Ctrl-C came while the job was submitted
            self.cancel(job_id)
        deadline = time.monotonic() + self.timeout
        pause, timed_out = external_program.FIRST_POLL, False
        while True:
            status = self.jobs.status(job_id, external_program.REQUEST_TIMEOUT)
            if status["status"] in ("finished", "failed"):
                break
            with self.lock:
                self.stages[index] = status.get("message") or status["status"]
            if time.monotonic() >= deadline and not timed_out:
                timed_out = True
                self.cancel(job_id)
            self.jobs.pause(job_id, pause)
            pause = min(pause * 1.5, LONGEST_POLL)
        self.outcomes[index].job_seconds = time.monotonic() - submitted
        if status["status"] == "failed":
            message = status.get("message") or f"The job {job_id} failed"
            with self.lock:
                cancelled = self.stop
            if cancelled:
                self.fail(index, message, "cancelled")
                return None
            if timed_out:
                message = f"The job {job_id} did not finish within {self.timeout:g} s"
            try:
                analysis._handle_execution_error(message)
                raise ExecutionError(message)
            except ExecutionError as error:
                self.fail(index, str(error))
            return None
        return {
            name: self.jobs.result(job_id, name, external_program.REQUEST_TIMEOUT)
            for name in status["results"]
        }

    def keep(self, index: int, fields: dict[str, bytes]) -> None:
        outcome = self.outcomes[index]
        if self.results_dir is None:
            outcome.data = dict(fields)
            return
        suffixes = {"body": ".xml", "idea_rcs_body": ".ideaRcs"}
        for name, data in fields.items():
            path = self.results_dir / f"variant-{index:04d}{suffixes.get(name, '.' + name)}"
            temporary = path.with_name(path.name + ".part")
            temporary.write_bytes(data)
            os.replace(temporary, path)
            outcome.files[name] = path

    def cancel(self, job_id: str) -> None:
        try:
            self.jobs.cancel(job_id)
        except InternalError as error:  # it ended meanwhile
            log.debug("job %s was not cancelled: %s", job_id, error)

    # -- the main thread

    def interrupt(self) -> None:
        """Stop taking variants and cancel every running job."""
        with self.lock:
            self.stop = True
            running = list(self.running.values())
        for job_id in running:
            self.cancel(job_id)

    def summary(self) -> str:
        with self.lock:
            counts = {"finished": 0, "cached": 0, "failed": 0, "cancelled": 0}
            for o in self.outcomes:
                if o.status in counts:
                    counts[o.status] += 1
            stages = sorted(self.stages.items())
        done = counts["finished"] + counts["cached"]
        text = f"done {done} (cached {counts['cached']}), running {len(stages)}"
        text += f", failed {counts['failed'] + counts['cancelled']}"
        if stages:
            shown = "; ".join(f"#{i}: {stage}" for i, stage in stages[:4])
            text += f" | {shown}" + (" ..." if len(stages) > 4 else "")
        return text


def run_study(
    variants: Iterable[Variant | tuple[Any, Mapping[str, Any]]],
    *,
    seats: int,
    cache: str | os.PathLike[str] | None = None,
    results_dir: str | os.PathLike[str] | None = None,
    progress: bool = True,
    timeout: float = external_program.DEFAULT_TIMEOUT,
    units: Units = "SI",
    return_rcs_file: bool = False,
) -> StudyResult:
    """Run every variant through IDEA StatiCa RCS, at most ``seats`` jobs at once, and return
    their check tables joined into one.

    :param variants: :class:`Variant` objects or ``(model, parameters)`` pairs; a model may
        also be its input XML. Parameters are int, float, bool, str or None.
    :param seats: how many jobs run at once at most (the licence seats the study may take).
    :param cache: a folder of results by input XML and job options, shared by studies and
        processes: a variant whose result is in it is not run again.
    :param results_dir: a folder to keep the result files in (``variant-0007.xml``, and
        ``.ideaRcs`` with ``return_rcs_file``); without one they are kept in memory.
    :param progress: show a progress bar (on stderr) of the variants done, running and failed,
        with the stage of the running jobs.
    :param timeout: seconds each job may take; a job that takes longer is cancelled and fails.
    :param units: the units of the tables, as for ``check_table``.
    :param return_rcs_file: also keep each job's .ideaRcs project file.
    :returns: a :class:`StudyResult`. A variant that cannot be converted, whose job fails or
        whose result file cannot be read fails alone, with its error text.
    :raises ValueError: before anything is submitted, for ``seats`` below 1, a cache or results
        folder that cannot be written, a parameter named like a column of the check table.
    :raises TypeError: for a variant or parameter value of the wrong type.
    :raises StudyInterrupted: on Ctrl-C, after every job started was cancelled; it holds the
        results of the variants that finished before.
    """
    if isinstance(seats, bool) or not isinstance(seats, int):
        raise TypeError(f"seats must be an int, not {type(seats).__name__}")
    if seats < 1:
        raise ValueError(f"seats must be at least 1, not {seats}")
    if isinstance(timeout, bool) or not isinstance(timeout, (int, float)) or not timeout > 0:
        raise ValueError(f"The timeout must be a positive number of seconds, not {timeout!r}")
    chosen = _variants(variants)
    CheckTables.check_keys([{"variant": i, **v.parameters} for i, v in enumerate(chosen)], units)
    result_cache = ResultCache(cache) if cache is not None else None
    folder = writable_folder(results_dir, "results") if results_dir is not None else None
    jobs: Any = (
        external_program._PlatformJobs()
        if core._platform() is not None
        else external_program._LocalJobs()
    )
    study = _Study(
        chosen,
        seats=seats,
        jobs=jobs,
        cache=result_cache,
        results_dir=folder,
        timeout=float(timeout),
        units=units,
        rcs_file=return_rcs_file,
    )
    # More threads than seats: one converts its next variant or reads its last result file
    # while the others' jobs hold the seats.
    threads = [
        threading.Thread(target=study.work, name=f"marlox-study-{n}", daemon=True)
        for n in range(min(2 * seats, len(chosen)))
    ]
    bar = _bar(len(chosen)) if progress else None
    interrupted = False
    try:
        for thread in threads:
            thread.start()
        _wait(study, bar)
    except KeyboardInterrupt:
        interrupted = True
        study.interrupt()
        if bar is not None:
            bar.set_postfix_str("cancelling: " + study.summary(), refresh=True)
        deadline = time.monotonic() + CANCEL_WAIT
        for thread in threads:
            thread.join(max(0.0, deadline - time.monotonic()))
    finally:
        if bar is not None:
            bar.close()
    for outcome in study.outcomes:
        if outcome.status in ("queued", "running"):
            outcome.status, outcome.error = "cancelled", INTERRUPTED
    result = StudyResult(study.outcomes, units, interrupted)
    if interrupted:
        raise StudyInterrupted(result)
    return result


def _bar(total: int) -> Any:
    from tqdm import tqdm

    return tqdm(total=total, unit="variant", desc="study", dynamic_ncols=True)


def _wait(study: _Study, bar: Any) -> None:
    total, shown = len(study.variants), 0
    while shown < total:
        with study.changed:
            if study.ended == shown:
                study.changed.wait(REFRESH)
            ended = study.ended
        if bar is not None:
            bar.update(ended - shown)
            bar.set_postfix_str(study.summary(), refresh=ended == total)
        shown = ended
