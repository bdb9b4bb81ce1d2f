"""Where the local platform keeps its jobs: in memory (the embedded platform) or in an SQLite
database (a served platform, so that jobs outlive a restart).

Both stores keep the same records: the job's request (integration, version, content), its
status and message, the times it was submitted and ended, and the result fields of a finished
job. The database is the standard library's SQLite in write-ahead-log mode, opened with an
exclusive lock: one server owns a data directory, and a second one is told so at start instead
of running the same queued jobs twice.
"""

from __future__ import annotations

import json
import os
import sqlite3
import threading
import time
from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Protocol

__all__ = ["JobRecord", "JobStore", "MemoryStore", "SqliteStore", "StoreError", "DATABASE_NAME"]

DATABASE_NAME = "jobs.sqlite3"
SCHEMA_VERSION = 1
#: Seconds a write waits for a lock held by someone else before it fails.
BUSY_TIMEOUT = 5.0

_SCHEMA = """
CREATE TABLE jobs (
    id TEXT PRIMARY KEY,
    integration TEXT NOT NULL,
    version INTEGER NOT NULL,
    content TEXT NOT NULL,
    status TEXT NOT NULL,
    message TEXT NOT NULL,
    submitted REAL NOT NULL,
    ended REAL
);
CREATE INDEX jobs_ended ON jobs (ended);
CREATE TABLE results (
    job TEXT NOT NULL REFERENCES jobs (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    data BLOB NOT NULL,
    PRIMARY KEY (job, name)
);
"""


class StoreError(Exception):
    """The job store cannot be opened, read or written; the text says which and why."""


@dataclass
class JobRecord:
    """One job as stored; ``results`` names the result fields of a finished job."""

    id: str
    integration: str
    version: int
    content: dict[str, Any]
    status: str = "queued"
    message: str = ""
    submitted: float = field(default_factory=time.time)
    ended: float | None = None
    results: list[str] = field(default_factory=list)


class JobStore(Protocol):
    """What the job runner asks of the place where it keeps its jobs.

    Every operation is safe to call from several threads at once. A store that cannot read or
    write raises :class:`StoreError` and leaves the job as it was: a write either happens whole
    or not at all, so that what the runner reports never runs ahead of what is recorded.
    """

    def add(self, job: JobRecord) -> None:
        """Record a new job as it stands (normally queued, no results)."""

    def update(
        self, job_id: str, status: str, message: str, results: Mapping[str, bytes] | None = None
    ) -> None:
        """Set the status and message of a job and, with ``results``, its result fields; an
        ended status (finished, failed) also sets the time it ended. An unknown job is
        ignored."""

    def get(self, job_id: str) -> JobRecord | None:
        """A copy of the job's record (with its result field names once finished), or None."""

    def result(self, job_id: str, name: str) -> bytes | None:
        """The bytes of one result field, or None when the job or the field is unknown."""

    def delete(self, job_id: str) -> bool:
        """Forget a job and its results; whether it was known."""

    def unfinished(self) -> Iterable[JobRecord]:
        """The jobs still queued or running, in the order they were submitted: what a runner
        started on this store takes up again."""

    def expire(self, before: float) -> int:
        """Forget the jobs that ended before the time ``before``; how many."""

    def close(self) -> None:
        """Release the store; nothing is called on it afterwards."""


class MemoryStore:
    """Jobs in this process's memory; at most ``max_jobs``, the oldest ended ones forgotten."""

    def __init__(self, max_jobs: int = 1000) -> None:
        self._jobs: dict[str, tuple[JobRecord, dict[str, bytes]]] = {}
        self._lock = threading.Lock()
        self._max_jobs = max_jobs

    def add(self, job: JobRecord) -> None:
        with self._lock:
            self._jobs[job.id] = (job, {})
            excess = len(self._jobs) - self._max_jobs
            ended = [key for key, (old, _) in self._jobs.items() if old.ended is not None]
            for key in ended[: max(0, excess)]:
                del self._jobs[key]

    def update(
        self, job_id: str, status: str, message: str, results: Mapping[str, bytes] | None = None
    ) -> None:
        with self._lock:
            if job_id not in self._jobs:
                return
            job, _ = self._jobs[job_id]
            job.status, job.message = status, message
            if status in ("finished", "failed"):
                job.ended = time.time()
            fields = dict(results or {})
            job.results = list(fields)
            self._jobs[job_id] = (job, fields)

    def get(self, job_id: str) -> JobRecord | None:
        with self._lock:
            entry = self._jobs.get(job_id)
            return None if entry is None else JobRecord(**vars(entry[0]))

    def result(self, job_id: str, name: str) -> bytes | None:
        with self._lock:
            entry = self._jobs.get(job_id)
            return None if entry is None else entry[1].get(name)

    def delete(self, job_id: str) -> bool:
        with self._lock:
            return self._jobs.pop(job_id, None) is not None

    def unfinished(self) -> list[JobRecord]:
        return []  # nothing outlives the process

    def expire(self, before: float) -> int:
        with self._lock:
            old = [key for key, (job, _) in self._jobs.items() if (job.ended or before) < before]
            for key in old:
                del self._jobs[key]
            return len(old)

    def close(self) -> None:
        pass


class SqliteStore:
    """Jobs in the SQLite database ``path`` (created with its directory when missing).

    Raises :class:`StoreError` when the database cannot be opened for writing: locked by another
    process, read-only, damaged, or not a job database. It never starts afresh silently.
    """

    def __init__(self, path: str | os.PathLike[str], busy_timeout: float = BUSY_TIMEOUT) -> None:
        self.path = Path(path)
        self._lock = threading.Lock()
        try:
            self.path.parent.mkdir(parents=True, exist_ok=True)
            self._db = sqlite3.connect(
                self.path, timeout=busy_timeout, isolation_level=None, check_same_thread=False
            )
        except (OSError, sqlite3.Error) as error:
            raise StoreError(f"The job database {self.path} cannot be opened: {error}") from None
        try:
            self._open()
        except sqlite3.Error as error:
            self._db.close()
            raise StoreError(self._explain(error)) from None

    def _explain(self, error: sqlite3.Error) -> str:
        text = str(error)
        if "locked" in text or "busy" in text:
            why = "another process holds it (is another server using this data directory?)"
        elif "readonly" in text or "read-only" in text:
            why = "it is read-only"
        elif "not a database" in text or "malformed" in text:
            why = "it is damaged; move it aside to start with no jobs"
        else:
            why = "it cannot be used"
        return f"The job database {self.path} cannot be opened: {why} ({text})"

    def _open(self) -> None:
        db = self._db
        db.execute("PRAGMA locking_mode = EXCLUSIVE")
        if db.execute("PRAGMA journal_mode = WAL").fetchone()[0].lower() != "wal":
            raise sqlite3.OperationalError("write-ahead logging is not available")
        db.execute("PRAGMA synchronous = NORMAL")
        db.execute("PRAGMA foreign_keys = ON")
        db.execute("BEGIN IMMEDIATE")  # takes the exclusive lock now, not at the first job
        try:
            version = db.execute("PRAGMA user_version").fetchone()[0]
            tables = {row[0] for row in db.execute("SELECT name FROM sqlite_master")}
            if version == 0 and not tables:
                for statement in _SCHEMA.split(";"):
                    db.execute(statement)
                db.execute(f"PRAGMA user_version = {SCHEMA_VERSION}")
            elif version != SCHEMA_VERSION or not {"jobs", "results"} <= tables:
                raise sqlite3.DatabaseError(
                    f"file is not a job database of this version (schema {version})"
                )
            check = db.execute("PRAGMA quick_check").fetchone()[0]
            if check != "ok":
                raise sqlite3.DatabaseError(f"database disk image is malformed: {check}")
        except BaseException:
            db.execute("ROLLBACK")
            raise
        db.execute("COMMIT")

    def _write(self, what: str, statements: Iterable[tuple[str, tuple[Any, ...]]]) -> None:
        with self._lock:
            try:
                self._db.execute("BEGIN IMMEDIATE")
                try:
                    for sql, parameters in statements:
                        self._db.execute(sql, parameters)
                except BaseException:
                    if self._db.in_transaction:  # some errors (a full disk) have rolled back
                        self._db.execute("ROLLBACK")
                    raise
                self._db.execute("COMMIT")
            except sqlite3.Error as error:
                raise StoreError(f"{what} could not be stored: {error}") from None

    def _read(self, sql: str, parameters: tuple[Any, ...] = ()) -> list[tuple[Any, ...]]:
        with self._lock:
            try:
                return self._db.execute(sql, parameters).fetchall()
            except sqlite3.Error as error:
                raise StoreError(f"The job database {self.path} cannot be read: {error}") from None

    def add(self, job: JobRecord) -> None:
        row = (job.id, job.integration, job.version, json.dumps(job.content), job.status)
        sql = "INSERT INTO jobs VALUES (?, ?, ?, ?, ?, ?, ?, NULL)"
        self._write("The job", [(sql, (*row, job.message, job.submitted))])

    def update(
        self, job_id: str, status: str, message: str, results: Mapping[str, bytes] | None = None
    ) -> None:
        ended = time.time() if status in ("finished", "failed") else None
        sql = "UPDATE jobs SET status = ?, message = ?, ended = ? WHERE id = ?"
        statements: list[tuple[str, tuple[Any, ...]]] = [(sql, (status, message, ended, job_id))]
        insert = "INSERT INTO results VALUES (?, ?, ?, ?)"
        for position, (name, data) in enumerate(dict(results or {}).items()):
            statements.append((insert, (job_id, position, name, data)))
        self._write("The results" if results else "The job's status", statements)

    def get(self, job_id: str) -> JobRecord | None:
        rows = self._read("SELECT * FROM jobs WHERE id = ?", (job_id,))
        if not rows:
            return None
        job = self._record(rows[0])
        if job.status == "finished":
            sql = "SELECT name FROM results WHERE job = ? ORDER BY position"
            job.results = [name for (name,) in self._read(sql, (job_id,))]
        return job

    @staticmethod
    def _record(row: tuple[Any, ...]) -> JobRecord:
        id_, integration, version, content, status, message, submitted, ended = row
        return JobRecord(
            id_, integration, version, json.loads(content), status, message, submitted, ended
        )

    def result(self, job_id: str, name: str) -> bytes | None:
        rows = self._read("SELECT data FROM results WHERE job = ? AND name = ?", (job_id, name))
        return bytes(rows[0][0]) if rows else None

    def delete(self, job_id: str) -> bool:
        found = bool(self._read("SELECT 1 FROM jobs WHERE id = ?", (job_id,)))
        self._write("The deletion", [("DELETE FROM jobs WHERE id = ?", (job_id,))])
        return found

    def unfinished(self) -> list[JobRecord]:
        sql = "SELECT * FROM jobs WHERE status IN ('queued', 'running') ORDER BY submitted, rowid"
        return [self._record(row) for row in self._read(sql)]

    def expire(self, before: float) -> int:
        count = len(self._read("SELECT 1 FROM jobs WHERE ended < ?", (before,)))
        if count:
            self._write("The expiry", [("DELETE FROM jobs WHERE ended < ?", (before,))])
        return count

    def close(self) -> None:
        with self._lock:
            self._db.close()
