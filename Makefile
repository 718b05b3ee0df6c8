# The two everyday commands: `make run` and `make test`. Both install what is
# missing (scripts/bootstrap), configure and build first.
BUILD      ?= build
JOBS       ?= $(shell nproc)
RUN_ARGS   ?= -exit
CMAKE_ARGS ?=

.PHONY: run test build bootstrap configure bench fuzz install clean

run: build
	./$(BUILD)/kelvane $(RUN_ARGS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) -LE slow

# Tests labelled slow (multi-gigabyte files and the like); not run by CI.
test-slow: build
	cd $(BUILD) && ctest --output-on-failure -L slow

bootstrap:
	scripts/bootstrap

configure: bootstrap
	@test -f $(BUILD)/build.ninja || cmake -S . -B $(BUILD) -G Ninja $(CMAKE_ARGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

install: build
	cmake --install $(BUILD)

bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target benchmarks
	bench/run $(BUILD)

fuzz: bootstrap
	@test -f build-fuzz/build.ninja || CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja \
	    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKV_TESTS=OFF -DKV_FUZZ=ON -DKV_SANITIZE=address,undefined \
	    -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link -DCMAKE_C_FLAGS=-fsanitize=fuzzer-no-link
	cmake --build build-fuzz -j $(JOBS) --target fuzzers
	fuzz/run build-fuzz

clean:
	rm -rf $(BUILD) build-fuzz
