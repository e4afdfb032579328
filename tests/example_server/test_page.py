"""The page in a real browser, over a server in a process of its own."""

from __future__ import annotations

import json
import urllib.request

import pytest
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

from support.browser import browser, missing
from support.database import run_script
from support.recognition import recognition
from support.server_process import running_server

pytestmark = pytest.mark.skipif(missing() is not None, reason=missing() or "")

PATIENCE = 60  # seconds; only ends what hangs

EMPTY = """
DELETE FROM detections;
DELETE FROM watchlist;
DELETE FROM alerts;
DELETE FROM sqlite_sequence;
"""


class Page:
    """The page as a person sees it, and the server behind it as a recogniser does."""

    def __init__(self, driver, address):
        self.driver = driver
        self.address = address

    def send(self, method, path, body=None):
        request = urllib.request.Request(
            self.address + path,
            method=method,
            data=None if body is None else json.dumps(body).encode(),
            headers={"Content-Type": "application/json"},
        )
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            return json.loads(answer.read() or "null")

    def record(self, *plates, **changed):
        return self.send("POST", "/api/detections", recognition(*plates, **changed))["id"]

    def open(self):
        self.driver.get(self.address)
        self.until(lambda: self.text("#connection") == "live")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.find(selector).text

    def ask(self, script, *arguments):
        return self.driver.execute_script(f"return {script}", *arguments)

    def rows(self):
        """The plates of each detection shown, from above. Read in one step: the list may change."""
        return self.ask(
            "[...document.querySelectorAll('#rows li')].map((row) =>"
            " [...row.querySelectorAll('bdi')].map((plate) => plate.textContent))"
        )

    def texts(self, selector):
        return self.ask(
            "[...document.querySelectorAll(arguments[0])].map((item) => item.innerText)", selector
        )

    def until(self, holds):
        WebDriverWait(self.driver, PATIENCE, poll_frequency=0.05).until(lambda _: holds())

    def focus(self):
        return self.ask("[document.activeElement.tagName, document.activeElement.innerText]")

    def press(self, *keys):
        for key in keys:
            self.driver.switch_to.active_element.send_keys(key)


@pytest.fixture(scope="module")
def driver():
    with browser() as driver:
        yield driver


@pytest.fixture(scope="module")
def quiet_server(tmp_path_factory):
    """A server without a recogniser, shared, since starting one takes longer than a test."""
    database = tmp_path_factory.mktemp("page") / "anpr.db"
    with running_server(database, ANPR_IMAGES="") as server:
        urllib.request.urlopen(server.address, timeout=PATIENCE).close()  # now the file is there
        yield server, database


@pytest.fixture
def page(driver, quiet_server):
    """The page over an empty file."""
    server, database = quiet_server
    run_script(database, EMPTY)
    page = Page(driver, server.address)
    driver.get_log("browser")
    page.open()
    yield page
    # Scripts that fail and fetches that the policy refuses would stand here.
    assert [each for each in driver.get_log("browser") if each["level"] == "SEVERE"] == []
    driver.get("about:blank")  # else it would go on asking the server


def test_recordings_appear_by_themselves(page):
    assert page.rows() == []
    page.until(lambda: page.text("#none") == "Nothing found.")
    page.record("AB 1")
    page.until(lambda: page.rows() == [["AB 1"]])
    page.record("粤B 99", "س ط أ")
    page.until(lambda: page.rows() == [["粤B 99", "س ط أ"], ["AB 1"]])
    page.until(lambda: page.text("#total") == "2" and page.text("#plates-found") == "3")
    page.until(
        lambda: "".join(page.texts("#hours figcaption")).startswith("Most in an hour: 2, at")
    )


def test_what_another_program_removes_disappears(page):
    first, _ = page.record("AB 1"), page.record("CD 2")
    page.until(lambda: len(page.rows()) == 2)
    page.send("DELETE", f"/api/detections/{first}")
    page.until(lambda: page.rows() == [["CD 2"]])


def test_a_recogniser_fills_the_page(driver, db_path):
    with running_server(db_path, ANPR_RECOGNISE_EVERY="0.2") as server:
        page = Page(driver, server.address)
        page.open()
        page.until(lambda: page.texts("#total") not in (["–"], ["400"]))
        page.until(lambda: len(page.rows()) == 20)
        before = page.rows()
        page.until(lambda: page.rows() != before)
        page.until(lambda: len(page.texts("#top-plates li")) == 5)
        assert len(page.texts("#watchlist li")) == 3
        driver.get("about:blank")


def test_a_filter_filters(page):
    page.record("AB 1", confidences=[0.4])
    red = page.record("CD 2")
    page.send("PUT", f"/api/detections/{red}/attributes", {"mmc_make": "Škoda", "mmc_color": "red"})
    page.record("粤B 99")
    page.until(lambda: len(page.rows()) == 3)
    plate = page.find("[name=query]")
    plate.send_keys("cd")
    page.until(lambda: page.rows() == [["CD 2"]])
    assert page.text("#detections-title") == "Found detections"
    page.record("xCD 3")
    page.until(lambda: page.rows() == [["xCD 3"], ["CD 2"]])
    plate.clear()
    plate.send_keys("粤")
    page.until(lambda: page.rows() == [["粤B 99"]])
    page.find("#filters [type=reset]").click()
    page.until(lambda: len(page.rows()) == 4)
    page.find("[name=min_confidence]").send_keys("0.5")
    page.until(lambda: ["AB 1"] not in page.rows() and len(page.rows()) == 3)
    page.find("#filters summary").click()
    page.find("[name=mmc_make]").send_keys("Škoda")
    page.until(lambda: page.rows() == [["CD 2"]])
    assert page.text("#more-set") == "(1 set)"
    page.find("[name=mmc_make]").send_keys("x")
    page.until(lambda: page.text("#none") == "Nothing found.")


def test_pages_stand_still_while_detections_arrive(page):
    for number in range(25):
        page.record(f"AB {number}")
    page.until(lambda: page.rows()[:1] == [["AB 24"]] and len(page.rows()) == 20)
    page.find("#older").click()
    oldest = [[f"AB {number}"] for number in (4, 3, 2, 1, 0)]
    page.until(lambda: page.rows() == oldest)
    assert page.text("#detections-title") == "Newest detections, page 2"
    assert not page.find("#older").is_enabled()
    page.record("CD 1")
    page.until(lambda: page.text("#total") == "26")
    assert page.rows() == oldest
    page.find("#newest").click()
    page.until(lambda: page.rows()[:2] == [["CD 1"], ["AB 24"]])


def test_a_watched_plate_raises_an_alert_that_is_marked_read(page):
    page.find("#watch [name=plate]").send_keys("ab-12")
    page.find("#watch [name=label]").send_keys("stolen")
    page.find("#watch button").click()
    page.until(lambda: len(page.texts("#watchlist li")) == 1)
    assert page.texts("#watchlist li")[0].startswith("AB-12\nstolen, since ")
    assert not page.find("#unread-count").is_displayed()
    page.record("XAB 12", confidences=[0.75])
    page.until(lambda: page.texts("#unread-count") == ["1"])
    page.until(lambda: len(page.texts("#alert-list li.unread")) == 1)
    assert {"XAB 12", "stolen", "75 %"} <= set(page.texts("#alert-list li.unread")[0].split("\n"))
    page.until(lambda: page.texts("#rows li.watched .label") == ["stolen"])
    page.until(lambda: page.driver.title == "(1) Recognised plates")
    page.find("#mark-read").click()
    page.until(lambda: not page.find("#unread-count").is_displayed())
    page.until(lambda: page.texts("#alert-list li.unread") == [])
    assert len(page.texts("#alert-list li")) == 1
    assert page.send("GET", "/api/alerts/count") == {"count": 0}
    page.find("#watchlist button").click()
    page.until(lambda: page.texts("#watchlist li") == [])
    assert page.send("GET", "/api/watchlist") == []


def test_the_page_works_by_keyboard(page):
    def is_row(focus):
        return focus[0] == "BUTTON" and "AB 1" in focus[1]

    page.record("AB 1", "CD 2")
    page.until(lambda: len(page.rows()) == 1)
    page.press(Keys.TAB)
    assert page.focus()[1] == "To the detections"
    page.press(Keys.ENTER)
    reached = []
    while not is_row(focus := page.focus()):
        assert len(reached) < 30, reached
        reached.append(focus)
        page.press(Keys.TAB)
    page.record("EF 3")  # another row arrives above, and the focus stays
    page.until(lambda: len(page.rows()) == 2)
    assert is_row(page.focus())
    page.press(Keys.ENTER)
    page.until(lambda: page.text("#detail-title") == "Detection 1")
    assert page.texts("#detail dd")[1:5] == ["AB 1", "90 %", "CD 2", "90 %"]
    assert len(page.driver.find_elements(By.CSS_SELECTOR, "#detail svg .box")) == 2
    page.press(Keys.ESCAPE)
    page.until(lambda: not page.find("#detail").is_displayed())
    assert is_row(page.focus())


def test_a_detection_is_deleted_after_asking(page):
    page.record("AB 1")
    page.until(lambda: len(page.rows()) == 1)
    page.find("#rows button").click()
    page.until(lambda: page.find("#detail .delete").is_displayed())
    page.find("#detail .delete").click()
    assert page.text("#detail .delete") == "Delete for good?"
    assert page.rows() == [["AB 1"]]
    page.find("#detail .delete").click()
    page.until(lambda: page.rows() == [])
    assert not page.find("#detail").is_displayed()


def test_markup_in_a_plate_stays_text(page):
    evil = "<img src=x onerror=\"document.title='caught'\">"
    page.send("POST", "/api/watchlist", {"plate": evil[:90], "label": evil})
    page.record(evil)
    page.until(lambda: page.rows() == [[evil]])
    page.until(lambda: len(page.texts("#alert-list li")) == 1)
    assert page.ask("document.querySelectorAll('main img').length") == 0


def test_the_page_says_when_the_server_is_gone(driver, db_path):
    with running_server(db_path, ANPR_IMAGES="") as server:
        page = Page(driver, server.address)
        page.open()
        server.end()
        page.until(lambda: page.text("#connection") == "no connection")
    driver.get("about:blank")


@pytest.mark.parametrize("width", [320, 390, 768, 1024, 1280, 1920])
def test_nothing_sticks_out_at_any_width(page, width):
    page.send("POST", "/api/watchlist", {"plate": "W" * 90, "label": "label" * 30})
    page.record("W" * 90, *(f"AB {number}" for number in range(12)))
    page.until(lambda: len(page.texts("#alert-list li")) == 1 and len(page.rows()) == 1)
    size = {"width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False}
    page.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)
    try:
        page.find("#filters summary").click()
        assert page.ask("[innerWidth, document.documentElement.scrollWidth]") == [width, width]
        outside = page.ask(
            "[...document.querySelectorAll('main *')].filter((each) => {"
            "  const { left, right, width } = each.getBoundingClientRect();"
            "  return width > 0 && (left < 0 || right > innerWidth + 0.5);"
            "}).map((each) => each.outerHTML)"
        )
        assert outside == []
    finally:
        page.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


# Of the text on what is behind it, as the accessibility guidelines reckon it.
CONTRAST = """
(() => {
  const painter = Object.assign(document.createElement('canvas'), { width: 1, height: 1 });
  const context = painter.getContext('2d', { willReadFrequently: true });
  const rgba = (colour) => {
    context.clearRect(0, 0, 1, 1);
    context.fillStyle = colour;
    context.fillRect(0, 0, 1, 1);
    return [...context.getImageData(0, 0, 1, 1).data];
  };
  const light = (colour) => {
    const [r, g, b] = rgba(colour).map((part) => {
      const share = part / 255;
      return share <= 0.03928 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const behind = (each) => {
    for (let at = each; at; at = at.parentElement) {
      const colour = getComputedStyle(at).backgroundColor;
      if (rgba(colour)[3] === 255) return colour;
    }
    return 'white';
  };
  const weak = [];
  for (const each of document.querySelectorAll('body *')) {
    const own = [...each.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
    if (!own || each.closest('dialog, option, :disabled, .skip, script')) continue;
    const [a, b] = [light(getComputedStyle(each).color), light(behind(each))];
    const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    if (ratio < 4.5) weak.push([each.outerHTML.slice(0, 80), ratio]);
  }
  return weak;
})()
"""


@pytest.mark.parametrize("scheme", ["light", "dark"])
def test_every_text_stands_out_from_its_ground(page, scheme):
    page.send("POST", "/api/watchlist", {"plate": "AB", "label": "stolen"})
    page.record("AB 1")
    page.record()
    page.until(lambda: len(page.texts("#alert-list li")) == 1 and len(page.rows()) == 2)
    feature = {"name": "prefers-color-scheme", "value": scheme}
    page.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [feature]})
    try:
        ground = page.ask("getComputedStyle(document.body).backgroundColor")
        assert (ground == "rgb(18, 22, 27)") == (scheme == "dark")
        page.ask("document.getAnimations().forEach((each) => each.finish())")
        assert page.ask(CONTRAST.strip()) == []
    finally:
        page.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})
