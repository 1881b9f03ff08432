# The two commands a developer needs: `make run` and `make test`.
# Each installs missing Debian packages, configures, builds and then runs.

JOBS      ?= $(shell nproc 2>/dev/null || echo 2)
BUILD     ?= build
ASAN_DIR  ?= build-asan
SAMPLE    ?= /usr/share/backgrounds/mate/nature/Dune.jpg
CTEST_ARGS ?=
PREFIX    ?= /usr/local
LAUNCHER  := $(shell command -v ccache >/dev/null 2>&1 && echo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)

.PHONY: all deps configure build run test test-asan bench clean format install

all: build

deps:
	@scripts/install-deps

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(LAUNCHER)

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	@if [ -f "$(SAMPLE)" ]; then $(BUILD)/app/quendrel "$(SAMPLE)"; else $(BUILD)/app/quendrel; fi

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) $(CTEST_ARGS)

test-asan: deps
	@[ -f $(ASAN_DIR)/build.ninja ] || cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUENDREL_SANITIZE=ON $(LAUNCHER)
	cmake --build $(ASAN_DIR) -j $(JOBS)
	cd $(ASAN_DIR) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp ctest --output-on-failure -j $(JOBS) $(CTEST_ARGS)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_DIR)
