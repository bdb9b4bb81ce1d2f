"""The "idearcs" worker and the fake RCS service against IDEA's published API contract
(``data/rcs-rest-api-openapi.yaml``): every request the worker sends and every reply the fake
returns must be one that the contract describes, so that neither drifts from the real service."""

from __future__ import annotations

import base64
import email.parser
import email.policy
import json
import re
from pathlib import Path

import pytest
import yaml
from openapi_schema_validator import OAS30Validator
from platform_fakes import closed_port_url, serving
from rcs_service_fake import FakeRcsService, results_from_xml
from referencing import Registry, Resource
from referencing.jsonschema import DRAFT4

from marlox.local import jobs

DATA = Path(__file__).parent / "data"
SYNTHETIC = (DATA / "rcs-result-synthetic.xml").read_bytes()
INPUT = (DATA / "iom-rcs-ImportOpenModel.xml").read_bytes()
CONTRACT = yaml.safe_load((DATA / "rcs-rest-api-openapi.yaml").read_text(encoding="utf-8"))
# One known divergence: the contract describes a check item (ConcreteCheckResultBase) with its
# base fields only and no others, while the worker writes each family's own fields into the
# result XML from the items of get-results (as the service's .NET serialiser writes a derived
# item). The base fields are still checked, the extra ones are let through.
CONTRACT["components"]["schemas"]["ConcreteCheckResultBase"]["additionalProperties"] = True
REGISTRY = Registry().with_resource("contract", Resource(CONTRACT, DRAFT4))
#: Calls outside the contract: the executable's liveness probe, which the worker waits on
#: before its first call.
UNDESCRIBED = {("GET", "/heartbeat")}


def operation(method: str, path: str) -> dict:
    """The contract's operation for a request, or a failed test."""
    for template, operations in CONTRACT["paths"].items():
        pattern = re.sub(r"\{[^}]+\}", "([^/]+)", template)
        match = re.fullmatch(pattern, path)
        if match and method.lower() in operations:
            found = operations[method.lower()]
            for parameter, value in zip(
                [p for p in found.get("parameters", []) if p["in"] == "path"],
                match.groups(),
                strict=True,
            ):
                check(value, parameter["schema"], f"{method} {path}: {parameter['name']}")
            return found
    pytest.fail(f"{method} {path} is not in the contract")


def check(instance, schema: dict, what: str) -> None:
    validator = OAS30Validator(
        schema, registry=REGISTRY, format_checker=OAS30Validator.FORMAT_CHECKER
    )
    errors = sorted(validator.iter_errors(instance), key=str)
    assert not errors, f"{what}: {errors[0].message} at {list(errors[0].absolute_path)}"


def media_schema(content: dict, content_type: str, what: str) -> dict:
    media = content_type.split(";")[0].strip()
    assert media in content, f"{what}: {media} is not one of {sorted(content)}"
    schema = content[media].get("schema", {})
    return {"$ref": "contract" + schema["$ref"]} if "$ref" in schema else _rooted(schema)


def _rooted(schema):
    if isinstance(schema, dict):
        return {k: ("contract" + v if k == "$ref" else _rooted(v)) for k, v in schema.items()}
    if isinstance(schema, list):
        return [_rooted(v) for v in schema]
    return schema


@pytest.fixture
def exchanges(monkeypatch):
    """The fake service, recording every request and its reply; its results are the sections
    of the synthetic result document."""
    for name in ("no_proxy", "NO_PROXY"):
        monkeypatch.delenv(name, raising=False)
    monkeypatch.setenv("http_proxy", closed_port_url())
    server = FakeRcsService(results_from_xml(SYNTHETIC))
    recorded = []
    answer = server.answer

    def recording(method, path, headers, body):
        reply = answer(method, path, headers, body)
        recorded.append((method, path, dict(headers), body, reply))
        return reply

    server.answer = recording
    with serving(server) as url:
        monkeypatch.setenv("MARLOX_IDEA_RCS_URL", url)
        yield recorded


def test_the_worker_and_the_fake_keep_to_the_contract(exchanges):
    runner = jobs.JobRunner()
    content = {"body": base64.b64encode(INPUT).decode(), "return_rcs_file": True}
    job = runner.submit("idearcs", 2, content)
    status = runner.wait(job, 20)
    assert status["status"] == "finished", status

    calls = {(method, re.sub(r"[0-9a-f-]{36}", "{id}", path)) for method, path, *_ in exchanges}
    assert calls == {
        ("GET", "/heartbeat"),
        ("POST", "/api/1/projects/import-iom-file"),
        ("POST", "/api/1/projects/{id}/calculate"),
        ("POST", "/api/1/projects/{id}/get-results"),
        ("GET", "/api/1/projects/{id}/download"),
        ("PUT", "/api/1/projects/{id}/close"),
    }
    for method, path, headers, body, (status_code, content_type, reply) in exchanges:
        if (method, path) in UNDESCRIBED:
            continue
        what = f"{method} {path}"
        described = operation(method, path)
        # The request: its body as the contract describes it.
        if "requestBody" in described:
            sent = headers.get("Content-Type", "")
            schema = media_schema(described["requestBody"]["content"], sent, what)
            if sent.startswith("multipart/form-data"):
                message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(
                    f"Content-Type: {sent}\r\n\r\n".encode() + body
                )
                parts = {
                    part.get_param("name", header="content-disposition"): "<binary>"
                    for part in message.iter_parts()
                }
                check(parts, schema, what + " request")
            else:
                check(json.loads(body), schema, what + " request")
        else:
            assert not body, f"{what}: a body the contract does not describe"
        # The reply: a status the contract lists, of a described media type and schema.
        replies = described["responses"]
        assert str(status_code) in replies, f"{what}: status {status_code}"
        content = replies[str(status_code)].get("content")
        if content is None:
            continue  # described without a body: any bytes (the project file)
        schema = media_schema(content, content_type, what)
        if content_type.startswith("application/json"):
            check(json.loads(reply), schema, what + " reply")
        else:
            check(reply.decode(), schema, what + " reply")


@pytest.mark.parametrize(
    "schema, instance",
    [
        ("RcsProject", {"projectId": 5}),  # not a uuid text
        ("RcsProject", {"projectId": "c4eea854-e287-47e9-aa21-38cd46ceed58", "id": 1}),
        ("RcsCalculationParameters", {"sections": ["1"]}),
        ("RcsSectionResultOverview", {"sectionId": "one"}),
    ],
)
def test_the_contract_refuses_what_the_service_would_not_send(schema, instance):
    with pytest.raises(AssertionError):
        check(instance, {"$ref": f"contract#/components/schemas/{schema}"}, schema)
