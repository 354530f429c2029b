import os
import pathlib

import pytest

DATA = pathlib.Path(os.environ.get("KESTRUNE_DATA", pathlib.Path(__file__).parents[2] / "data"))


@pytest.fixture(autouse=True)
def documents(tmp_path, monkeypatch):
    # The library's log and default outputs go to the Documents directory: keep them here.
    monkeypatch.setenv("KESTRUNE_DOCUMENTS_DIR", str(tmp_path / "documents"))


@pytest.fixture
def tool():
    path = os.environ.get("KESTRUNE_TOOL")
    if not path:
        pytest.skip("KESTRUNE_TOOL names the kestrune tool (CTest sets it)")
    return path
