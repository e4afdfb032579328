"""Fixtures for every folder of tests."""

from __future__ import annotations

import gc
import importlib
import os
import shutil
import signal
import sys
from pathlib import Path

import pytest
from hypothesis import HealthCheck, settings

TESTS = str(Path(__file__).resolve().parent)
if TESTS not in sys.path:
    # Last, so that no folder of tests stands before a module of that name.
    sys.path.append(TESTS)
pytest.register_assert_rewrite("support")

# A run in a shell's background ignores Ctrl-C, and so would the programs that tests interrupt.
signal.signal(signal.SIGINT, signal.default_int_handler)

from support.child import NATIVE, TWIN  # noqa: E402
from support.clock import Clock  # noqa: E402
from support.fakes import recording_class  # noqa: E402
from support.operations import NOW  # noqa: E402
from support.sample_file import make_sample  # noqa: E402

# No deadline: the machine may be busy with other work. Fixtures are made for a whole test.
_COMMON = settings(
    deadline=None,
    suppress_health_check=[HealthCheck.too_slow, HealthCheck.function_scoped_fixture],
)
settings.register_profile("fast", parent=_COMMON, max_examples=50)
settings.register_profile("ci", parent=_COMMON, max_examples=100, derandomize=True)
settings.register_profile("thorough", parent=_COMMON, max_examples=1000)
settings.load_profile(
    os.environ.get("HYPOTHESIS_PROFILE", "ci" if os.environ.get("CI") else "fast")
)


# A file system in memory, where there is a roomy one: the tests make thousands of databases, and
# each waits for its disk many times.
_MEMORY = Path("/dev/shm")
if os.access(_MEMORY, os.W_OK) and shutil.disk_usage(_MEMORY).free > 2 * 1024**3:
    os.environ.setdefault("PYTEST_DEBUG_TEMPROOT", str(_MEMORY))


def pytest_collection_modifyitems(items):
    """Random runs are long ones."""
    for item in items:
        if getattr(getattr(item, "obj", None), "is_hypothesis_test", False):
            item.add_marker(pytest.mark.slow)


def pytest_collection_finish():
    """The tests found are many objects: no collection has to walk through them again."""
    gc.collect()
    gc.freeze()


@pytest.fixture(scope="session")
def native():
    """The extension module, for what only an extension has."""
    return importlib.import_module(NATIVE)


@pytest.fixture(scope="session", params=[NATIVE, TWIN], ids=["native", "twin"])
def store_module_name(request):
    return request.param


@pytest.fixture
def store_module(store_module_name):
    """Both implementations in turn: what holds for the store must hold for its oracle."""
    return importlib.import_module(store_module_name)


@pytest.fixture
def db_path(tmp_path):
    return tmp_path / "anpr.db"


@pytest.fixture
def store(store_module, db_path):
    """A store on a new file."""
    return store_module.ANPRDatabase(db_path)


@pytest.fixture
def clock(store_module, monkeypatch):
    """The store's clock, standing still until the test sets it."""
    replaced = Clock(NOW)
    monkeypatch.setattr(store_module, "datetime", replaced.type)
    return replaced


@pytest.fixture
def recorded(store_module, db_path):
    """A store on a new file and the log of what its operations ask of their connections."""
    log = []
    recorded_store = recording_class(store_module.ANPRDatabase, log)(db_path)
    log.clear()
    return recorded_store, log


@pytest.fixture(scope="session")
def sample(tmp_path_factory):
    """The bytes of a file with the sample rows."""
    return make_sample(tmp_path_factory.mktemp("sample") / "anpr.db")


@pytest.fixture
def sampled(store, db_path, sample):
    """A store whose file holds the sample rows, so that each operation's calls succeed."""
    db_path.write_bytes(sample)
    return store


@pytest.fixture
def recorded_sample(recorded, db_path, sample):
    """As `recorded`, with the sample rows in the file."""
    db_path.write_bytes(sample)
    return recorded
