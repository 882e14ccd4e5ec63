# lexpand: set-up, build, tests and benchmarks.
#   make run     install what is missing, build, expand the bundled example
#   make test    install what is missing, build, run every test
#   make sanitize  the tests again under AddressSanitizer and UBSan
#   make bench   the benchmarks (prints figures)
#   make fuzz    every fuzz target for FUZZ_SECONDS seconds (clang, libFuzzer)
#   make format  lay out every C++ source (make format-check: only check, as CI does)

BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
BENCH_DIR    ?= build-bench
FUZZ_DIR     ?= build-fuzz
FUZZ_SECONDS ?= 60
# The converter of Hunspell dictionaries, beside the repository.
HUNSPELL2LEXPAND ?= ../shared/tools/hunspell2lexpand.py
JOBS         ?= $(shell nproc 2>/dev/null || echo 2)

# Debian packages the build needs, with a file that shows each is present.
PACKAGES = g++:/usr/bin/g++ \
           cmake:/usr/bin/cmake \
           make:/usr/bin/make \
           pkg-config:/usr/bin/pkg-config \
           libicu-dev:/usr/include/unicode/uchar.h \
           libgtest-dev:/usr/include/gtest/gtest.h \
           libbenchmark-dev:/usr/include/benchmark/benchmark.h \
           python3:/usr/bin/python3
# What `make bench` needs besides: the real lexicon, unmunch, /usr/bin/time,
# and the peers that the analysis benchmark measures lexpand-lookup against.
BENCH_PACKAGES = hunspell-ru:/usr/share/hunspell/ru_RU.dic \
                 hunspell-tools:/usr/bin/unmunch \
                 time:/usr/bin/time \
                 hfst:/usr/bin/hfst-strings2fst \
                 lttoolbox:/usr/bin/lt-proc \
                 lttoolbox-dev:/usr/bin/lt-comp \
                 foma-bin:/usr/bin/flookup
# The layout check.
FORMAT_PACKAGES = clang-format:/usr/bin/clang-format
# The fuzz targets build with clang and its libFuzzer runtime.
FUZZ_PACKAGES = clang:/usr/bin/clang++ \
                libclang-rt-14-dev:/usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-x86_64.a

.PHONY: all deps build run test sanitize bench bench-deps fuzz fuzz-deps format format-check clean

all: build

deps:
	@missing=""; \
	for entry in $(PACKAGES); do \
	  package=$${entry%%:*}; file=$${entry#*:}; \
	  [ -e "$$file" ] || missing="$$missing $$package"; \
	done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" -ne 0 ]; then \
	    echo "Missing packages:$$missing (run as root, or install them with apt-get)"; exit 1; \
	  fi; \
	  echo "Installing:$$missing"; \
	  export DEBIAN_FRONTEND=noninteractive; \
	  apt-get update -qq && apt-get install -y -qq --no-install-recommends $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	cd examples && ../$(BUILD_DIR)/lexpand/lexpand english.dic english.pdg english.def; \
	  status=$$?; echo "(exit status $$status)"

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DLEXPAND_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && ctest --output-on-failure -j $(JOBS)

bench-deps: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(BENCH_PACKAGES)"

# A Release build of its own with the micro-benchmarks, then the lexicons.
bench: bench-deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DLEXPAND_BUILD_BENCH=ON -DLEXPAND_BUILD_TESTS=OFF
	cmake --build $(BENCH_DIR) -j $(JOBS)
	$(BENCH_DIR)/bench/lexpand_microbench
	HUNSPELL2LEXPAND="$(HUNSPELL2LEXPAND)" bench/run.sh $(BENCH_DIR)

fuzz-deps: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FUZZ_PACKAGES)"

fuzz: fuzz-deps
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	  -DLEXPAND_FUZZ=ON -DLEXPAND_BUILD_TESTS=OFF
	cmake --build $(FUZZ_DIR) -j $(JOBS)
	fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

# The C++ sources of the repository, laid out by .clang-format.
SOURCES = $(shell git ls-files '*.cpp' '*.h' 2>/dev/null)

format: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FORMAT_PACKAGES)"
	clang-format -i $(SOURCES)

format-check: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FORMAT_PACKAGES)"
	clang-format --dry-run -Werror $(SOURCES)

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(BENCH_DIR) $(FUZZ_DIR) build-profile
