# Every target installs what it needs first, so each works on a fresh Debian 12 machine.
JOBS ?= $(shell nproc)
BUILD_DIR ?= build/release
SANITIZE_DIR ?= build/sanitize
CMAKE_FLAGS ?=

.PHONY: deps build run test test-sanitize bench clean

deps:
	@scripts/install-deps.sh

$(BUILD_DIR)/build.ninja: | deps
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	scripts/run.sh $(BUILD_DIR)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

$(SANITIZE_DIR)/build.ninja: | deps
	cmake -S . -B $(SANITIZE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTARVELO_SANITIZE=ON -DTARVELO_TEST_DISPLAY=:98 $(CMAKE_FLAGS)

test-sanitize: deps $(SANITIZE_DIR)/build.ninja
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS)

bench: build
	$(BUILD_DIR)/bench/tarvelo-bench

clean:
	rm -rf build
