// The rows of a tile in both layouts: 8-bit samples as they are, and three 10-bit ones in a word.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "TileStore.h"

namespace cl {

static_assert(std::endian::native == std::endian::little,
              "words and P010 samples are little-endian");

inline Bytes16 load16(const uint8_t* from) {
    Bytes16 bytes;
    memcpy(&bytes, from, sizeof(bytes));
    return bytes;
}

// 32 luma samples or 16 pairs a row.
struct Nv12Tile {
    static constexpr size_t kRows = 8;
    static constexpr size_t kTiledBytes = 32;   // of a row in the tile
    static constexpr size_t kLinearBytes = 32;  // of the same row in linear memory

    template <typename Store>
    static void unpackRow(const uint8_t* tiled, uint8_t* linear) {
        Store::put(linear, load16(tiled));
        Store::put(linear + 16, load16(tiled + 16));
    }

    template <typename Store>
    static void packRow(const uint8_t* linear, uint8_t* tiled) {
        unpackRow<Store>(linear, tiled);
    }
};

// 48 luma samples or 24 pairs a row: 16 words, the first sample of each in its lowest bits.
struct Tp10Tile {
    static constexpr size_t kRows = 4;
    static constexpr size_t kTiledBytes = 64;
    static constexpr size_t kLinearBytes = 96;

    template <typename Store>
    static void unpackRow(const uint8_t* tiled, uint8_t* linear) {
        unpack8Words<Store>(tiled, linear);
        unpack8Words<Store>(tiled + 32, linear + 48);
    }

    template <typename Store>
    static void packRow(const uint8_t* linear, uint8_t* tiled) {
        for (size_t i = 0; i < 4; ++i)
            Store::put(tiled + 16 * i, pack4Words(linear + 24 * i));
    }

private:
    typedef uint16_t Samples8 __attribute__((vector_size(16)));
    typedef uint32_t Words4 __attribute__((vector_size(16)));

    // Each lane holds the two bytes of its word that contain the sample, which starts at bit 0, 2
    // or 4 of them. A multiplication shifts it to the top, the mask drops its neighbours.
    static Bytes16 align(Bytes16 lanes, Samples8 shift) {
        return reinterpret_cast<Bytes16>((reinterpret_cast<Samples8>(lanes) * shift) & 0xFFC0);
    }

    template <typename Store>
    static void unpack8Words(const uint8_t* tiled, uint8_t* linear) {
        constexpr uint16_t first = 1 << 6, second = 1 << 4, third = 1 << 2;
        const Bytes16 a = load16(tiled), b = load16(tiled + 8), c = load16(tiled + 16);
        Store::put(
            linear,
            align(__builtin_shufflevector(a, a, 0, 1, 1, 2, 2, 3, 4, 5, 5, 6, 6, 7, 8, 9, 9, 10),
                  Samples8{first, second, third, first, second, third, first, second}));
        Store::put(linear + 16,
                   align(__builtin_shufflevector(b, b, 2, 3, 4, 5, 5, 6, 6, 7, 8, 9, 9, 10, 10, 11,
                                                 12, 13),
                         Samples8{third, first, second, third, first, second, third, first}));
        Store::put(linear + 32,
                   align(__builtin_shufflevector(c, c, 5, 6, 6, 7, 8, 9, 9, 10, 10, 11, 12, 13, 13,
                                                 14, 14, 15),
                         Samples8{second, third, first, second, third, first, second, third}));
    }

    static Bytes16 pack4Words(const uint8_t* linear) {
        const Bytes16 low = load16(linear), high = load16(linear + 8);
        // First and second, then second and third sample of each word.
        const auto ab = reinterpret_cast<Words4>(__builtin_shufflevector(
            low, high, 0, 1, 2, 3, 6, 7, 8, 9, 20, 21, 22, 23, 26, 27, 28, 29));
        const auto bc = reinterpret_cast<Words4>(__builtin_shufflevector(
            low, high, 2, 3, 4, 5, 8, 9, 10, 11, 22, 23, 24, 25, 28, 29, 30, 31));
        const Words4 words =
            ((ab >> 6) & 0x3FF) | ((ab >> 12) & 0xFFC00) | ((bc >> 2) & 0x3FF00000);
        return reinterpret_cast<Bytes16>(words);
    }
};

}  // namespace cl
