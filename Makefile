# Entry points of the SimCore build. Each target first installs the missing system packages.
BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
BENCH_DIR    ?= build-bench
JOBS         ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps test sanitize demo bench clean

all: test

deps:
	@./tools/install-deps.sh

test: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DIR) -j $(JOBS)
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DSIMCORE_SANITIZE=ON
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS)

demo: deps
	@echo "The sample study runs through the reference host 'simcore', which is not built yet."
	@echo "Until it is, 'make test' exercises everything that exists."

bench: deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DSIMCORE_BUILD_BENCH=ON -DSIMCORE_BUILD_TESTS=OFF
	cmake --build $(BENCH_DIR) -j $(JOBS)
	@for b in $(BENCH_DIR)/bench/*Bench; do [ -x "$$b" ] && "$$b"; done; true

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(BENCH_DIR)
