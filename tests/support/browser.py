"""A headless Chromium for tests of a page: the system's own, nothing is downloaded."""

from __future__ import annotations

import os
import shutil
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from tempfile import TemporaryDirectory

from selenium import webdriver

BROWSERS = ("chromium", "chromium-browser", "google-chrome")
DRIVER = "chromedriver"


def missing() -> str | None:
    """Why no browser can be driven, with the remedy; None if one can."""
    if _browser() is None:
        return "no Chromium is installed: on Debian `apt-get install chromium chromium-driver`"
    if shutil.which(DRIVER) is None:
        return "no chromedriver is installed: on Debian `apt-get install chromium-driver`"
    return None


def _browser() -> str | None:
    return next((path for name in BROWSERS if (path := shutil.which(name))), None)


@contextmanager
def browser(width: int = 1280, height: int = 900, dark: bool = False) -> Iterator[webdriver.Chrome]:
    """A browser with a profile of its own, ended with the block."""
    with TemporaryDirectory(prefix="anpr-browser-") as folder:
        options = webdriver.ChromeOptions()
        options.binary_location = _browser() or ""
        for argument in (
            "--headless=new",
            f"--user-data-dir={Path(folder) / 'profile'}",
            f"--window-size={width},{height}",
            "--disable-dev-shm-usage",  # a container's shared memory may be too small
            "--disable-background-networking",
            "--disable-component-update",
            "--no-first-run",
            "--hide-scrollbars",
        ):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")  # root has no other choice
        if dark:
            options.add_argument("--blink-settings=preferredColorScheme=0")
        # What the page says in its console, refused fetches and errors of its scripts among it.
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        # With the driver named, Selenium does not look for one on the network.
        # A sanitizer's runtime, loaded first into Python, is none for a browser.
        environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
        service = webdriver.ChromeService(executable_path=shutil.which(DRIVER), env=environment)
        driver = webdriver.Chrome(options=options, service=service)
        try:
            yield driver
        finally:
            driver.quit()
