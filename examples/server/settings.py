"""What can be set from outside, by environment variables."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from dataclasses import dataclass
from pathlib import Path

HOST = "127.0.0.1"  # there is no login, so nobody but this machine is let in
EXAMPLES = Path(__file__).resolve().parent.parent


@dataclass(frozen=True)
class Settings:
    """The settings of one server. Times are in seconds; 0 switches a timer off."""

    database: Path = EXAMPLES / "out" / "server.db"
    port: int = 8000
    # The newest detections that are kept, and how often the others are removed.
    keep: int = 10_000
    trim_every: float = 60.0
    # Recognised images: an empty file is filled with them, and one more arrives at a time.
    images: Path | None = EXAMPLES / "recognised_images.jsonl"
    recognise_every: float = 1.0

    @classmethod
    def from_environment(cls, environment: Mapping[str, str]) -> Settings:
        """Reads ANPR_DATABASE, ANPR_PORT and so on; raises ValueError that names the variable."""

        def read[T](name: str, convert: Callable[[str], T], default: T) -> T:
            text = environment.get(name)
            if text is None:
                return default
            try:
                return convert(text)
            except ValueError:
                raise ValueError(f"{name} cannot be {text!r}") from None

        return cls(
            database=read("ANPR_DATABASE", _file, cls.database),
            port=read("ANPR_PORT", _port, cls.port),
            keep=read("ANPR_KEEP", _count, cls.keep),
            trim_every=read("ANPR_TRIM_EVERY", _seconds, cls.trim_every),
            images=read("ANPR_IMAGES", _file_or_none, cls.images),
            recognise_every=read("ANPR_RECOGNISE_EVERY", _seconds, cls.recognise_every),
        )


def _file(text: str) -> Path:
    if not text:
        raise ValueError
    # Absolute, since every call of the store opens the file by this name again.
    return Path(text).absolute()


def _file_or_none(text: str) -> Path | None:
    return _file(text) if text else None


def _port(text: str) -> int:
    if not 0 <= int(text) <= 65535:
        raise ValueError
    return int(text)


def _count(text: str) -> int:
    if not 0 <= int(text) < 2**63:
        raise ValueError
    return int(text)


def _seconds(text: str) -> float:
    # At most a year: a thread cannot wait for ever longer times, and none for "nan".
    if not 0 <= float(text) <= 366 * 86400:
        raise ValueError
    return float(text)
