"""The platform SDK's own modules: errors and files."""

import importlib
import io
import re
import sys

import pytest

from marlox import errors
from marlox.core import File


@pytest.mark.parametrize("cls", [errors.ExecutionError, errors.ParsingError, errors.InternalError])
def test_errors_carry_their_message_and_share_a_base(cls):
    error = cls("it broke")
    assert isinstance(error, errors.MarloxError)
    assert str(error) == "it broke"
    assert error.message == "it broke"
    assert error.args == ("it broke",)


def test_file_from_bytes_and_text():
    raw = File.from_data(b"\xff\xfeA\x00")
    assert raw.getvalue_binary() == b"\xff\xfeA\x00"
    assert raw.getvalue("utf-16") == "A"
    text = File.from_data("žluť")
    assert text.getvalue_binary() == "žluť".encode()
    assert text.getvalue() == "žluť"
    with text.open() as stream:
        assert stream.read() == "žluť"
    with raw.open_binary() as stream:
        assert isinstance(stream, io.BufferedIOBase | io.BytesIO)
        assert stream.read() == b"\xff\xfeA\x00"


def test_file_from_path_reads_lazily(tmp_path):
    path = tmp_path / "result.xml"
    path.write_bytes(b"first")
    file = File.from_path(path)
    path.write_bytes(b"second")
    assert file.getvalue_binary() == b"second"
    with file.open_binary() as stream:
        assert stream.read(3) == b"sec"
    with pytest.raises(FileNotFoundError):
        File.from_path(tmp_path / "missing.xml")


def test_file_rejects_other_data():
    with pytest.raises(TypeError, match="bytes or str, not int"):
        File.from_data(5)


@pytest.mark.parametrize(
    "module, loader, dependency, extra",
    [
        ("marlox.external.idea_rcs._plot", "_matplotlib", "matplotlib.patches", "plot"),
        ("marlox.external.idea_rcs.utilisation", "_pyplot", "matplotlib.pyplot", "plot"),
        ("marlox.external.idea_rcs.report", "_weasyprint", "weasyprint", "pdf"),
        ("marlox.local.server", "_waitress", "waitress", "server"),
    ],
)
def test_a_missing_extra_is_named_as_the_compiled_modules_name_it(
    module, loader, dependency, extra, monkeypatch
):
    monkeypatch.setitem(sys.modules, dependency, None)
    with pytest.raises(ImportError) as missing:
        getattr(importlib.import_module(module), loader)()
    package = dependency.partition(".")[0]
    # The compiled modules' form (translate.cpp): "<what> needs <module>: pip install ..."
    assert re.fullmatch(
        rf"\w[\w .]* needs {package}: pip install 'marlox\[{extra}\]'", str(missing.value)
    )
