"""Command line of the local platform: ``python -m marlox.local serve --host H --port N``
serves it; ``python -m marlox.local idea-rcs [INPUT.xml]`` checks the IDEA StatiCa RCS service
of the "idearcs" worker or runs the worker on an input file."""

from __future__ import annotations

import argparse
import base64
import ipaddress
import logging
import os
import re
import signal
import sys
from pathlib import Path
from typing import Any

from .app import DEFAULT_MAX_BODY
from .guard import DEFAULT_REQUEST_TIMEOUT

#: Jobs a platform on a Dask cluster has sent there at a time, unless ``--workers`` says.
DASK_IN_FLIGHT = 64
#: Seconds an ended job is kept unless ``--keep`` says otherwise (30 days).
DEFAULT_KEEP = 30 * 86400.0
_UNITS = {"s": 1, "m": 60, "h": 3600, "d": 86400}


def default_data_dir() -> Path:
    """The per-user directory of the served platform's jobs."""
    if sys.platform == "win32":
        base = os.environ.get("LOCALAPPDATA") or Path.home() / "AppData" / "Local"
    else:
        base = os.environ.get("XDG_DATA_HOME") or Path.home() / ".local" / "share"
    return Path(base) / "marlox" / "platform"


def _duration(text: str) -> float:
    match = re.fullmatch(r"\s*(\d+(?:\.\d*)?)\s*([smhd]?)\s*", text)
    if not match:
        raise argparse.ArgumentTypeError(f"not a duration such as 3600, 90m, 12h or 30d: {text!r}")
    return float(match[1]) * _UNITS[match[2] or "s"]


def _is_loopback(host: str) -> bool:
    try:
        return ipaddress.ip_address(host).is_loopback
    except ValueError:
        return host == "localhost"


def _stop(signum: int, frame: object) -> None:
    # SIGTERM ends the server as Ctrl-C does.
    raise KeyboardInterrupt


def main(argv: list[str] | None = None) -> int:
    parser = argparse.ArgumentParser(prog="python -m marlox.local", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True)
    serve = commands.add_parser("serve", help="serve the platform's endpoints and job API")
    serve.add_argument("--host", default="127.0.0.1", help="address to bind (127.0.0.1)")
    serve.add_argument("--port", type=int, default=8080, help="port to bind; 0 picks a free one")
    serve.add_argument("--token", help="require this bearer token on every request but /health")
    serve.add_argument(
        "--max-body",
        type=int,
        default=DEFAULT_MAX_BODY,
        help=f"largest request body in bytes ({DEFAULT_MAX_BODY})",
    )
    serve.add_argument(
        "--request-timeout",
        type=float,
        default=DEFAULT_REQUEST_TIMEOUT,
        help="seconds a connection has to begin a request and a request for its head, plus one "
        f"for every 64 KiB of its body ({DEFAULT_REQUEST_TIMEOUT:g})",
    )
    serve.add_argument(
        "--data-dir",
        type=Path,
        default=default_data_dir(),
        help=f"directory of the job database ({default_data_dir()})",
    )
    serve.add_argument(
        "--keep",
        type=_duration,
        default=DEFAULT_KEEP,
        help="how long ended jobs and their results are kept: seconds, or 90m, 12h, 30d (30d)",
    )
    serve.add_argument(
        "--workers",
        type=int,
        help="jobs that run at a time (4); with --dask, jobs sent to the cluster at a time "
        f"({DASK_IN_FLIGHT}), its workers' seats deciding how many run",
    )
    serve.add_argument(
        "--dask",
        metavar="ADDRESS",
        default=os.environ.get("MARLOX_DASK_SCHEDULER") or None,
        help="run the jobs on the Dask cluster of this scheduler (tcp://host:8786) instead of "
        "in this process; default: MARLOX_DASK_SCHEDULER",
    )
    serve.add_argument("--threads", type=int, default=4, help="threads answering requests (4)")
    serve.add_argument("--verbose", action="store_true", help="log every job")
    idea_rcs = commands.add_parser(
        "idea-rcs",
        help="check the IDEA StatiCa RCS service that MARLOX_IDEA_RCS_URL or "
        "MARLOX_IDEA_RCS_EXE names, or run the idearcs worker on an input file",
    )
    idea_rcs.add_argument("input", nargs="?", help="an RCS input XML file to calculate")
    idea_rcs.add_argument("--output", default="result.xml", help="result XML (result.xml)")
    idea_rcs.add_argument("--rcs-file", help="also save the .ideaRcs project here")
    args = parser.parse_args(argv)

    if args.command == "idea-rcs":
        logging.basicConfig(level=logging.INFO, format="%(name)s %(levelname)s %(message)s")
        return _idea_rcs(args.input, args.output, args.rcs_file)

    logging.basicConfig(
        level=logging.DEBUG if args.verbose else logging.INFO,
        format="%(asctime)s %(name)s %(levelname)s %(message)s",
    )
    if not args.token and not _is_loopback(args.host):
        logging.warning("serving on %s without a token: anyone may use it", args.host)
    return _serve(args)


def _serve(args: argparse.Namespace) -> int:
    from .jobs import JobRunner
    from .server import SWITCH_INTERVAL, listen, make_server
    from .store import DATABASE_NAME, SqliteStore, StoreError

    sys.setswitchinterval(SWITCH_INTERVAL)
    try:
        # Bound before the jobs are taken up again: a port in use must not interrupt them.
        listener = listen(
            args.host, args.port, max_body=args.max_body, request_timeout=args.request_timeout
        )
    except (ImportError, OSError) as error:
        print(f"python -m marlox.local serve: {error}", file=sys.stderr)
        return 1
    executor: Any = None
    if args.dask:
        from .dask_executor import DaskExecutor, DaskUnavailable

        try:
            executor = DaskExecutor(args.dask)
        except DaskUnavailable as error:
            listener.close()
            print(f"python -m marlox.local serve: {error}", file=sys.stderr)
            return 1
        logging.info("jobs run on the Dask cluster of %s", args.dask)
    workers = args.workers or (DASK_IN_FLIGHT if executor is not None else 4)
    try:
        store = SqliteStore(args.data_dir / DATABASE_NAME)
        try:
            jobs = JobRunner(max_running=workers, store=store, keep=args.keep, executor=executor)
        except StoreError:
            store.close()
            raise
    except StoreError as error:
        listener.close()
        if executor is not None:
            executor.close()
        print(f"python -m marlox.local serve: {error}", file=sys.stderr)
        return 1
    kept = f"{args.keep / 86400:g} days" if args.keep >= 86400 else f"{args.keep:g} s"
    logging.info("jobs are kept in %s for %s after they end", store.path, kept)
    server = make_server(token=args.token, jobs=jobs, threads=args.threads, listener=listener)
    try:
        signal.signal(signal.SIGTERM, _stop)
        print(f"Marlox local platform serving on {server.url}", flush=True)
        server.serve_forever()
    except KeyboardInterrupt:
        pass
    finally:
        server.server_close()
        jobs.close()
        logging.info("stopped")
    return 0


def _idea_rcs(input_path: str | None, output: str, rcs_file: str | None) -> int:
    from . import idea_rcs_worker as worker
    from .idea_rcs_client import ServiceError
    from .idea_rcs_service import ServiceUnavailable, Settings, connect
    from .workers import WorkerFailure

    try:
        try:
            settings = Settings.from_environment()
        except ValueError as error:
            raise WorkerFailure(str(error)) from None
        if input_path is None:
            try:
                with connect(settings) as service:
                    try:
                        version = service.version()
                    except ServiceError as error:
                        version = f"unknown ({error})"
                    print(f"IDEA StatiCa RCS service at {service.url} answers; version {version}")
            except ServiceUnavailable as error:
                logging.warning("%s", error)
                raise WorkerFailure(worker.LINK_NOT_FOUND) from None
            return 0
        with open(input_path, "rb") as file:
            body = base64.b64encode(file.read()).decode()
        content = {"body": body, "return_result_xml": True, "return_rcs_file": bool(rcs_file)}
        fields = worker.run(content, 2, settings)
        for path, field in ((output, "body"), (rcs_file, "idea_rcs_body")):
            if path:
                with open(path, "wb") as file:
                    file.write(fields[field])
                print(f"wrote {path}")
        return 0
    except (WorkerFailure, OSError) as failure:
        print(f"idearcs: {failure}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
