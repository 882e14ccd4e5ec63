# lexpand: set-up, build, tests and benchmarks.
#   make run     install what is missing, build, expand the bundled example
#   make test    install what is missing, build, run every test
#   make sanitize  the tests again under AddressSanitizer and UBSan
#   make tsan    the tests of the expansion (and of the check) on several threads under ThreadSanitizer
#   make bench   the benchmarks (prints figures); make bench-hungarian: the Hungarian lexicon
#   make fuzz    every fuzz target for FUZZ_SECONDS seconds (clang, libFuzzer)
#   make install the programs, manual pages, engine libraries, headers,
#                lexpand.pc, the CMake package and the Python package
#                lexpand under PREFIX (/usr/local);
#                DESTDIR=/some/dir stages them there instead
#   make deb     the Debian packages (build-deb/packages), checked by lintian
#                and by tests/deb_packages.sh
#   make format  lay out every C++ source (make format-check: only check, as CI does)
#   make docs-pictures  the paradigm pictures of docs/, from the bundled example

BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
TSAN_DIR     ?= build-tsan
BENCH_DIR    ?= build-bench
FUZZ_DIR     ?= build-fuzz
DEB_DIR      ?= build-deb
PREFIX       ?= /usr/local
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
           libgraphviz-dev:/usr/include/graphviz/gvc.h \
           nlohmann-json3-dev:/usr/include/nlohmann/json.hpp \
           python3:/usr/bin/python3 \
           python3-dev:/usr/bin/python3-config \
           pybind11-dev:/usr/include/pybind11/pybind11.h \
           python3-pytest:/usr/lib/python3/dist-packages/pytest/__init__.py \
           go-md2man:/usr/bin/go-md2man \
           man-db:/usr/bin/man \
           groff-base:/usr/bin/groff
# What `make bench` needs besides: the real lexicons, unmunch, /usr/bin/time,
# and the peers that the analysis benchmark measures lexpand-lookup against.
BENCH_PACKAGES = hunspell-ru:/usr/share/hunspell/ru_RU.dic \
                 hunspell-hu:/usr/share/hunspell/hu_HU.dic \
                 hunspell-tools:/usr/bin/unmunch \
                 time:/usr/bin/time \
                 hfst:/usr/bin/hfst-strings2fst \
                 lttoolbox:/usr/bin/lt-proc \
                 lttoolbox-dev:/usr/bin/lt-comp \
                 foma-bin:/usr/bin/flookup
# What `make docs-pictures` needs: SVG to PNG for looking at the pictures.
DOCS_PACKAGES = librsvg2-bin:/usr/bin/rsvg-convert
# What `make deb` needs besides: CPack's DEB generator finds the shared
# libraries the programs need with dpkg-shlibdeps (dpkg-dev) and `file`;
# lintian checks the package.
DEB_PACKAGES = dpkg-dev:/usr/bin/dpkg-shlibdeps \
               file:/usr/bin/file \
               lintian:/usr/bin/lintian
# The layout check.
FORMAT_PACKAGES = clang-format:/usr/bin/clang-format
# The fuzz targets build with clang and its libFuzzer runtime.
FUZZ_PACKAGES = clang:/usr/bin/clang++ \
                libclang-rt-14-dev:/usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-x86_64.a

.PHONY: all deps build run test tsan bench-hungarian install deb deb-deps sanitize bench bench-deps fuzz fuzz-deps format format-check \
        docs-pictures clean

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
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	cd examples && ../$(BUILD_DIR)/lexpand/lexpand english.dic english.pdg english.def; \
	  status=$$?; echo "(exit status $$status)"

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

# As root and into the system itself, the dynamic linker's cache learns of
# liblexpand.so.0.
install: build
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR)
	@if [ -z "$(DESTDIR)" ] && [ "$$(id -u)" -eq 0 ]; then ldconfig; fi

deb-deps: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(DEB_PACKAGES)"

# A Release build of its own, for the prefix /usr and with Debian's hardening
# flags (dpkg-buildflags; its -g and -O2 left out, so the Release -O3 holds
# and nothing but the symbol tables has to be stripped; -fno-ident leaves no
# compiler version in the binaries), then the packages, lintian (which fails
# on an error) and the check of their contents.
DEB_BUILDFLAGS = DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP="-g -O2" \
                 DEB_CXXFLAGS_MAINT_APPEND=-fno-ident dpkg-buildflags
deb: deb-deps
	ldflags="$$($(DEB_BUILDFLAGS) --get LDFLAGS)"; \
	cmake -S . -B $(DEB_DIR) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DLEXPAND_DEB=ON \
	  -DLEXPAND_BUILD_TESTS=OFF -DLEXPAND_BUILD_PYTHON=OFF \
	  -DCMAKE_CXX_FLAGS="$$($(DEB_BUILDFLAGS) --get CPPFLAGS) $$($(DEB_BUILDFLAGS) --get CXXFLAGS)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$$ldflags" -DCMAKE_SHARED_LINKER_FLAGS="$$ldflags" $(CMAKE_FLAGS)
	cmake --build $(DEB_DIR) -j $(JOBS)
	rm -rf $(DEB_DIR)/packages
	cd $(DEB_DIR) && cpack -G DEB
	lintian --display-info --fail-on error $(DEB_DIR)/packages/*.deb
	tests/deb_packages.sh $(DEB_DIR)/packages

sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DLEXPAND_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	cd $(SANITIZE_DIR) && ctest --output-on-failure -j $(JOBS)

# The tests of the expansion on several threads, under ThreadSanitizer.
tsan: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DLEXPAND_TSAN=ON -DLEXPAND_BUILD_MAN=OFF $(CMAKE_FLAGS)
	cmake --build $(TSAN_DIR) -j $(JOBS) --target DictionaryExpansionTest FormLinesTest lexpand lexpand-check
	cd $(TSAN_DIR) && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS) \
	  -R '^(ExpandDictionaryText|EntryLineExpander)\.|^e2e\.run_(threads|bundled|malformed|inconsistent|echoed|failure)|^e2e-check\.many_chunks'

bench-deps: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(BENCH_PACKAGES)"

# A Release build of its own with the micro-benchmarks, then the lexicons.
bench: bench-deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DLEXPAND_BUILD_BENCH=ON -DLEXPAND_BUILD_TESTS=OFF \
	  -DLEXPAND_BUILD_PYTHON=OFF
	cmake --build $(BENCH_DIR) -j $(JOBS)
	$(BENCH_DIR)/bench/lexpand_microbench
	HUNSPELL2LEXPAND="$(HUNSPELL2LEXPAND)" bench/run.sh $(BENCH_DIR)
	HUNSPELL2LEXPAND="$(HUNSPELL2LEXPAND)" bench/check.sh $(BENCH_DIR)

# Debian's Hungarian lexicon expanded for HU_SECONDS (600 by default) with its
# memory sampled: converting it takes about half an hour the first time.
bench-hungarian: bench-deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DLEXPAND_BUILD_TESTS=OFF -DLEXPAND_BUILD_PYTHON=OFF
	cmake --build $(BENCH_DIR) -j $(JOBS) --target lexpand
	HUNSPELL2LEXPAND="$(HUNSPELL2LEXPAND)" bench/run.sh $(BENCH_DIR) hungarian

fuzz-deps: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FUZZ_PACKAGES)"

fuzz: fuzz-deps
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	  -DLEXPAND_FUZZ=ON -DLEXPAND_BUILD_TESTS=OFF -DLEXPAND_BUILD_PYTHON=OFF
	cmake --build $(FUZZ_DIR) -j $(JOBS)
	fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

# The picture of a paradigm of the bundled example in the README, drawn by
# lexpand-paradigm from the grammar as the engine holds it; with a PNG beside
# it in the build directory, to look at.
docs-pictures: build
	@$(MAKE) --no-print-directory deps PACKAGES="$(DOCS_PACKAGES)"
	mkdir -p docs
	cd examples && ../$(BUILD_DIR)/lexpand-paradigm/lexpand-paradigm --graph VERB_WRITE --expand \
	  --format=svg english.pdg >../docs/VERB_WRITE.svg
	rsvg-convert --zoom 2 docs/VERB_WRITE.svg -o $(BUILD_DIR)/VERB_WRITE.png

# The C++ sources of the repository, laid out by .clang-format.
SOURCES = $(shell git ls-files '*.cpp' '*.h' 2>/dev/null)

format: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FORMAT_PACKAGES)"
	clang-format -i $(SOURCES)

format-check: deps
	@$(MAKE) --no-print-directory deps PACKAGES="$(FORMAT_PACKAGES)"
	clang-format --dry-run -Werror $(SOURCES)

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(TSAN_DIR) $(BENCH_DIR) $(FUZZ_DIR) $(DEB_DIR) build-profile
