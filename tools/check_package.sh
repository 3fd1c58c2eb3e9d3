#!/usr/bin/env bash
# Tests an installation of build/release from outside: the headers alone, and
# examples/minimal_host.cpp with find_package, static and shared, and with pkg-config. It also shows
# that the installed folder can be moved, and that the static library works without link-time
# optimisation. Called by ./dev package.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly WORK=$PWD/build/package
readonly PREFIX=$WORK/prefix

say() { printf 'package: %s\n' "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# Each installed header compiles on its own, pedantically, and includes only its neighbours and the
# standard library.
check_headers() {
    local include=$PREFIX/include header
    for header in "$include"/torval/*.h; do
        g++ -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
            -I "$include" -include "$header" -x c++ /dev/null
        ! grep -HnE '^ *# *include' "$header" | grep -vE ' (<[a-z_]+>|"torval/[a-z_]+\.h")$' ||
            fail "a host has to find what ${header##*/} includes"
    done
    say "each header compiles alone"
}

# build_example LIBRARY FOLDER: as the author of a host would, using only what is installed.
build_example() {
    cmake -S "$PREFIX/share/doc/torval/examples" -B "$2" -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" \
        -DTORVAL_LIBRARY="torval::$1" && cmake --build "$2"
}

# check_host PROGRAM WAY: the example exits with 0 and prints a move, in coordinates, that is legal
# after the three that it enters.
check_host() {
    local fen='rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 0 2' move
    move=$("$1") || fail "minimal_host with $2 failed: $move"
    [[ $(build/release/torval parse --fen "$fen" "$move") == *" ($move)" ]] ||
        fail "minimal_host with $2 printed '$move', no legal move in coordinates"
    say "minimal_host with $2: $move"
}

rm -rf "$WORK"
cmake --install build/release --prefix "$WORK/elsewhere" >/dev/null
mv "$WORK/elsewhere" "$PREFIX"
check_headers

for library in torval torval_shared; do
    name="find_package, torval::$library"
    if ! build_example "$library" "$WORK/$library" >"$WORK/$library.log" 2>&1; then
        cat "$WORK/$library.log" >&2
        fail "minimal_host does not build with $name"
    fi
    check_host "$WORK/$library/minimal_host" "$name"
done

export PKG_CONFIG_PATH=$PREFIX/lib/pkgconfig
read -ra flags < <(pkg-config --static --cflags --libs torval)
g++ -std=c++20 -static -fno-use-linker-plugin -o "$WORK/minimal_host" \
    examples/minimal_host.cpp "${flags[@]}"
check_host "$WORK/minimal_host" "pkg-config --static"

version="Torval $(pkg-config --modversion torval)"
[[ $("$PREFIX/bin/torval" --version) == "$version" ]] ||
    fail "torval --version does not print '$version', as torval.pc says"
say "the package of $version is in $PREFIX"
