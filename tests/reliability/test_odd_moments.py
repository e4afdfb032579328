"""Callers that come back, fork, close or fail at odd moments: each of these once went wrong."""

from __future__ import annotations

import json
import sqlite3
import sys
import threading

import pytest

from support import child
from support.values import error_of, type_and_text


def test_parameters_whose_iteration_closes_the_connection(native, db_path):
    connection = native.ANPRDatabase(db_path)._get_conn()

    class Closing:
        def __iter__(self):
            connection.close()
            return iter([(1,)])

    error = error_of(connection.executemany, "INSERT INTO detections (id) VALUES (?)", Closing())
    text = "Cannot operate on a closed database."
    assert type_and_text(error) == (sqlite3.ProgrammingError, text)


def test_a_row_of_a_cursor_that_was_never_connected(native, db_path):
    cursor = native.ANPRDatabase(db_path)._get_conn().execute("SELECT 1")
    row = type(cursor.fetchone())(type(cursor).__new__(type(cursor)), (1, 2))
    assert (row.keys(), tuple(row)) == ([], (1, 2))


def test_a_cursor_is_not_connected_anew_by_another_thread(native, db_path):
    store = native.ANPRDatabase(db_path)
    cursor, other = store._get_conn().execute("SELECT 1"), store._get_conn()
    errors = []
    thread = threading.Thread(target=lambda: errors.append(error_of(cursor.__init__, other)))
    thread.start()
    thread.join()
    assert type(errors[0]) is sqlite3.ProgrammingError
    assert tuple(cursor.fetchone()) == (1,)


def test_a_key_whose_comparison_fails_ends_the_conversion(store_module):
    class Plates:
        def __hash__(self):
            return hash("plates")

        def __eq__(self, other):
            raise ValueError("no comparison")

    error = error_of(store_module.ANPRDatabase._row_to_dict, {Plates(): 1})
    assert type_and_text(error) == (ValueError, "no comparison")


def test_json_is_looked_up_for_each_column_where_that_shows(store_module, monkeypatch):
    class Counting:
        JSONDecodeError = json.JSONDecodeError
        count = 0

        @property
        def loads(self):
            self.count += 1
            return json.loads

    counting = Counting()
    monkeypatch.setattr(store_module, "json", counting)
    store_module.ANPRDatabase._row_to_dict({"plates": "[1]", "bboxes": "[1]", "mmc_data": "{}"})
    assert counting.count == 3


def test_an_error_leaves_a_generators_handled_error_alone(store_module, db_path):
    store = store_module.ANPRDatabase(db_path)

    def failing():
        with pytest.raises(TypeError):
            store.add_detection(None, [], [], 0, 0, 0)
        yield
        yield sys.exc_info()[0]

    steps = failing()
    try:
        raise KeyError("outer")
    except KeyError:
        next(steps)
    assert next(steps) is None


def test_more_ids_than_memory_could_name(native, db_path):
    error = error_of(native.ANPRDatabase(db_path).get_alerts_for_detections, range(sys.maxsize))
    assert type(error) is MemoryError


@pytest.mark.slow
def test_a_forked_child_drops_a_cursor_and_the_parent_still_commits(db_path):
    # A child that reset the statement would delete the journal of its parent's transaction.
    output = child.output(
        """
        import os, sys
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        connection = ANPRDatabase(sys.argv[1])._get_conn()
        connection.isolation_level = None
        insert = "INSERT INTO watchlist (plate, created_at) VALUES ('A', 't') RETURNING id"
        cursor = connection.execute(insert)
        child = os.fork()
        if child == 0:
            del cursor
            os._exit(0)
        os.waitpid(child, 0)
        print([tuple(row) for row in cursor.fetchall()])
        print([tuple(row) for row in connection.execute("PRAGMA integrity_check")])
        """,
        str(db_path),
    )
    assert output == "[(1,)]\n[('ok',)]\n"


@pytest.mark.slow
def test_functions_put_into_json_before_the_import_are_called():
    output = child.output(
        """
        import json
        json.loads = lambda text: "read by somebody's"
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        print(ANPRDatabase._row_to_dict({"plates": "[1]"}))
        """
    )
    assert output == """{'plates': "read by somebody's"}\n"""


@pytest.mark.slow
def test_counting_endless_ids_can_be_interrupted(db_path):
    output = child.output(
        """
        import itertools, signal, sys
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        store = ANPRDatabase(sys.argv[1])
        signal.signal(signal.SIGALRM, signal.default_int_handler)
        signal.setitimer(signal.ITIMER_REAL, 0.05)
        try:
            store.delete_detections(itertools.count())
        except KeyboardInterrupt:
            print("interrupted")
        """,
        str(db_path),
    )
    assert output == "interrupted\n"
