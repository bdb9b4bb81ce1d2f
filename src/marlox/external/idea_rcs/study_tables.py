"""Check tables of many result files at once: read side by side on threads (the result scanner
runs without the interpreter lock) or by the workers of a Dask cluster, and joined into one
table whose rows each lead with the key of the file they came from (the file, or a study's
variant and its parameters)."""

from __future__ import annotations

import functools
import itertools
import os
import threading
from collections.abc import Iterable, Sequence
from typing import Any, Literal

from .idea_rcs import CheckTable, ResultTable, _check_table_batch, _stack_tables, check_table

__all__ = ["CheckTables", "check_tables"]

_BATCH = 8  # files a thread reads with the interpreter lock released once

Key = dict[str, Any]
Units = Literal["SI", "engineering"]

_empty: dict[str, CheckTable] = {}


def empty_check_table(units: Units) -> CheckTable:
    """A check table without rows: the columns of every check table in ``units``."""
    if units not in _empty:
        _empty[units] = check_table(b"<SectionConcreteCheckResults/>", units=units)
    return _empty[units]


class CheckTables:
    """The check tables of several result files, each under a key (a dict of values), and the
    tables that join them: every row of a file's table led by its key's columns."""

    def __init__(self, keys: Sequence[Key], tables: Sequence[CheckTable], units: Units) -> None:
        if len(keys) != len(tables):
            raise ValueError(f"{len(keys)} keys for {len(tables)} tables")
        self.keys = list(keys)
        self.tables = list(tables)
        self.units = units
        self._table: ResultTable | None = None
        self._overall: ResultTable | None = None

    @staticmethod
    def check_keys(keys: Sequence[Key], units: Units) -> None:
        """Raise the error that joining tables under ``keys`` would raise (a value that is not
        int, float, bool, str or None, a name that a column of the table bears), before any
        table exists."""
        for like in (empty_check_table(units), empty_check_table(units).governing(per_family=True)):
            _stack_tables(keys, [like] * len(keys), like)

    @property
    def table(self) -> ResultTable:
        """All check rows, each led by its file's key columns, in the order of the files."""
        if self._table is None:
            self._table = _stack_tables(self.keys, self.tables, empty_check_table(self.units))
        return self._table

    @property
    def overall(self) -> ResultTable:
        """All per-extreme "Overall" items, each led by its file's key columns."""
        if self._overall is None:
            like = empty_check_table(self.units).overall
            self._overall = _stack_tables(self.keys, [t.overall for t in self.tables], like)
        return self._overall

    def governing(self, *, per_family: bool = False) -> ResultTable:
        """The governing check of every file and section (see :meth:`CheckTable.governing`),
        each led by its file's key columns: the files in order, their sections worst first."""
        like = empty_check_table(self.units).governing(per_family=per_family)
        parts = [t.governing(per_family=per_family) for t in self.tables]
        return _stack_tables(self.keys, parts, like)

    def __len__(self) -> int:
        return len(self.tables)

    def __repr__(self) -> str:
        return f"<CheckTables: {len(self.tables)} files, units {self.units}>"


def _name(source: Any, index: int) -> str:
    if isinstance(source, (str, os.PathLike)):  # not bytes: those are a document, not a path
        path = os.fspath(source)
        return path if isinstance(path, str) else os.fsdecode(path)
    return f"#{index}"


def check_tables(
    sources: Iterable[Any],
    *,
    threads: int | None = None,
    client: Any = None,
    units: Units = "SI",
    **options: Any,
) -> CheckTables:
    """The check tables of several result files, read side by side.

    :param sources: result files as :func:`check_table` takes them (paths, bytes, binary
        streams, ``marlox.core.File``).
    :param threads: how many files are read at once (default: the machine's processors); a
        single file is read on that many threads itself (see :func:`check_table`).
    :param client: a ``distributed.Client``: the files are read by its workers instead (paths
        must name the same files there; bytes travel with the task), and the tables come back
        pickled.
    :param units, options: as for :func:`check_table` (``sections``, ``families``).
    :returns: the tables in the order of ``sources``, keyed by "file": the path as given, or
        "#i" for a source that is no path.
    :raises: the error that :func:`check_table` raises for the first file, in the order given,
        that fails; no table is returned then.
    """
    sources = list(sources)
    if threads is not None and (isinstance(threads, bool) or not isinstance(threads, int)):
        raise TypeError(f"threads must be an int, not {type(threads).__name__}")
    if threads is not None and threads < 1:
        raise ValueError(f"threads must be at least 1, not {threads}")
    workers = min(threads or os.cpu_count() or 1, max(len(sources), 1))
    # Files side by side are each read in one pass; a single file takes the threads itself.
    options = {"threads": 1 if workers > 1 else threads, **options}
    read = functools.partial(_read, units=units, options=options)
    tables: list[CheckTable]
    if client is not None:
        futures = client.map(_read, sources, units=units, options=options, pure=False)
        try:
            tables = [future.result() for future in futures]  # the first error in order
        finally:
            client.cancel(futures)
        return CheckTables(_keys(sources), tables, units)
    if workers == 1:
        tables = [read(source) for source in sources]
    else:
        batch = None
        if set(options) <= {"threads", "sections", "families"}:
            batch = functools.partial(
                _check_table_batch,
                sections=options.get("sections"),
                families=options.get("families"),
                units=units,
            )
        tables = _read_side_by_side(read, sources, workers, batch)
    return CheckTables(_keys(sources), tables, units)


def _read_side_by_side(
    read: Any, sources: list[Any], workers: int, batch: Any = None
) -> list[CheckTable]:
    """``read`` of every source on ``workers`` threads, each taking the next files as it is done
    (no future per file: the bookkeeping of a pool holds the interpreter lock for as long as a
    small file's table takes without it). With ``batch`` (``_check_table_batch`` bound to the
    options), a thread takes ``_BATCH`` files at once and reads them with the lock released
    once, falling back to ``read`` for a file the batch leaves to it (None). The first error in
    the order of ``sources`` is raised; files after a failed one are not read."""
    tables: list[Any] = [None] * len(sources)
    errors: dict[int, BaseException] = {}
    order = itertools.count()  # next() of a count is atomic under the interpreter lock
    step = _BATCH if batch is not None else 1

    def work() -> None:
        for chunk in iter(order.__next__, -1):
            first = chunk * step
            if first >= len(sources) or (errors and first > min(errors)):
                return
            indices = range(first, min(first + step, len(sources)))
            try:
                made = batch([sources[i] for i in indices]) if batch is not None else None
            except BaseException as e:  # noqa: BLE001 - an argument error, for every file
                errors[first] = e
                return
            for k, i in enumerate(indices):
                if errors and i > min(errors):
                    return
                try:
                    table = made[k] if made is not None else None
                    tables[i] = table if table is not None else read(sources[i])
                except BaseException as e:  # noqa: BLE001 - raised in the caller's thread
                    errors[i] = e

    threads = [
        threading.Thread(target=work, name=f"marlox-tables-{n}", daemon=True)
        for n in range(workers)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[min(errors)]
    return tables


def _keys(sources: list[Any]) -> list[Key]:
    return [{"file": _name(source, index)} for index, source in enumerate(sources)]


def _read(source: Any, units: Units, options: dict[str, Any]) -> CheckTable:
    """One file's table, on a Dask worker."""
    return check_table(source, units=units, **options)
