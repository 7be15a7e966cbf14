# shellcheck shell=bash
# What the scripts have in common. Sourced with `set -euo pipefail` in force.

project_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Debian packages: for the library, for the journal and the programs above it, for the tests.
# shellcheck disable=SC2034
BUILD_PACKAGES=(g++ cmake ninja-build)
# shellcheck disable=SC2034
HOST_PACKAGES=(pkg-config libcurl4-openssl-dev libcpp-httplib-dev libcli11-dev libmicrohttpd-dev
               libsqlite3-dev libsqlitecpp-dev libzstd-dev libboost-math-dev nlohmann-json3-dev
               libutfcpp-dev nodejs npm)
# shellcheck disable=SC2034
BENCHMARK_PACKAGES=(libbenchmark-dev)
# shellcheck disable=SC2034
TEST_PACKAGES=(googletest locales openssl python3 tmux prometheus)
# The page is looked at on 64 bits only: it is the same everywhere.
[[ $(dpkg --print-architecture) == i386 ]] || TEST_PACKAGES+=(chromium)

# fail TEXT: ends the script with one line on standard error.
fail() {
    echo "$(basename "$0"): $1" >&2
    exit 1
}

# is_installed PACKAGE: also where the command of that name came another way.
is_installed() {
    [[ $(dpkg-query --show --showformat '${db:Status-Status}' "$1" 2>/dev/null) == installed ]] ||
        command -v "$1" >/dev/null
}

# quietly COMMAND...: shows the output of the command only where it fails.
quietly() {
    local output
    output=$(mktemp)
    if ! "$@" >"$output" 2>&1; then
        cat "$output" >&2
        rm -f "$output"
        fail "failed: $*"
    fi
    rm -f "$output"
}

# need_packages PACKAGE...: installs those that are missing.
need_packages() {
    local package missing=() as_root=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    if ((EUID != 0)); then
        command -v sudo >/dev/null || fail "install ${missing[*]} first: neither root nor sudo"
        as_root=(sudo)
    fi
    echo "installing ${missing[*]}" >&2
    mkdir -p "$project_root/build"
    (
        # One installation at a time, where scripts run side by side.
        flock 9
        quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update
        quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install --yes --no-install-recommends "${missing[@]}"
    ) 9>"$project_root/build/installation.lock"
}

# in_project COMMAND...: runs the command in the project's folder.
in_project() {
    (cd "$project_root" && "$@")
}

# build_preset NAME [TARGET...]: configures the preset and builds the targets, or all.
build_preset() {
    local preset=$1
    shift
    local targets=()
    (($#)) && targets=(--target "$@")
    echo "building $preset${*:+: $*}" >&2
    quietly in_project cmake --preset "$preset"
    quietly in_project cmake --build --preset "$preset" "${targets[@]}"
}

# build_shipped NAME TARGET...: builds those targets of a preset whose results are shipped (release,
# x86, i386). They are the ones that the tests ran against where these were built; where not, the
# tests stay out, and so do the packages that they need.
build_shipped() {
    local tests=OFF
    if grep -qs '^KZ_BUILD_TESTS:.*=ON$' "$project_root/build/$1/CMakeCache.txt"; then tests=ON; fi
    echo "building $1: ${*:2}" >&2
    quietly in_project cmake --preset "$1" "-DKZ_BUILD_TESTS=$tests"
    quietly in_project cmake --build --preset "$1" --target "${@:2}"
}
