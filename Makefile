# Thin wrapper over CMake: `make run` and `make test` are the two commands a newcomer needs.
BUILD_DIR ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

PACKAGES := cmake g++ make pkg-config libxml2-dev android-liblog-dev libgtest-dev libbenchmark-dev

.PHONY: deps build test run clean

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
