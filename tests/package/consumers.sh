#!/bin/bash
# Installs the build, moves it, and lets programs of others build against it, run and find the
# module; then the same with Sondex as a part of their build, as a shared library.
# usage: consumers.sh SOURCE BUILD COMPILER
set -euo pipefail
source=$1 build=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "consumers: $*" >&2
    exit 1
}

ffmpeg -v error -f lavfi -i testsrc2=size=320x160:rate=30:duration=1 -c:v libx264 \
    -pix_fmt yuv420p "$work/clip.mp4" </dev/null
"$build/sondex-sample" movie "$work/clip.mp4" "$work/camera.mp4"

check_report() {
    local line
    "$1" "$work/camera.mp4" >"$work/report" 2>&1 || fail "$1 failed"
    for line in 'camera: KESTO ZELVA Q7' 'picture: 320x160, 30.00 a second, 1.00 s' 'gyro: [1-9]' 'H.264 detected'; do
        grep -q "^$line" "$work/report" || fail "$1: no line '$line'"
    done
}

check_facts() {
    local printed
    printed=$("$1" "$work/camera.mp4" 2>&1) || fail "$1: $printed"
    [[ $printed == $'duration: 1.00 s\nmodel: KESTO ZELVA Q7\nheading: 90 degrees\ngyro: '[1-9]*' samples' ]] ||
        fail "$1 printed: $printed"
}

configure() {
    local folder=$1 target=$2
    shift 2
    cmake -S "$folder" -B "$target" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_CXX_FLAGS=-O0 -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "$@" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
    # Our flags stay with our sources: warnings and the floating-point rule are no consumer's.
    if grep '"command".*report/Report\.cpp' "$target/compile_commands.json" |
        grep -qE -- '-Wconversion|-ffp-'; then
        fail "$folder inherits our flags"
    fi
}

compile() {
    cmake --build "$1" -j2 --target "${@:2}" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
}

# Installed and moved.
cmake --install "$build" --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"
"$work/moved/bin/Sondex" "$work/camera.mp4" | grep -q '"decodable":true' ||
    fail "the installed program finds no module"
version=$(sed -n 's/^Version: //p' "$work/moved/lib/pkgconfig/sondex.pc")
grep -q "\"Sondex $version\"" "$work/moved/share/man/man1/Sondex.1" || fail "versions differ"

# The front door, for a consumer who has a folder support/ of their own.
mkdir -p "$work/facts/support"
echo 'constexpr int ours = 1;' >"$work/facts/support/FileIO.h"
{
    printf '#include "support/FileIO.h"\nstatic_assert(ours == 1);\n'
    cat "$source/examples/facts/Facts.cpp"
} >"$work/facts/Facts.cpp"
{
    cat "$source/examples/facts/CMakeLists.txt"
    echo 'target_include_directories(facts PRIVATE .)'
} >"$work/facts/CMakeLists.txt"
configure "$work/facts" "$work/facts/build" -DCMAKE_PREFIX_PATH="$work/moved"
compile "$work/facts/build" facts
cmake --install "$work/facts/build" --prefix "$work/moved" >"$work/log"
check_facts "$work/moved/bin/facts"
words=$(PKG_CONFIG_PATH=$work/moved/lib/pkgconfig pkg-config --cflags --libs sondex)
# shellcheck disable=SC2086  # the words are words
"$compiler" -std=c++20 -I"$work/facts" "$work/facts/Facts.cpp" $words -o "$work/moved/bin/by-pkg-config"
check_facts "$work/moved/bin/by-pkg-config"
for header in "$work"/moved/include/sondex/*.h; do
    ! grep -E '^#include "' "$header" | grep -v '"sondex/' || fail "$header is not on its own"
done

# The parts: each header finds what it needs, whatever comes before it; the templates link.
headers=$(cd "$work/moved/include" && find sondex-parts -name '*.h' | sort)
{
    for header in $headers $(tac <<<"$headers"); do echo "#include <$header>"; done
    cat <<'TEXT'
int main() {
    std::vector<double> in(9, 1.0), out;
    lpfForAcc(in, out), lpfForTsunagi(in, out), lpfForTsunagi30(in, out);
    std::vector<SensorRecords::Gyro> gyro;
    std::uint16_t rate = 0;
    AccelSensorStreamEmbed::loadM29_KDTx<SensorRecords::Gyro>({}, "KDTB", gyro, rate, {});
    return out.size() == 9 && gyro.empty() ? 0 : 1;
}
TEXT
} >"$work/parts.cpp"
# shellcheck disable=SC2086
"$compiler" -std=c++20 "$work/parts.cpp" $words -o "$work/parts" && "$work/parts" || fail "parts"
! grep -E 'SplicePlan|LargePages|VideoModule|FilterKernels' <<<"$headers" || fail "too much is installed"

configure "$source/examples/report" "$work/installed" -DCMAKE_PREFIX_PATH="$work/moved"
compile "$work/installed" report
cmake --install "$work/installed" --prefix "$work/moved" >"$work/log"
check_report "$work/moved/bin/report"

# A part of another build, as a shared library.
configure "$source/examples/embed" "$work/embedded" -DBUILD_SHARED_LIBS=ON \
    -DSONDEX_SOURCE="$source"
compile "$work/embedded" report facts
check_facts "$work/embedded/facts"
check_report "$work/embedded/report"
soname=$(objdump -p "$work/embedded/sondex/libsondex.so" | sed -n 's/ *SONAME *//p')
[[ $soname == libsondex.so.[0-9]* ]] || fail "soname: $soname"
