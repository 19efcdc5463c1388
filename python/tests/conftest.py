import os
import pathlib

import hypothesis
import pytest

hypothesis.settings.register_profile("tests", deadline=None, max_examples=60, database=None)
hypothesis.settings.load_profile("tests")


@pytest.fixture(scope="session")
def zor_packets() -> pathlib.Path:
    """The tool, which judges what the module renders and finds."""
    tool = os.environ.get("ZOR_PACKETS")
    if not tool or not pathlib.Path(tool).exists():
        pytest.skip("zor-packets is not built")
    return pathlib.Path(tool)
