"""Makes a C++ header of the stub's docstrings, so that help() and editors say the same."""

from __future__ import annotations

import ast
import inspect
import sys
from collections.abc import Iterator
from pathlib import Path

CLASS = "ANPRDatabase"


def constant(name: str, docstring: str) -> str:
    return f'inline constexpr char k{name}Doc[] = R"doc({inspect.cleandoc(docstring)})doc";\n'


def constants(stub: ast.Module) -> Iterator[str]:
    yield constant("Module", ast.get_docstring(stub) or "")
    for described in stub.body:
        if isinstance(described, ast.ClassDef) and described.name == CLASS:
            yield constant("Class", ast.get_docstring(described) or "")
            for method in described.body:
                if isinstance(method, ast.FunctionDef):
                    name = "".join(word.capitalize() for word in method.name.split("_"))
                    yield constant(name, ast.get_docstring(method) or "")


def main(stub: str, header: str) -> None:
    parsed = ast.parse(Path(stub).read_text(encoding="utf-8"))
    lines = [
        f"// Made from {Path(stub).name} by {Path(__file__).name}.",
        "#pragma once",
        "",
        "namespace binding {",
        "",
        *constants(parsed),
        "}  // namespace binding",
        "",
    ]
    Path(header).write_text("\n".join(lines), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
