# Thin wrapper over CMake: `make run` and `make test` are the two commands a newcomer needs.
BUILD_DIR ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

# ICC profiles the tool's tests read as panels and targets (defined first: PACKAGES expands it now).
TEST_DATA_PACKAGES := colord-data icc-profiles-free
PACKAGES := cmake g++ make pkg-config libxml2-dev android-liblog-dev libgtest-dev libbenchmark-dev \
    libcli11-dev nlohmann-json3-dev liblcms2-dev $(TEST_DATA_PACKAGES)

.PHONY: deps build test run clean sanitize tsan fuzz fuzz-smoke fuzz-build bench bench-build \
	compare-today format format-check tidy

# Installs what is missing when run as root; otherwise prints the command to run.
deps:
	@missing=""; \
	for p in $(PACKAGES) $(EXTRA_PACKAGES); do \
	    dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	    if [ "$$(id -u)" = 0 ]; then \
	        echo "installing:$$missing"; \
	        apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	    else \
	        echo "missing packages; run: sudo apt-get install -y$$missing"; exit 1; \
	    fi; \
	fi

$(BUILD_DIR)/CMakeCache.txt:
	cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS)

build: deps $(BUILD_DIR)/CMakeCache.txt
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

run: build
	@tools/huevane-demo.sh $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR)

# ASan + UBSan build of every unit test, leak checks on; any finding fails the run.
SANITIZE_DIR ?= build-asan
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1:check_initialization_order=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# The install test builds a plain consumer against the installed library, which cannot load
# an instrumented one; packaging is checked by `make test`.
SANITIZE_SKIP ?= ^tool[.]install$$

sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DHUEVANE_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug $(CMAKE_FLAGS)
	$(SANITIZER_ENV) cmake --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && $(SANITIZER_ENV) ctest --output-on-failure -j $(JOBS) -E '$(SANITIZE_SKIP)'

# ThreadSanitizer build of the test that creates and drives engines on eight threads at once;
# any report fails the run.
TSAN_DIR ?= build-tsan
TSAN_FLAGS := -fsanitize=thread -fno-omit-frame-pointer

tsan: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DHUEVANE_BUILD_TOOLS=OFF \
	    -DCMAKE_C_FLAGS="$(TSAN_FLAGS)" -DCMAKE_CXX_FLAGS="$(TSAN_FLAGS)" \
	    -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread \
	    $(CMAKE_FLAGS)
	cmake --build $(TSAN_DIR) -j $(JOBS) --target threads_test
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(TSAN_DIR)/tests/threads_test

# libFuzzer targets (clang only). FUZZ_SECONDS bounds each target's run; FUZZ_TARGETS picks some.
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_SMOKE_SECONDS ?= 10
FUZZ_TARGETS ?= $(notdir $(basename $(wildcard fuzz/fuzz_*.cpp)))
fuzz fuzz-smoke fuzz-build: EXTRA_PACKAGES += clang libclang-rt-14-dev

fuzz-build: deps
	cmake -S . -B $(FUZZ_DIR) -DHUEVANE_BUILD_FUZZ=ON -DHUEVANE_BUILD_TESTS=OFF \
	    -DHUEVANE_BUILD_TOOLS=OFF -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build $(FUZZ_DIR) -j $(JOBS)

fuzz: fuzz-build
	@for t in $(FUZZ_TARGETS); do fuzz/run.sh $(FUZZ_DIR) $$t $(FUZZ_SECONDS) || exit 1; done

fuzz-smoke: fuzz-build
	@for t in $(FUZZ_TARGETS); do fuzz/run.sh $(FUZZ_DIR) $$t $(FUZZ_SMOKE_SECONDS) || exit 1; done

# Google Benchmark figures; ratios against their floors are printed as counters.
BENCH_DIR ?= build-bench
BENCH_FLAGS ?=

# The library as of TODAY_COMMIT, built from history, runs beside this tree's in the same
# process: the benchmarks print vs_today, and `make compare-today` checks that both answer
# every request byte for byte alike (COMPARE_REQUESTS of them).
TODAY_COMMIT ?= 70d8f35
COMPARE_REQUESTS ?= 20000

bench-build: deps
	bench/build-today.sh $(TODAY_COMMIT) $(abspath $(BENCH_DIR))/today $(JOBS)
	cmake -S . -B $(BENCH_DIR) -DHUEVANE_BUILD_BENCH=ON -DHUEVANE_BUILD_TESTS=OFF \
	    -DHUEVANE_BUILD_TOOLS=ON -DCMAKE_BUILD_TYPE=Release \
	    -DHUEVANE_BENCH_TODAY_DIR=$(abspath $(BENCH_DIR))/today
	cmake --build $(BENCH_DIR) -j $(JOBS)

bench: bench-build
	$(BENCH_DIR)/bench/huevane_bench $(BENCH_FLAGS)
	$(BENCH_DIR)/bench/huevane_tool_bench $(BENCH_FLAGS)

compare-today: bench-build
	$(BENCH_DIR)/bench/huevane_compare $(COMPARE_REQUESTS)

# Style over every tracked C++ file, and clang-tidy (.clang-tidy) over every source the default
# build compiles. Both are quick to re-run after a merge: `make format` rewrites in place.
SOURCE_FILES = $(shell git ls-files '*.cpp' '*.h')
TIDY_PATHS ?= $(CURDIR)/(core|colormode|sources|engine|inspect|host|tools|tests)/
format format-check tidy: EXTRA_PACKAGES += clang-format clang-tidy

format: deps
	clang-format -i $(SOURCE_FILES)

format-check: deps
	clang-format --dry-run --Werror $(SOURCE_FILES)

tidy: build
	@status=0; \
	run-clang-tidy -quiet -j $(JOBS) -p $(BUILD_DIR) '$(TIDY_PATHS)' > $(BUILD_DIR)/tidy.log 2>&1 \
	    || status=$$?; \
	sed 's/\x1b\[[0-9;]*m//g' $(BUILD_DIR)/tidy.log | grep -v -e '^[0-9]* warnings\{0,1\} generated' \
	    -e '^Suppressed [0-9]* warnings' -e 'Use -header-filter' -e 'clang-tidy-[0-9]* .*-p='; \
	echo "tidy: $$([ $$status = 0 ] && echo clean || echo 'findings above')"; exit $$status

# arm64: cross-built against Debian's ":arm64" packages, every test run under qemu-user (CMake puts
# the emulator in front of each program; binfmt is not needed), then the sample device's parcels
# compared byte for byte with the native build's.
ARM64_DIR ?= build-arm64
ARM64_PACKAGES := g++-aarch64-linux-gnu qemu-user-static libstdc++6:arm64 libxml2-dev:arm64 \
    android-liblog-dev:arm64 libgtest-dev:arm64 liblcms2-dev:arm64
ARM64_EMULATOR := qemu-aarch64-static
.PHONY: deps-arm64 test-arm64

deps-arm64:
	@if ! dpkg --print-foreign-architectures | grep -qx arm64; then \
	    if [ "$$(id -u)" = 0 ]; then dpkg --add-architecture arm64; \
	    else echo "run as root, or: sudo dpkg --add-architecture arm64"; exit 1; fi; \
	fi
	@$(MAKE) --no-print-directory deps EXTRA_PACKAGES="$(ARM64_PACKAGES)"

test-arm64: deps-arm64 build
	cmake -S . -B $(ARM64_DIR) -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/aarch64-linux-gnu.cmake $(CMAKE_FLAGS)
	@if grep -E '^[^#/].*:(FILE)?PATH=.*/$(shell uname -m)-linux-gnu' $(ARM64_DIR)/CMakeCache.txt; then \
	    echo "test-arm64: the cross build found the host's libraries (above)"; exit 1; fi
	cmake --build $(ARM64_DIR) -j $(JOBS)
	cd $(ARM64_DIR) && ctest --output-on-failure -j $(JOBS)
	.ci/golden-parcels.sh $(BUILD_DIR)/golden $(BUILD_DIR)/tools/huevane-tool
	.ci/golden-parcels.sh $(ARM64_DIR)/golden $(ARM64_DIR)/tools/huevane-tool $(ARM64_EMULATOR)
	diff -r $(BUILD_DIR)/golden $(ARM64_DIR)/golden
	@echo "test-arm64: parcels and mode lists byte-identical to the native build"

# clang with the project's warning flags (-Werror included), every test.
CLANG_DIR ?= build-clang
.PHONY: test-clang
test-clang: EXTRA_PACKAGES += clang

test-clang: deps
	cmake -S . -B $(CLANG_DIR) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ $(CMAKE_FLAGS)
	cmake --build $(CLANG_DIR) -j $(JOBS)
	cd $(CLANG_DIR) && ctest --output-on-failure -j $(JOBS)

# `make test` in a Debian 13 minbase chroot (gcc 14, liblog 34), made once with debootstrap from
# this machine's Debian mirror and kept in DEBIAN13_ROOT for later runs. Root only.
DEBIAN13_ROOT ?= /var/cache/huevane/debian13
.PHONY: test-debian13
test-debian13: EXTRA_PACKAGES += debootstrap

test-debian13: deps
	JOBS=$(JOBS) .ci/debian13-test.sh $(DEBIAN13_ROOT)

# The binary interface the compositor relies on, against abi/libhuevane_default.abi; also proves
# that a reordered IHuevane fails it. `make abi-update` rewrites the baseline after a meant change.
ABI_DIR ?= build-abi
.PHONY: abi-check abi-update
abi-check abi-update: EXTRA_PACKAGES += abigail-tools

abi-check: deps
	JOBS=$(JOBS) abi/abi-check.sh $(ABI_DIR)

abi-update: deps
	JOBS=$(JOBS) abi/abi-check.sh $(ABI_DIR) --update

# Android.bp in the layout bpfmt writes.
.PHONY: bp-check
bp-check: EXTRA_PACKAGES += blueprint-tools

bp-check: deps
	@out=$$(bpfmt -d Android.bp); if [ -n "$$out" ]; then echo "$$out"; exit 1; fi
	@echo "bp-check: Android.bp is bpfmt-clean"
