# The two commands: `make demo` builds and runs the main job, `make test` builds under the
# sanitizers and runs every test. Both install missing Debian packages first.
JOBS ?= $(shell nproc)
RELEASE := build/release
ASAN := build/asan
TSAN := build/tsan
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
                 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
                 TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

.PHONY: all setup build demo test test-asan test-tsan bench fuzz clean

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

# The photometry fuzzer: clang's libFuzzer with ASan and UBSan, run for FUZZ_SECONDS on a
# corpus seeded from the project's real IES files.
FUZZ := build/fuzz
FUZZ_SECONDS ?= 60
fuzz:
	@scripts/setup-deps --fuzz
	mkdir -p $(FUZZ)/corpus
	cp -n tests/data/ies/*.ies $(FUZZ)/corpus/
	clang++ -std=c++20 -O1 -g -ffp-contract=off -fno-omit-frame-pointer \
	    -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all \
	    -I. -Iinclude -Ihost/vyr photometry/*.cpp host/vyr/*.cpp fuzz/ies_fuzzer.cpp \
	    -o $(FUZZ)/ies_fuzzer
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	    $(FUZZ)/ies_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=65536 -timeout=30 \
	    -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix=$(FUZZ)/ $(FUZZ)/corpus

clean:
	rm -rf build out
