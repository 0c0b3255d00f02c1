#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian and installs them into an empty folder. Then builds and runs the
# example of the README against them as a host outside this project would: static and shared, with CMake and with
# pkg-config. Exit status 0 only if every step succeeds.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -eq 0 ]] || { echo "usage: scripts/check_install.sh" >&2; exit 2; }
scripts/packages.sh package
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi

readonly build=$PWD/build/package work=$PWD/build/installed
readonly root=$work/root example=$PWD/examples/embed.cpp
version=$(<VERSION)
libraries=$root/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)
readonly version libraries

step() { printf -- '-- %s\n' "$*"; }

build_packages() {
    cmake --preset package >/dev/null
    cmake --build --preset package -j "$(nproc)" >"$build/build.log" || { tail -n 50 "$build/build.log"; return 1; }
    rm -f "$build"/*.deb
    (cd "$build" && cpack >cpack.log 2>&1) || { cat "$build/cpack.log"; return 1; }
    (cd "$build" && ls -- *.deb)
}

# dpkg unpacks and registers the packages below $root. Their dependencies are those of the system.
install_packages() {
    rm -rf "$work"
    mkdir -p "$root"/var/lib/dpkg/{info,updates}
    touch "$root/var/lib/dpkg/status"
    local as_root=()
    [[ $(id -u) -eq 0 ]] || as_root=(unshare --map-root-user)
    "${as_root[@]}" dpkg --root="$root" --force-depends --log=/dev/null --install "$build"/*.deb >"$work/dpkg.log" 2>&1 ||
        { cat "$work/dpkg.log"; return 1; }
    [[ $(dpkg-query --admindir="$root/var/lib/dpkg" --show --showformat='${db:Status-Abbrev}') == "ii ii ii " ]]
}

# The example listens on a fixed port, so each run gets its own network namespace or else waits for the others.
alone() {
    if unshare --net --map-root-user true 2>/dev/null; then
        unshare --net --map-root-user sh -c 'ip link set lo up && exec "$@"' sh "$@"
    else
        flock "$work" "$@"
    fi
}

build_with_cmake() {
    local kind=$1 shared=OFF
    [[ $kind == static ]] || shared=ON
    cmake -G Ninja -S tests/install -B "$work/cmake-$kind" -DCMAKE_PREFIX_PATH="$root/usr" -DBUILD_SHARED_LIBS=$shared \
        -DEXAMPLE="$example" >/dev/null
    cmake --build "$work/cmake-$kind" >/dev/null
}

build_with_pkg_config() {
    local kind=$1 options=() static=()
    mkdir -p "$work/pkg-config-$kind"
    [[ $kind == shared ]] || { static=(--static) options=(-static); }
    local flags
    flags=$(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config "${static[@]}" --cflags --libs "quarnex = $version")
    # shellcheck disable=SC2086 # the flags are words
    c++ -std=c++17 "${options[@]}" "$example" $flags -o "$work/pkg-config-$kind/embed"
}

# Prints which of the installed libraries a program was linked with: shared or static.
linked_kind() {
    local needed
    needed=$(LD_LIBRARY_PATH=$libraries ldd "$1" 2>/dev/null || true)
    if [[ $needed == *"$libraries/libquarnex.so"* ]]; then echo shared; else echo static; fi
}

# try_example WAY KIND: builds the example, checks which library it was linked with, and runs it.
try_example() {
    local folder=$work/$1-$2
    "build_with_${1//-/_}" "$2"
    [[ $(linked_kind "$folder/embed") == "$2" ]] || { echo "linked with another kind of library"; return 1; }
    LD_LIBRARY_PATH=$libraries alone "$folder/embed" >"$folder/printed"
    diff - "$folder/printed" <<<'received HELLO'
}

try_all_examples() {
    local way kind process processes=()
    for way in cmake pkg-config; do
        for kind in static shared; do
            try_example "$way" "$kind" >"$work/$way-$kind.log" 2>&1 &
            processes+=("$!:$way, $kind")
        done
    done
    local failed=0
    for process in "${processes[@]}"; do
        wait "${process%%:*}" || { echo "failed: ${process#*:}"; failed=1; }
    done
    [[ $failed -eq 0 ]] || { tail -n 20 "$work"/*.log; return 1; }
}

try_recording() {
    local kind
    for kind in static shared; do
        [[ $(LD_LIBRARY_PATH=$libraries "$work/cmake-$kind/recording_host" "$work/$kind.jsonl") == "$version HELLO 76" ]]
        "$root/usr/bin/quarn" replay "$work/$kind.jsonl"
    done
}

try_c_host() {
    local kind flags
    for kind in static shared; do
        local shared=ON options=() static=()
        [[ $kind == shared ]] || { shared=OFF; static=(--static) options=(-static); }
        cmake -G Ninja -S tests/install/c -B "$work/c-$kind" -DCMAKE_PREFIX_PATH="$root/usr" -DBUILD_SHARED_LIBS=$shared \
            -DEXAMPLES="$PWD/examples" >/dev/null
        cmake --build "$work/c-$kind" >/dev/null
        [[ $(linked_kind "$work/c-$kind/poll_host") == "$kind" ]]
        flags=$(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config "${static[@]}" --cflags --libs quarnex)
        # shellcheck disable=SC2086 # the flags are words
        cc -std=c99 -D_POSIX_C_SOURCE=200809L "${options[@]}" examples/poll_host.c $flags -o "$work/c-$kind/host" \
            2>"$work/c-$kind.log"
        [[ $(LD_LIBRARY_PATH=$libraries alone "$work/c-$kind/host" <<<"HELLO") == HELLO ]]
    done
}

try_test_kit() {
    local kind message
    for kind in static shared; do
        [[ $("$work/cmake-$kind/station_test") == passed ]]
        message=$(cd "$work" && LD_LIBRARY_PATH=$libraries "$work/cmake-$kind/mixed_test" 2>/dev/null) || true
        [[ $message == "failed: the host's code would use the real library"* ]] || { echo "$message"; return 1; }
    done
}

try_python() {
    export PYTHONPATH=bindings/python PYTHONDONTWRITEBYTECODE=1
    [[ $(LD_LIBRARY_PATH=$libraries python3 -c 'import quarnex; print(quarnex.__version__)') == "$version" ]]
    LD_LIBRARY_PATH=$libraries alone python3 examples/embed.py >"$work/python"
    diff - "$work/python" <<<$'received HELLO\nthe text is acknowledged'
    QUARNEX_LIBRARY=$libraries/quarnex/libquarnex_testing.so python3 -c 'import quarnex.testing'
}

try_language_standards() {
    local headers message
    headers=$(cd "$root/usr/include" && printf '#include <%s>\n' quarnex/*.h)
    c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$root/usr/include" -x c++ - <<<"$headers"
    message=$(c++ -std=c++14 -fsyntax-only -I"$root/usr/include" "$example" 2>&1 | grep -m 1 error || true)
    echo "   a C++14 compiler reports: ${message#*error: }"
    [[ $message == *"need C++17 or later"* ]]
}

try_tool() {
    [[ $("$root/usr/bin/quarn" --version) == "quarn $version" ]]
    [[ $("$root/usr/bin/quarn" ports ABC 5) == 20105 ]]
    local share=$root/usr/share
    bash -n "$share/bash-completion/completions/quarn"
    zsh -n "$share/zsh/vendor-completions/_quarn"
    [[ $(fish --no-config -c "source $share/fish/vendor_completions.d/quarn.fish; complete -C 'quarn li'") == listen* ]]
}

step "packages"
build_packages
step "lintian"
lintian --allow-root --fail-on error,warning "$build"/*.deb
step "installation into an empty folder"
install_packages
step "exported symbols"
python3 tests/install/exported_symbols_test.py "$libraries/libquarnex.so" "$root/usr/include"
step "protections against memory errors"
python3 tests/install/hardening_test.py "$libraries/libquarnex.so" "$root/usr/bin/quarn"
step "C++17, and C++14"
try_language_standards
step "manual pages, completion scripts and the tool"
try_tool
step "example of the README: CMake and pkg-config, static and shared"
try_all_examples
step "a host that records"
try_recording
step "a host in C: CMake and pkg-config, static and shared"
try_c_host
step "Python: the library and the test kit"
try_python
step "the test kit for hosts, and a program that mixes it with the shared library"
try_test_kit
echo "The packages of Quarnex $version install, and hosts build and run with them."
