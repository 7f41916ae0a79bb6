# Thin wrapper over CMake + Ninja. `make demo` and `make test` work on a fresh
# Debian machine: both install what is missing first. `make demo` compiles only
# the library and the tool; tests and benchmarks build under `make test` and
# `make bench`.

BUILD      ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
FUZZ_SECONDS ?= 120
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
# Warnings are errors in CI (CI=true) and warnings elsewhere.
WERROR     ?= $(if $(CI),ON,OFF)
LAUNCHER   := $(if $(shell command -v ccache 2>/dev/null),-DCMAKE_CXX_COMPILER_LAUNCHER=ccache,)
CMAKE_ARGS ?=

.PHONY: all deps configure build demo test bench bench-peers asan fuzz-ops tsan format format-check clean

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARVO_WERROR=$(WERROR) $(LAUNCHER) $(CMAKE_ARGS)

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: configure
	cmake --build $(BUILD) -j $(JOBS) --target tarvo
	$(BUILD)/tools/tarvo/tarvo demo --out demo-out

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# Two tables: the library's parallel loop pinned to one thread, then all threads.
# Each row shows Mpix/s and xCopy (time as a multiple of copying the same bytes).
BENCH_RUN = $(BUILD)/bench/tarvo-bench --benchmark_min_time=0.2 --benchmark_counters_tabular=true $(BENCH_ARGS)
bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target tarvo-bench
	@echo "== one thread"
	TARVO_BENCH_THREADS=1 $(BENCH_RUN)
	@echo "== all threads"
	$(BENCH_RUN)

# tarvoip against libvips on the same pictures, one thread each, with the
# ratio. Needs Debian's libvips-dev; not part of CI (see docs/ARCHITECTURE.md).
bench-peers: configure
	@pkg-config --exists vips || { echo "bench-peers needs libvips-dev (apt-get install libvips-dev)"; exit 1; }
	cmake -S . -B $(BUILD) -DTARVO_BENCH_PEERS=ON
	cmake --build $(BUILD) -j $(JOBS) --target tarvo-bench-peers
	$(BUILD)/bench/tarvo-bench-peers

$(ASAN_BUILD)/build.ninja:
	CXX=clang++ CC=clang cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug \
	  -DTARVO_SANITIZE=ON -DTARVO_BUILD_BENCH=OFF -DTARVO_BUILD_FUZZ=ON -DTARVO_DEBUG_FILL=ON \
	  -DTARVO_WERROR=$(WERROR) $(LAUNCHER) $(CMAKE_ARGS)

asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

# The operator fuzzer on the sanitizer build, for FUZZ_SECONDS, from a scratch
# copy of the seed corpus (the grown corpus stays out of the source tree).
fuzz-ops: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS) --target tarvo-fuzz-ops
	rm -rf $(ASAN_BUILD)/fuzz-corpus && mkdir -p $(ASAN_BUILD)/fuzz-corpus
	cp tests/fuzz/seeds/ops-* $(ASAN_BUILD)/fuzz-corpus/
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:allocator_may_return_null=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  tests/fuzz/tarvo-fuzz-ops fuzz-corpus -max_len=4096 -rss_limit_mb=2048 -timeout=30 \
	  -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1

# ThreadSanitizer: the library's parallel loop on its std::thread backend (the
# system oneTBB is not instrumented), then the tests that call from threads.
$(TSAN_BUILD)/build.ninja:
	CXX=clang++ CC=clang cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DTARVO_TSAN=ON -DTARVO_THREADS_BACKEND_STD=ON -DTARVO_BUILD_BENCH=OFF \
	  -DTARVO_WERROR=$(WERROR) $(LAUNCHER) $(CMAKE_ARGS)

tsan: deps $(TSAN_BUILD)/build.ninja
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target tarvo-test-base tarvo-test-filter
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(TSAN_BUILD)/tests/tarvo-test-base \
	  --gtest_filter='Threads.*:ParallelFor.*'
	TSAN_OPTIONS=halt_on_error=1 $(TSAN_BUILD)/tests/tarvo-test-filter \
	  --gtest_filter='*Parallel*:*Thread*:*Stripe*'

FORMAT_FILES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

format:
	clang-format -i $(FORMAT_FILES)

format-check:
	clang-format --dry-run --Werror $(FORMAT_FILES)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) demo-out
