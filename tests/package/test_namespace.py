"""A server's own `zentrope_anpr` package and the installed store: what hides it, and both cures."""

from __future__ import annotations

import subprocess
import sys

import pytest

USE = "from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase; import zentrope_anpr.server"
EXTENDS = "__path__ = __import__('pkgutil').extend_path(__path__, __name__)\n"


@pytest.fixture
def run(tmp_path):
    def run(init: str | None) -> subprocess.CompletedProcess[str]:
        package = tmp_path / "zentrope_anpr"
        package.mkdir()
        (package / "server.py").write_text("")
        if init is not None:
            (package / "__init__.py").write_text(init)
        return subprocess.run(
            [sys.executable, "-c", USE], cwd=tmp_path, capture_output=True, text=True, check=False
        )

    return run


def test_a_package_in_the_working_directory_hides_the_store(run):
    done = run("")
    assert done.returncode == 1
    assert "ModuleNotFoundError: No module named 'zentrope_anpr.zentrope_anpr" in done.stderr


@pytest.mark.parametrize("init", [EXTENDS, None], ids=["extend_path", "no __init__.py"])
def test_both_are_found(run, init):
    done = run(init)
    assert (done.returncode, done.stderr) == (0, "")
