"""The constructor: the path, its directories, the schema, in that order."""

from __future__ import annotations

import os
import pathlib
import sqlite3

import pytest

from support import database
from support.answering import answering
from support.samples import add
from support.values import error_of, type_and_text


def path_like(path):
    return answering(object, __fspath__=str(path))


def named(path):
    return answering(object, __str__=str(path))


@pytest.mark.parametrize("kind", [str, pathlib.Path, path_like])
def test_the_path_is_kept_as_a_path_object_and_nothing_else(store_module, db_path, kind):
    store = store_module.ANPRDatabase(kind(db_path))
    assert type(store.db_path) is type(pathlib.Path())
    assert vars(store) == {"db_path": db_path}
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


# Names are taken literally: nothing in them is a URI or a pattern.
NAMES = [
    *("anpr.db", "Größe 車.db", "a b'c\"d.db", "100%.db", "a?mode=ro", "a#b.db"),
    *(
        "file:anpr.db",
        "file::memory:",
        "file:x?mode=memory",
        "file:%41",
        "file:",
        "file:x?mode=ro",
        "\udcff\udce9.db",
    ),
]


@pytest.mark.parametrize("name", NAMES, ids=ascii)
def test_a_bare_name_is_a_file_in_the_working_directory(store_module, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    store = store_module.ANPRDatabase(name)
    assert str(store.db_path) == name
    assert add(store) == 1
    assert len(store.get_history()) == 1
    assert os.listdir(os.fsencode(tmp_path)) == [os.fsencode(name)]
    absolute = store_module.ANPRDatabase(tmp_path / name)
    assert add(absolute) == 2
    assert os.listdir(tmp_path) == [name]


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


@pytest.fixture
def construct(store_module):
    """The constructor's error, the object's attributes, and what there was before the schema."""

    def make(path):
        seen = []

        class Watching(store_module.ANPRDatabase):
            def _init_schema(self):
                path = self.db_path
                seen.append((dict(vars(self)), path.parent.is_dir(), path.exists()))
                super()._init_schema()

        store = Watching.__new__(Watching)
        try:
            store.__init__(path)
        except Exception as error:
            return error, vars(store), seen
        return None, vars(store), seen

    return make


def test_the_path_is_set_and_the_directory_made_before_the_schema(construct, tmp_path):
    path = tmp_path / "new" / "anpr.db"
    assert construct(path) == (None, {"db_path": path}, [({"db_path": path}, True, False)])


@pytest.mark.parametrize(
    ("name", "kind"),
    [("file/anpr.db", FileExistsError), ("file/deeper/anpr.db", NotADirectoryError)],
)
def test_a_file_where_the_directory_should_be_is_the_operating_systems_error(
    construct, tmp_path, name, kind
):
    (tmp_path / "file").write_bytes(b"")
    path = tmp_path / name
    expected = error_of(path.parent.mkdir, parents=True, exist_ok=True)
    error, attributes, seen = construct(path)
    assert type_and_text(error) == type_and_text(expected)
    assert type(error) is kind
    assert (error.errno, error.filename) == (expected.errno, expected.filename)
    assert attributes == {"db_path": path}
    assert seen == []


@pytest.mark.parametrize("name", ["", ".", "/"])
def test_a_directory_in_the_files_place_cannot_be_opened(construct, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    error, attributes, seen = construct(name)
    assert type_and_text(error) == (sqlite3.OperationalError, "unable to open database file")
    assert error.sqlite_errorname == "SQLITE_CANTOPEN"
    assert attributes == {"db_path": pathlib.Path(name)}
    assert seen


def test_a_name_with_an_embedded_null_is_refused(construct, tmp_path):
    error, _, seen = construct(str(tmp_path / "a\0b"))
    assert type_and_text(error) == (ValueError, "embedded null byte")
    assert seen


def test_a_file_that_is_no_database_ends_construction_and_stays_as_it_was(construct, db_path):
    garbage = b"this is no database" * 100
    db_path.write_bytes(garbage)
    error, attributes, seen = construct(db_path)
    assert type_and_text(error) == (sqlite3.DatabaseError, "file is not a database")
    assert error.sqlite_errorname == "SQLITE_NOTADB"
    assert attributes == {"db_path": db_path}
    assert db_path.read_bytes() == garbage
    assert seen


def test_the_reserved_name_gives_every_connection_a_memory_of_its_own(
    store_module, tmp_path, monkeypatch
):
    monkeypatch.chdir(tmp_path)
    store = store_module.ANPRDatabase(":memory:")
    expected = (sqlite3.OperationalError, "no such table: detections")
    assert type_and_text(error_of(add, store)) == expected
    assert type_and_text(error_of(store.get_history)) == expected
    assert os.listdir(tmp_path) == []


@pytest.mark.parametrize("kind", [pathlib.Path, str, named])
def test_the_text_form_is_taken_at_each_connection(store, store_module, tmp_path, kind):
    other = store_module.ANPRDatabase(tmp_path / "other.db")
    add(other, plates=["other"])
    store.db_path = kind(str(tmp_path / "other.db"))
    assert store.get_history()[0]["plates"] == ["other"]


def test_an_object_without_its_path_says_so(store):
    del store.db_path
    assert type_and_text(error_of(store.get_history)) == (
        AttributeError,
        "'ANPRDatabase' object has no attribute 'db_path'",
    )


def test_an_empty_file_becomes_a_database_and_outlives_its_store(store_module, db_path):
    db_path.write_bytes(b"")
    store = store_module.ANPRDatabase(db_path)
    assert add(store) == 1
    del store
    assert database.count(db_path) == 1
