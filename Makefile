# Thin front of the CMake presets. `make help` lists the targets.
SHELL := /bin/bash
JOBS ?= $(shell nproc)
LAUNCHER := $(if $(shell command -v ccache 2>/dev/null),-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
configure = cmake --preset $(1) $(LAUNCHER) >build/configure-$(1).log 2>&1 || { cat build/configure-$(1).log; exit 1; }
build_all = cmake --build build/$(1) -j$(JOBS)
run_tests = ctest --test-dir build/$(1) --output-on-failure --no-tests=error -j$(JOBS)

FUZZ_SECONDS ?= 60
SOAK_OPERATIONS ?= 400000
SOAK_SEED ?= $(shell date +%s)

.PHONY: help deps deps-ci build run test bench asan hitless hitless-short soak fuzz clang format check-format check-includes ci clean
.DEFAULT_GOAL := help

help: ## this list
	@awk -F ':.*## ' '/^[a-z-]+:.*## /{printf "  make %-15s %s\n", $$1, $$2}' Makefile

deps: ## install what the build needs and is missing
	@scripts/deps.sh build

deps-ci: ## the same, with the second compiler and the formatter
	@scripts/deps.sh ci

build: deps ## release build: build/release/bin/
	@mkdir -p build
	@$(call configure,release)
	@$(call build_all,release)

run: deps ## load a whole Internet routing table into a private instance and check every prefix
	@mkdir -p build
	@$(call configure,release)
	@$(call build_all,release) --target lcfwd lcfwdctl
	@scripts/run.sh

test: build ## release build and all tests
	@$(call run_tests,release)

bench: build ## benchmarks; ends with plain lines `name value`
	@build/release/bin/lcfwd-bench

asan: deps ## tests under the address and undefined-behaviour sanitizers
	@mkdir -p build
	@$(call configure,asan)
	@$(call build_all,asan)
	@$(call run_tests,asan)

hitless: deps ## the proof that nobody notices a restart: crash points, kills under a probe, the whole table; minutes
	@mkdir -p build
	@$(call configure,release)
	@$(call build_all,release) --target lcfwd lcfwdctl lcfwd_hitless ufib_crashpoints
	@scripts/hitless.sh

hitless-short: ## a little of it, in less than a minute
	@HITLESS_KILLS=$${HITLESS_KILLS:-5} HITLESS_RESTARTS=$${HITLESS_RESTARTS:-6} HITLESS_ROUTES=$${HITLESS_ROUTES:-20000} \
		CRASHPOINTS_STEP=$${CRASHPOINTS_STEP:-60} $(MAKE) --no-print-directory hitless

soak: build ## a long random life of the model; SOAK_OPERATIONS and SOAK_SEED choose another
	@LCFWD_RANDOM_OPERATIONS=$(SOAK_OPERATIONS) LCFWD_RANDOM_SEED=$(SOAK_SEED) \
		build/release/bin/ufib_proof_test --gtest_filter='ufib_random.*'
	@LCFWD_RNH_STEPS=$$(($(SOAK_OPERATIONS) / 20)) LCFWD_RNH_SEED=$(SOAK_SEED) \
		build/release/bin/ufib_vobj_test --gtest_filter='*rnh_random*'

fuzz: deps-ci ## every target under libFuzzer, FUZZ_SECONDS each
	@mkdir -p build
	@$(call configure,fuzz)
	@$(call build_all,fuzz) --target lcfwd_fuzz
	@scripts/fuzz.sh build/fuzz $(FUZZ_SECONDS)

clang: deps-ci ## compile everything with the second compiler
	@mkdir -p build
	@$(call configure,clang)
	@$(call build_all,clang)

format: deps-ci ## format all sources in place
	@git ls-files '*.h' '*.cc' | xargs -r clang-format-14 -i

check-format: deps-ci ## fail if a source is not formatted
	@git ls-files '*.h' '*.cc' | grep -q . || { echo "no sources found: not a git checkout?"; exit 1; }
	@git ls-files '*.h' '*.cc' | xargs clang-format-14 --dry-run --Werror

check-includes: ## fail if a folder includes one that it must not know
	@scripts/check_includes.sh

ci: ## everything that a change must pass
	@.ci/run

clean: ## remove all that was built
	rm -rf build
