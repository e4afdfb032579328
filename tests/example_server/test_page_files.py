"""The files of the page, as the server hands them out."""

from __future__ import annotations

import re

import pytest

from server.page import FOLDER

FILES = sorted(str(path.relative_to(FOLDER)) for path in FOLDER.rglob("*") if path.is_file())


def test_the_page_is_at_the_root(client):
    answer = client.get("/")
    assert answer.headers["content-type"] == "text/html; charset=utf-8"
    assert answer.content == (FOLDER / "index.html").read_bytes()


@pytest.mark.parametrize("name", FILES)
def test_each_file_fetches_from_this_server_only(client, name):
    answer = client.get(f"/{name}")
    assert answer.status_code == 200
    assert answer.headers["content-security-policy"].startswith("default-src 'self'")
    assert answer.headers["x-content-type-options"] == "nosniff"
    addresses = set(re.findall(r"https?://[^\s\"']+", answer.text))
    assert addresses <= {"http://www.w3.org/2000/svg"}  # a name, which nobody fetches


def test_a_script_is_told_to_be_one(client):
    kind = client.get("/script/main.js").headers["content-type"]
    assert kind.split(";")[0] in ("text/javascript", "application/javascript")


def test_an_unchanged_file_is_not_sent_again(client):
    tag = client.get("/script/main.js").headers["etag"]
    answer = client.get("/script/main.js", headers={"If-None-Match": tag})
    assert (answer.status_code, answer.content) == (304, b"")


def test_what_is_not_there_is_a_404(client):
    assert client.get("/nothing").status_code == 404
    assert client.get("/../settings.py").status_code == 404
    assert client.get("/api/nothing").status_code == 404
