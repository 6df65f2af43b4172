# The two commands: `make demo` builds and runs the main job, `make test` builds under the
# sanitizers and runs every test. Both install missing Debian packages first.
JOBS ?= $(shell nproc)
RELEASE := build/release
ASAN := build/asan
TSAN := build/tsan
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
                 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
                 TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

.PHONY: all setup build demo test test-asan test-tsan bench fuzz fuzz-build fuzz-long clean

all: build

setup:
	@scripts/setup-deps

build: setup
	cmake -S . -B $(RELEASE) -DCMAKE_BUILD_TYPE=Release
	cmake --build $(RELEASE) -j$(JOBS)

# The main job: one labelled tile per exported shader, rendered by the reference host.
demo: build
	$(RELEASE)/bin/vexakelo gallery -o out/gallery.png
	@echo 'The gallery is in out/gallery.png'

test: test-asan test-tsan

test-asan: setup
	cmake -S . -B $(ASAN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEXAKELO_SANITIZE=address,undefined
	cmake --build $(ASAN) -j$(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(ASAN) --output-on-failure --no-tests=error -j$(JOBS)

# The thread tests again, under ThreadSanitizer.
test-tsan: setup
	cmake -S . -B $(TSAN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEXAKELO_SANITIZE=thread \
	    -DVEXAKELO_THREAD_TESTS_ONLY=ON
	cmake --build $(TSAN) -j$(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(TSAN) --output-on-failure --no-tests=error

bench: build
	@for b in $(RELEASE)/bin/bench_*; do echo "== $$b"; $$b; done

# The fuzz targets (clang's libFuzzer with ASan and UBSan, one per reader stage: see
# docs/fuzzing.md). `make fuzz` runs each for FUZZ_SECONDS; `make fuzz-long HOURS=n` spreads n
# hours over them. Both print one summary line per target and fail on a finding.
FUZZ := build/fuzz
FUZZ_SECONDS ?= 30
HOURS ?= 1
fuzz-build:
	@scripts/setup-deps --fuzz
	cmake -S . -B $(FUZZ) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	    -DCMAKE_C_COMPILER=clang -DVEXAKELO_SANITIZE=address,undefined,fuzzer-no-link \
	    -DCMAKE_PROJECT_INCLUDE=$(CURDIR)/fuzz/targets.cmake
	cmake --build $(FUZZ) -j$(JOBS) --target fuzz_all

fuzz: fuzz-build
	fuzz/run.sh --build $(FUZZ) --seconds $(FUZZ_SECONDS)

fuzz-long: fuzz-build
	fuzz/run.sh --build $(FUZZ) --hours $(HOURS)

clean:
	rm -rf build out
