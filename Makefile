# Entry points: make demo, make test, make test-clang, make faults, make bench,
# make sanitize, make package, make ios. Each installs the Debian packages it needs first
# (scripts/install-deps.sh).

JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
# Our own builds treat every warning as an error; a host's build does not.
STRICT := -DRQBEHAVIOR_WARNINGS_AS_ERRORS=ON

.PHONY: all deps demo test test-clang faults bench sanitize sanitize-address sanitize-thread package ios clean

all: build/.configured
	cmake --build build -j $(JOBS)

deps:
	@./scripts/install-deps.sh

# The default build makes the shared library, so the demo and the symbol test
# see exactly what a host links against.
build/.configured: | deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_SHARED_LIBS=ON $(STRICT) $(CMAKE_FLAGS)
	@touch $@

# The real path: the demo host uploads to rqbehavior-service, which stores
# the profile in SQLite and shows it (service/scripts/demo.sh).
demo: build/.configured
	cmake --build build -j $(JOBS) --target rqbehavior-demo rqbehavior-service
	./service/scripts/demo.sh build

test: build/.configured
	cmake --build build -j $(JOBS)
	ctest --no-tests=error --test-dir build --output-on-failure -j $(JOBS)

# The whole suite again, built with clang++ in Debug.
test-clang:
	@./scripts/install-deps.sh clang
	cmake -S . -B build-clang -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=Debug -DBUILD_SHARED_LIBS=ON $(STRICT) $(CMAKE_FLAGS)
	cmake --build build-clang -j $(JOBS)
	ctest --no-tests=error --test-dir build-clang --output-on-failure -j $(JOBS)

# The whole fault campaign: system-call faults injected with strace into a C
# host's use of the library, case by case, and a table of what became of the
# uploads (`make test` runs a short part of it).
faults: build/.configured
	@./scripts/install-deps.sh
	cmake --build build -j $(JOBS) --target rqbehavior_fault_host rqbehavior_fault_receiver
	python3 -B tests/faults/fault_campaign.py --host build/tests/faults/rqbehavior_fault_host \
	  --receiver build/tests/faults/rqbehavior_fault_receiver

# Release, with the shared library a host links against (for the start-up
# figures); strace, valgrind and dbus-daemon give the counts and the bus line.
# Then the profiling service's ingestion beside a discard server: ab and wrk
# are its load clients.
bench: deps
	@./scripts/install-deps.sh strace valgrind dbus-daemon wrk apache2-utils
	cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON \
	  -DRQBEHAVIOR_BUILD_TESTS=OFF $(STRICT) $(CMAKE_FLAGS)
	cmake --build build-release -j $(JOBS) --target rqbehavior-bench rqbehavior-service rqbehavior-service-bench
	./build-release/bench/rqbehavior-bench
	./build-release/service/bench/rqbehavior-service-bench ./build-release/service/rqbehavior-service

sanitize: sanitize-address sanitize-thread

sanitize-address: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DRQBEHAVIOR_SANITIZE=address $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --no-tests=error --test-dir build-asan --output-on-failure -j $(JOBS)

sanitize-thread: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DRQBEHAVIOR_SANITIZE=thread $(CMAKE_FLAGS)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
	  ctest --no-tests=error --test-dir build-tsan --output-on-failure -j $(JOBS)

# Debian packages of a Release build for /usr, in build-package/: the runtime
# library and its -dev package.
package: deps
	cmake -S . -B build-package -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON \
	  -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_DOCDIR=share/doc/librqbehavior-dev \
	  -DRQBEHAVIOR_BUILD_TESTS=OFF -DRQBEHAVIOR_BUILD_DEMO=OFF \
	  -DRQBEHAVIOR_BUILD_BENCH=OFF $(STRICT) $(CMAKE_FLAGS)
	cmake --build build-package -j $(JOBS)
	cd build-package && cpack
	@ls -1 build-package/*.deb

# RQBehavior.xcframework for iOS (arm64 devices and arm64 simulators), its zip
# with the SwiftPM and CocoaPods files (build-ios/dist/), and a host app,
# cross-built with clang and ld64.lld against the iOS SDK named by
# RQBEHAVIOR_IOS_SDK; then the checks of what was built.
RQBEHAVIOR_IOS_SDK ?=
ios:
ifeq ($(strip $(RQBEHAVIOR_IOS_SDK)),)
	@echo "make ios needs an iOS SDK: scripts/extract-ios-sdk.sh <git dir of a clone of github.com/theos/sdks> ~/ios-sdks && RQBEHAVIOR_IOS_SDK=~/ios-sdks/iPhoneOS15.6.sdk make ios"
else
	@./scripts/install-deps.sh clang-14 lld-14 llvm-14 python3
	cmake -S . -B build-ios -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/ios-arm64.toolchain.cmake \
	  -DRQBEHAVIOR_IOS_SDK=$(abspath $(RQBEHAVIOR_IOS_SDK)) -DCMAKE_BUILD_TYPE=Release \
	  $(if $(CMAKE_CXX_COMPILER_LAUNCHER),-DCMAKE_OBJC_COMPILER_LAUNCHER=$(CMAKE_CXX_COMPILER_LAUNCHER) \
	    -DCMAKE_OBJCXX_COMPILER_LAUNCHER=$(CMAKE_CXX_COMPILER_LAUNCHER)) \
	  $(STRICT) $(CMAKE_FLAGS)
	cmake --build build-ios -j $(JOBS)
	ctest --test-dir build-ios --output-on-failure -j $(JOBS)
endif

clean:
	rm -rf build build-clang build-release build-asan build-tsan build-package build-ios
