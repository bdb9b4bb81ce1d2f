"""Command line of the local platform: ``python -m marlox.local serve --host H --port N``."""

from __future__ import annotations

import argparse
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
    args = parser.parse_args(argv)

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


if __name__ == "__main__":
    sys.exit(main())
