"""Settings come from the environment; one that makes no sense is named."""

from __future__ import annotations

from pathlib import Path

import pytest

from server.settings import Settings


def test_without_an_environment_the_defaults_hold():
    assert Settings.from_environment({}) == Settings()


def test_each_variable_is_read(tmp_path):
    environment = {
        "ANPR_DATABASE": str(tmp_path / "x.db"),
        "ANPR_PORT": "0",
        "ANPR_KEEP": "77",
        "ANPR_TRIM_EVERY": "0.5",
        "ANPR_IMAGES": "",
        "ANPR_RECOGNISE_EVERY": "0",
    }
    assert Settings.from_environment(environment) == Settings(
        database=tmp_path / "x.db",
        port=0,
        keep=77,
        trim_every=0.5,
        images=None,
        recognise_every=0,
    )


def test_a_relative_file_is_made_absolute():
    database = Settings.from_environment({"ANPR_DATABASE": "x.db"}).database
    assert database == Path.cwd() / "x.db"


@pytest.mark.parametrize(
    ("name", "text"),
    [
        ("ANPR_DATABASE", ""),
        ("ANPR_PORT", "http"),
        ("ANPR_PORT", "65536"),
        ("ANPR_KEEP", "-1"),
        ("ANPR_TRIM_EVERY", "nan"),
        ("ANPR_RECOGNISE_EVERY", "inf"),
    ],
)
def test_a_setting_that_makes_no_sense_is_named(name, text):
    with pytest.raises(ValueError, match=f"^{name} cannot be '{text}'$"):
        Settings.from_environment({name: text})
