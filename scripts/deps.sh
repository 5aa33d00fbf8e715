#!/bin/bash
# scripts/deps.sh build|ci: makes sure that the tools and libraries of a build are there, on Debian 12. When nothing
# is missing it asks nobody: no package manager, no network. Otherwise it installs as root or through sudo, and if
# it can do neither it says what to install.
set -u
what="${1:-build}"

missing=()
need_command() { command -v "$1" >/dev/null 2>&1 || missing+=("$2"); }
need_file() {
    local candidate
    for candidate in "${@:2}"; do [ -e "$candidate" ] && return; done
    missing+=("$1")
}

need_command g++ g++
need_command cmake cmake
need_command ninja ninja-build
need_command xz xz-utils
need_command git git
need_file libc6-dev /usr/include/stdlib.h
need_file libgtest-dev /usr/include/gtest/gtest.h /usr/local/include/gtest/gtest.h
need_file libbenchmark-dev /usr/include/benchmark/benchmark.h /usr/local/include/benchmark/benchmark.h
if [ "$what" = ci ]; then
    need_command clang++-14 clang-14
    need_command clang-format-14 clang-format-14
fi
[ ${#missing[@]} -eq 0 ] && exit 0

by_hand="apt-get install -y --no-install-recommends ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    # A password can only be asked for where somebody is there to type it.
    if command -v sudo >/dev/null 2>&1 && { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
        as_root=(sudo)
    else
        echo "Missing: ${missing[*]}. Install as root: $by_hand" >&2
        exit 1
    fi
fi
if ! command -v apt-get >/dev/null 2>&1; then
    echo "Missing (Debian package names): ${missing[*]}. Install them with this system's package manager." >&2
    exit 1
fi

echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
install() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive $by_hand </dev/null; }
# A fresh machine has no package lists; one that has them needs no update.
install >/dev/null 2>&1 || { "${as_root[@]}" apt-get update </dev/null >&2 && install >&2; } || {
    echo "Could not install. As root: apt-get update && $by_hand" >&2
    exit 1
}
