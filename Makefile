# `make help` lists the targets. Each works from a bare checkout: what it stands on is set up first,
# and again only when something it was made from has changed.

.DEFAULT_GOAL := help
.DELETE_ON_ERROR:
SHELL := /bin/bash

# PYTHON= names the Python 3.12 to make .venv with; one is looked for when it is not given.
# What to test, and how: make test TESTS=tests/json PYTEST_ARGS='-k surrogate -x'
TESTS ?= tests
PYTEST_ARGS ?= --numprocesses auto --dist loadfile -rs
# What to time: make bench BENCH_ARGS=get_history
BENCH_ARGS ?=
# What to hunt with (all of tests/reliability/hunts when empty), for how long, from which seed on, and
# under which sanitizer: make hunt HUNTS=power_loss SECONDS=3600 SANITIZER=asan
HUNTS ?=
SECONDS ?= 120
SEED ?=
SANITIZER ?=
# What to do with the crowd: make bench-crowd CROWD_ARGS='--scene "8 writers" --rounds 5'
CROWD_ARGS ?= --json build/crowd.json --svg build/crowd.svg

venv := .venv
python := $(venv)/bin/python
packages := $(venv)/.packages-stamp
installed := $(venv)/.installed-stamp

peers := $(venv)/.peers-stamp

sources := $(shell find src tests/native benchmarks -name '*.h' -o -name '*.cpp' 2>/dev/null)
build_inputs := $(sources) $(shell find cmake stubs -type f) CMakeLists.txt pyproject.toml

.PHONY: help
help: ## list the targets
	@awk -F ':.*## ' '/^[a-z-]+:.*## / {printf "  make %-12s %s\n", $$1, $$2}' $(MAKEFILE_LIST)

.PHONY: demo
demo: build ## follow a few hundred recognised images through the store
	$(python) examples/road_of_an_image.py

.PHONY: server
server: build ## run the example server on 127.0.0.1, filled with recognised images
	$(python) examples/run_server.py

.PHONY: test
test: build ## run all tests (TESTS= picks some, PYTEST_ARGS= replaces pytest's options)
	$(python) -m pytest $(PYTEST_ARGS) $(TESTS)

.PHONY: quick
quick: build ## run the tests that need no process of their own, no faults and no long run
	$(python) -m pytest -m 'not slow' $(PYTEST_ARGS) $(TESTS)

.PHONY: lint
lint: $(packages) ## check formats, compiler warnings, clang-tidy, ruff, mypy and pyright
	$(venv)/bin/clang-format --dry-run --Werror $(sources)
	$(venv)/bin/ruff format --check .
	$(venv)/bin/ruff check .
	$(python) -m mypy
	$(python) -m pyright
	tools/system_packages.sh
	$(venv)/bin/cmake --preset lint --log-level=WARNING
	$(venv)/bin/cmake --build --preset lint

.PHONY: format
format: $(packages) ## format the C++ and Python sources
	$(venv)/bin/clang-format -i $(sources)
	$(venv)/bin/ruff check --fix-only --select I .
	$(venv)/bin/ruff format .

.PHONY: asan tsan
asan: build ## run all tests under AddressSanitizer and UndefinedBehaviorSanitizer
tsan: build ## run all tests under ThreadSanitizer
asan tsan:
	$(venv)/bin/cmake --preset $@ --log-level=WARNING
	$(venv)/bin/cmake --build --preset $@
	tools/with_sanitizer.sh $@ $(python) -m pytest $(PYTEST_ARGS) $(TESTS)

# Lines that no test can reach are named in tools/gcovr.cfg.
.PHONY: coverage
coverage: build ## line coverage of src/ by all tests; at least 97 %
	$(venv)/bin/cmake --preset coverage --log-level=WARNING
	$(venv)/bin/cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	PYTHONPATH=$(CURDIR)/build/coverage/stage $(python) -m pytest $(PYTEST_ARGS) $(TESTS)
	$(venv)/bin/gcovr --config tools/gcovr.cfg --root . --filter src/ build/coverage

.PHONY: hunt
hunt: build ## look for faults at random (SECONDS= and SEED= say how long and from where)
ifneq ($(SANITIZER),)
	$(venv)/bin/cmake --preset $(SANITIZER) --log-level=WARNING
	$(venv)/bin/cmake --build --preset $(SANITIZER)
endif
	PYTHONPATH=tests $(addprefix tools/with_sanitizer.sh ,$(SANITIZER)) \
	  $(python) -m reliability.hunts --seconds $(SECONDS) $(addprefix --seed ,$(SEED)) $(HUNTS)

.PHONY: bench bench-quick
bench: build $(peers) ## time the store beside its peers and write docs/performance.md
	$(python) benchmarks/run.py $(BENCH_ARGS)
bench-quick: build $(peers) ## the same in less than a minute, without the page and the large files
	$(python) benchmarks/run.py --quick $(BENCH_ARGS)

.PHONY: bench-server
bench-server: build ## load the example server over the store and over its twin
	$(python) benchmarks/run_server_load.py $(BENCH_ARGS)

.PHONY: bench-crowd
bench-crowd: build $(peers) ## time many threads and processes on one file, as a table and a picture
	$(python) benchmarks/crowd.py $(CROWD_ARGS)

.PHONY: build
build: $(installed) ## set up .venv with the store and everything these targets need

.PHONY: wheel
wheel: $(packages) ## put the wheel for users into dist/ and check that it bundles no SQLite
	tools/system_packages.sh
	$(python) -m pip wheel --quiet --no-build-isolation --no-deps --wheel-dir dist .
	$(python) tools/check_wheel.py dist/*.whl

.PHONY: clean
clean: ## remove everything that make made
	rm -rf $(venv) build dist .mypy_cache .pytest_cache .ruff_cache .hypothesis
	find . -name __pycache__ -type d -prune -exec rm -rf {} +

# Made again also when its interpreter has gone: a dangling link does not count as a file.
$(packages): requirements-dev.txt examples/server/requirements.txt $(if $(wildcard $(python)),,missing-python)
	@echo 'Making $(venv) with a Python 3.12 and the packages that the targets need (a minute or two) ...'
	python=$$(tools/find_python.sh) && "$$python" -m venv $(venv)
	$(python) -m pip install --quiet --disable-pip-version-check --requirement requirements-dev.txt
	@touch $@

$(peers): benchmarks/requirements.txt $(packages)
	$(python) -m pip install --quiet --disable-pip-version-check \
	  --requirement benchmarks/requirements.txt
	@touch $@

.PHONY: missing-python
missing-python:

$(installed): $(packages) $(build_inputs)
	@echo 'Building the store (half a minute) ...'
	tools/system_packages.sh
	$(python) -m pip install --quiet --disable-pip-version-check \
	  --no-build-isolation --no-deps --force-reinstall \
	  --config-settings build-dir=build/development \
	  --config-settings install.strip=false \
	  --config-settings cmake.define.ZENTROPE_ANPR_TEST_MODULES=ON .
	@touch $@
