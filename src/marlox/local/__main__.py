"""Command line of the local platform: ``python -m marlox.local serve --host H --port N``
serves it; ``python -m marlox.local idea-rcs [INPUT.xml]`` checks the IDEA StatiCa RCS service
of the "idearcs" worker or runs the worker on an input file."""

from __future__ import annotations

import argparse
import base64
import ipaddress
import logging
import signal
import sys

from .server import DEFAULT_MAX_BODY, make_server


def _is_loopback(host: str) -> bool:
    try:
        return ipaddress.ip_address(host).is_loopback
    except ValueError:
        return host == "localhost"


def _stop(signum, frame):
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
    serve.add_argument("--verbose", action="store_true", help="log every request")
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
    server = make_server(args.host, args.port, token=args.token, max_body=args.max_body)
    signal.signal(signal.SIGTERM, _stop)
    print(f"Marlox local platform serving on {server.url}", flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass
    finally:
        server.server_close()
    return 0


def _idea_rcs(input_path: str | None, output: str, rcs_file: str | None) -> int:
    from . import idea_rcs_worker as worker
    from .jobs import WorkerFailure

    try:
        settings = worker.Settings.from_environment()
        if input_path is None:
            if not (settings.url or settings.exe):
                raise WorkerFailure(worker.LINK_NOT_FOUND)
            with worker.connect(settings) as service:
                try:
                    version = service.version()
                except worker.ServiceError as error:
                    version = f"unknown ({error})"
                print(f"IDEA StatiCa RCS service at {service.url} answers; version {version}")
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
