"""The constructor: the path, its directories, the schema, in that order."""

from __future__ import annotations

import os
import pathlib
import sqlite3

import pytest

from support import database
from support.samples import add
from support.values import error_of, type_and_text


class PathLike:
    def __init__(self, name):
        self.name = name

    def __fspath__(self):
        return str(self.name)


def test_the_path_is_the_only_attribute(store, db_path):
    assert vars(store) == {"db_path": db_path}


@pytest.mark.parametrize("kind", [str, pathlib.Path, PathLike])
def test_the_path_is_kept_as_a_path_object(store_module, db_path, kind):
    store = store_module.ANPRDatabase(kind(db_path))
    assert type(store.db_path) is type(pathlib.Path())
    assert store.db_path == db_path
    assert db_path.exists()


def test_the_text_is_parsed_as_a_path(store_module, tmp_path):
    store = store_module.ANPRDatabase(f"{tmp_path}//.//data/./anpr.db")
    assert str(store.db_path) == f"{tmp_path}/data/anpr.db"
    assert (tmp_path / "data" / "anpr.db").exists()


def test_constructing_returns_nothing(store_module, store, tmp_path):
    assert store_module.ANPRDatabase.__init__(store, tmp_path / "other.db") is None
    assert store.db_path == tmp_path / "other.db"
    assert add(store) == 1


@pytest.mark.parametrize("bad", [None, 5, 1.5, b"anpr.db", ["anpr.db"], object])
def test_what_is_no_path_fails_with_the_path_types_error(store_module, bad):
    expected = type_and_text(error_of(pathlib.Path, bad))
    assert expected[0] is TypeError
    store = store_module.ANPRDatabase.__new__(store_module.ANPRDatabase)
    assert type_and_text(error_of(store.__init__, bad)) == expected
    assert vars(store) == {}


def test_missing_directories_are_made_with_their_ancestors(store_module, tmp_path):
    path = tmp_path / "a" / "b" / "c" / "anpr.db"
    store = store_module.ANPRDatabase(path)
    assert path.is_file()
    assert len(database.columns(path, "detections")) == 14
    assert add(store) == 1


def test_a_bare_file_name_is_a_file_in_the_working_directory(store_module, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    store = store_module.ANPRDatabase("anpr.db")
    assert os.listdir(tmp_path) == ["anpr.db"]
    assert str(store.db_path) == "anpr.db"
    assert add(store) == 1


def test_a_relative_path_is_looked_up_at_each_call(store_module, tmp_path, monkeypatch):
    for name in ("a", "b"):
        (tmp_path / name).mkdir()
        monkeypatch.chdir(tmp_path / name)
        store = store_module.ANPRDatabase("anpr.db")
        add(store, plates=[name])
    monkeypatch.chdir(tmp_path / "a")
    assert store.get_history()[0]["plates"] == ["a"]


def test_constructing_a_second_store_changes_nothing(store, store_module, db_path):
    add(store)
    store.update_mmc_data(1, {"mmc_color": "red"})
    before = database.contents(db_path)
    bytes_before = db_path.read_bytes()
    second = store_module.ANPRDatabase(db_path)
    assert database.contents(db_path) == before
    assert db_path.read_bytes() == bytes_before
    assert second.get_history() == store.get_history()


def test_the_path_is_set_and_the_directory_made_before_the_schema(store_module, tmp_path):
    path = tmp_path / "new" / "anpr.db"
    seen = []

    class Watching(store_module.ANPRDatabase):
        def _init_schema(self):
            seen.append((dict(vars(self)), path.parent.is_dir(), path.exists()))

    Watching(path)
    assert seen == [({"db_path": path}, True, False)]


def failing_construction(store_module, path):
    """The error, the half-made object's attributes, and whether the schema was asked for."""
    asked = []

    class Watching(store_module.ANPRDatabase):
        def _init_schema(self):
            asked.append(True)
            super()._init_schema()

    store = Watching.__new__(Watching)
    return error_of(store.__init__, path), vars(store), bool(asked)


def test_a_file_where_the_directory_should_be_is_the_operating_systems_error(
    store_module, tmp_path
):
    (tmp_path / "file").write_bytes(b"")
    for path, kind in (
        (tmp_path / "file" / "anpr.db", FileExistsError),
        (tmp_path / "file" / "deeper" / "anpr.db", NotADirectoryError),
    ):
        expected = error_of(path.parent.mkdir, parents=True, exist_ok=True)
        error, attributes, asked = failing_construction(store_module, path)
        assert type_and_text(error) == type_and_text(expected)
        assert type(error) is kind
        assert (error.errno, error.filename) == (expected.errno, expected.filename)
        assert attributes == {"db_path": path}
        assert not asked


@pytest.mark.parametrize("name", ["", ".", "/"])
def test_a_directory_in_the_files_place_cannot_be_opened(store_module, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    error, attributes, asked = failing_construction(store_module, name)
    assert type_and_text(error) == (sqlite3.OperationalError, "unable to open database file")
    assert error.sqlite_errorname == "SQLITE_CANTOPEN"
    assert attributes == {"db_path": pathlib.Path(name)}
    assert asked


def test_a_name_with_an_embedded_null_is_refused(store_module, tmp_path):
    error, _, asked = failing_construction(store_module, str(tmp_path / "a\0b"))
    assert type_and_text(error) == (ValueError, "embedded null byte")
    assert asked


def test_a_name_that_is_no_text_of_the_file_systems_encoding(store_module, tmp_path):
    name = os.fsdecode(os.fsencode(tmp_path) + b"/\xff\xe9.db")
    store = store_module.ANPRDatabase(name)
    assert add(store) == 1
    assert os.listdir(os.fsencode(tmp_path)) == [b"\xff\xe9.db"]


@pytest.mark.parametrize("name", ["Größe 車.db", "a b'c\"d.db", "100%.db", "a?mode=ro", "a#b.db"])
def test_a_name_is_taken_literally(store_module, tmp_path, name):
    store = store_module.ANPRDatabase(tmp_path / name)
    assert add(store) == 1
    assert os.listdir(tmp_path) == [name]


@pytest.mark.parametrize(
    "name", ["file:anpr.db", "file::memory:", "file:x?mode=memory", "file:%41"]
)
def test_a_name_that_looks_like_a_uri_is_a_plain_file(store_module, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    store = store_module.ANPRDatabase(name)
    assert str(store.db_path) == name
    assert add(store) == 1
    assert len(store.get_history()) == 1
    assert os.listdir(tmp_path) == [name]


def test_the_reserved_name_gives_every_connection_a_memory_of_its_own(
    store_module, tmp_path, monkeypatch
):
    monkeypatch.chdir(tmp_path)
    store = store_module.ANPRDatabase(":memory:")
    for call in (
        lambda: add(store),
        lambda: store.get_history(),
        lambda: store.get_detection(1),
        lambda: store.update_image_paths(1, "a", "b"),
        lambda: store.update_mmc_data(1, {}),
    ):
        assert type_and_text(error_of(call)) == (
            sqlite3.OperationalError,
            "no such table: detections",
        )
    assert os.listdir(tmp_path) == []


def test_the_text_form_is_taken_at_each_connection(store, store_module, tmp_path):
    other = store_module.ANPRDatabase(tmp_path / "other.db")
    add(other, plates=["other"])
    store.db_path = tmp_path / "other.db"
    assert store.get_history()[0]["plates"] == ["other"]
    store.db_path = str(tmp_path / "other.db")
    assert len(store.get_history()) == 1

    class Named:
        def __str__(self):
            return str(tmp_path / "other.db")

    store.db_path = Named()
    assert len(store.get_history()) == 1


def test_an_object_without_its_path_says_so(store):
    del store.db_path
    error = error_of(store.get_history)
    assert type(error) is AttributeError
    assert str(error) == "'ANPRDatabase' object has no attribute 'db_path'"


def test_a_file_that_is_no_database_ends_construction_and_stays_as_it_was(store_module, db_path):
    garbage = b"this is no database" * 100
    db_path.write_bytes(garbage)
    error, attributes, asked = failing_construction(store_module, db_path)
    assert type_and_text(error) == (sqlite3.DatabaseError, "file is not a database")
    assert error.sqlite_errorname == "SQLITE_NOTADB"
    assert attributes == {"db_path": db_path}
    assert db_path.read_bytes() == garbage
    assert asked


def test_an_empty_file_becomes_a_database(store_module, db_path):
    db_path.write_bytes(b"")
    assert add(store_module.ANPRDatabase(db_path)) == 1


def test_dropping_the_store_leaves_the_file(store_module, db_path):
    store = store_module.ANPRDatabase(db_path)
    add(store)
    del store
    assert database.count(db_path) == 1
