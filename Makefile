# The two commands a developer needs: `make run` and `make test`.
# Each installs missing Debian packages, configures, builds and then runs.

JOBS      ?= $(shell nproc 2>/dev/null || echo 2)
BUILD     ?= build
ASAN_DIR  ?= build-asan
FUZZ_DIR  ?= build-fuzz
SAMPLE    ?= /usr/share/backgrounds/mate/nature/Dune.jpg
CTEST_ARGS ?=
# Extra CMake options for the first configure, e.g. CMAKE_ARGS=-DQUENDREL_WERROR=ON (as CI does).
CMAKE_ARGS ?=
PREFIX    ?= /usr/local
# Seconds each fuzz target runs for, and which targets (all by default).
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?=
# Decided when a recipe runs, after deps may have just installed ccache.
LAUNCHER   = $$(command -v ccache >/dev/null 2>&1 && echo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)

.PHONY: all deps configure build run test test-asan fuzz bench clean format install

all: build

deps:
	@scripts/install-deps

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(LAUNCHER) $(CMAKE_ARGS)

configure: deps $(BUILD)/build.ninja
	@[ -z "$(CMAKE_ARGS)" ] || cmake -S . -B $(BUILD) $(CMAKE_ARGS) >/dev/null

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# Builds only the program it starts.
run: configure
	@if [ -z "$$DISPLAY$$WAYLAND_DISPLAY$$QT_QPA_PLATFORM" ]; then \
	  echo "make run: no display to show Quendrel on (neither DISPLAY nor WAYLAND_DISPLAY is set)" >&2; exit 1; fi
	cmake --build $(BUILD) -j $(JOBS) --target quendrel
	@if [ -f "$(SAMPLE)" ]; then $(BUILD)/app/quendrel "$(SAMPLE)"; else $(BUILD)/app/quendrel; fi

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) $(CTEST_ARGS)

test-asan: deps
	@[ -f $(ASAN_DIR)/build.ninja ] || cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUENDREL_SANITIZE=ON $(LAUNCHER) $(CMAKE_ARGS)
	cmake --build $(ASAN_DIR) -j $(JOBS)
	cd $(ASAN_DIR) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp ctest --output-on-failure -j $(JOBS) $(CTEST_ARGS)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# libFuzzer forms of the fuzz targets, built with clang in their own folder, then run one after
# the other for FUZZ_SECONDS each: make fuzz FUZZ_SECONDS=600 [FUZZ_TARGETS="bmp image"].
fuzz: deps
	@[ -f $(FUZZ_DIR)/build.ninja ] || CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -G Ninja \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUENDREL_FUZZ=ON $(LAUNCHER) $(CMAKE_ARGS)
	cmake --build $(FUZZ_DIR) -j $(JOBS) --target fuzz_all
	scripts/run-fuzz $(FUZZ_DIR) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_DIR) $(FUZZ_DIR)
