#!/usr/bin/env bash
# Checks what leaves the library, installs the build into a scratch prefix, moves it, and builds and
# runs the consumer against it with CMake and, with and without RTTI, with pkg-config; copies the
# example's stage, and builds, runs and exercises that.
# usage: consumer_test.sh BUILD_DIR C++_COMPILER
set -euo pipefail
build=$1
compiler=$2
here=$(cd "$(dirname "$0")" && pwd)
consumer=$here/consumer
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$here/../../scripts/check-exports" "$build/lib/libplexa_common.so"

cmake --install "$build" --prefix "$scratch/installed" >/dev/null
prefix=$scratch/moved
mv "$scratch/installed" "$prefix"

echo "CMake:"
cmake -G Ninja -S "$consumer" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/consumer"

pc=$(find "$prefix" -name plexa.pc -printf '%h')
read -ra flags <<<"$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs plexa)"
for rtti in -frtti -fno-rtti; do
    echo "pkg-config, $rtti:"
    "$compiler" $rtti "$consumer/main.cpp" "${flags[@]}" -o "$scratch/consumer"
    LD_LIBRARY_PATH=$(PKG_CONFIG_PATH=$pc pkg-config --variable=libdir plexa) "$scratch/consumer"
done

echo "a stage of one's own:"
PATH=$prefix/bin:$PATH
ffmpeg -v error -f lavfi -i testsrc2=size=128x96:rate=25:duration=1 "$scratch/clip.mp4"
(
    cp -r "$prefix/share/plexa/stage" "$scratch" && cd "$scratch/stage"
    cmake -G Ninja -B build -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
    cmake --build build >/dev/null
    plexa run ../clip.mp4 out.mp4 --chain 'decompress ! build/libwatermark.so:text=demo ! scale:64x48'
    plexa exercise --chain build/libwatermark.so --lives 100
    build/watermark_test build/libwatermark.so
)

echo "each public header alone:"
for header in "$prefix"/include/plexa/*.h "$prefix"/include/plexa/kit/*.h; do
    echo "#include <${header#"$prefix"/include/plexa/}>" >"$scratch/header.cpp"
    "$compiler" -fsyntax-only -Wall -Wextra -Werror "$scratch/header.cpp" "${flags[@]}"
done
