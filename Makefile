# Entry points of the SimCore build. Each target first installs the missing system packages.
BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
TSAN_DIR     ?= build-tsan
BENCH_DIR    ?= build-bench
CONSUMER_DIR ?= build-consumer
FUZZ_DIR     ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS         ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps test sanitize tsan consumer fuzz format-check demo report-check bench clean

all: test

deps:
	@./tools/install-deps.sh

# The benchmarks are built too (not run), so that a change that breaks them shows at once.
test: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSIMCORE_BUILD_BENCH=ON
	cmake --build $(BUILD_DIR) -j $(JOBS)
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DSIMCORE_SANITIZE=ON
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS)

# The thread layer of BaseKit and the SimCore suites, where the pipeline and its threads live.
tsan: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DSIMCORE_TSAN=ON
	cmake --build $(TSAN_DIR) -j $(JOBS) --target BaseKitTests SimCoreTests
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" $(TSAN_DIR)/tests/BaseKitTests --gtest_brief=1
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" $(TSAN_DIR)/tests/SimCoreTests --gtest_brief=1

# A project that embeds SimCore with add_subdirectory() and builds without our -Werror.
consumer: deps
	cmake -S tests/consumer -B $(CONSUMER_DIR) -DCMAKE_BUILD_TYPE=Release
	cmake --build $(CONSUMER_DIR) -j $(JOBS) --target consumer
	$(CONSUMER_DIR)/consumer

# The file readers under libFuzzer (clang, with ASan and UBSan), each for FUZZ_SECONDS, seeded from
# tests/data. A finding stops the run; its input is left in $(FUZZ_DIR)/findings.
fuzz: deps
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DSIMCORE_FUZZ=ON -DSIMCORE_BUILD_TESTS=OFF
	cmake --build $(FUZZ_DIR) -j $(JOBS) --target CshReaderFuzz BinReaderFuzz MmeReaderFuzz ConfigurationReaderFuzz
	tests/fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

# The layout of every tracked source against .clang-format; changes nothing.
format-check: deps
	git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror

# The sample study of examples/frontal: the crash matrix under its tolerances, its ttf.csv printed as a
# table. It succeeds whatever the verdicts: simcore's exit status 1 (a crash early, late, missed or an
# unwanted fire) is for scripts; bad input (2) or an interrupted run (130) still fails.
demo: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS) --target simcore
	@echo
	@echo "$$ $(BUILD_DIR)/simcore run examples/frontal/frontal.prt --out $(BUILD_DIR)/demo"
	@status=0; $(BUILD_DIR)/simcore run examples/frontal/frontal.prt --out $(BUILD_DIR)/demo || status=$$?; \
	if [ $$status -gt 1 ]; then exit $$status; fi; \
	awk -f examples/frontal/tools/print-table.awk $(BUILD_DIR)/demo/ttf.csv; \
	echo; \
	echo "simcore exit status $$status ($$( [ $$status -eq 0 ] && echo 'every verdict ok or undefined' || \
		echo 'some crash early, late, missed or fired unwanted')); report: $(BUILD_DIR)/demo/summary.json"; \
	echo "What the table says: examples/frontal/README.md"

# The study report of the sample study opened in headless Chromium (installed from Debian when
# missing, as root), which saves a screenshot of the page's top as build/report-check.png. It shows
# that a browser renders the page; it is not part of CI.
report-check: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS) --target simcore
	@status=0; $(BUILD_DIR)/simcore run examples/frontal/frontal.prt --out $(BUILD_DIR)/report-check --report \
		--quiet || status=$$?; if [ $$status -gt 1 ]; then exit $$status; fi
	@command -v chromium >/dev/null || { [ "$$(id -u)" -eq 0 ] && \
		apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
		chromium; } || \
		{ echo "report-check needs chromium: apt-get install chromium (as root)"; exit 1; }
	chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1280,2400 \
		--screenshot=$(abspath $(BUILD_DIR))/report-check.png \
		file://$(abspath $(BUILD_DIR))/report-check/report.html
	@echo "report: $(BUILD_DIR)/report-check/report.html, screenshot: $(BUILD_DIR)/report-check.png"

bench: deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DSIMCORE_BUILD_BENCH=ON -DSIMCORE_BUILD_TESTS=OFF
	cmake --build $(BENCH_DIR) -j $(JOBS)
	@for b in $(BENCH_DIR)/bench/*Bench; do [ -x "$$b" ] && "$$b"; done; true

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(TSAN_DIR) $(BENCH_DIR) $(CONSUMER_DIR) $(FUZZ_DIR)
