# Pellum's front door. `make run` and `make test` work on a fresh Debian 12
# machine: each installs what is missing, builds, then runs.

PRESET ?= default
BUILD_DIR := build/$(PRESET)
JOBS ?= 2

.PHONY: all deps configure build run test test-unit test-asan package install fuzz bench format check-format clean

all: build

deps:
	scripts/install-deps

configure: deps
	cmake --preset $(PRESET)

build: configure
	cmake --build --preset $(PRESET) -j $(JOBS)

run: build
	scripts/run $(BUILD_DIR)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

test-unit: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) -L unit

test-asan:
	$(MAKE) test PRESET=asan

# Debian packages pellum and pellum-server, built by CPack into
# $(BUILD_DIR)/packages (`make package PRESET=release` for one without
# assertions).
package: build
	cmake --build --preset $(PRESET) --target package

# The programs and their files under PREFIX (/usr/local by default); DESTDIR
# stages them elsewhere, as usual.
PREFIX ?= /usr/local
install: build
	cmake --install $(BUILD_DIR) --prefix $(PREFIX)

# The parsers' libFuzzer targets, built with clang in build/fuzz and run
# FUZZ_SECONDS each (60 by default), two at a time.
fuzz: deps
	scripts/fuzz

bench: build
	scripts/bench $(BUILD_DIR)

format:
	git ls-files -z '*.cpp' '*.h' '*.mm' | xargs -0 clang-format -i

# Every tracked source as .clang-format has it (CI runs this).
check-format: deps
	scripts/check-format

clean:
	rm -rf build
