// The two ways in which decoded samples are written to memory, 16 bytes at a time.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace cl {

typedef uint8_t Bytes16 __attribute__((vector_size(16)));

// Leaves the samples in the caches: best while frames are small enough to stay there.
struct CachedStore {
    static void put(uint8_t* to, Bytes16 bytes) { memcpy(to, &bytes, sizeof(bytes)); }
    static void finish() {}
};

// Writes past the caches, which spares reading every line of the output before it is overwritten.
// `to` is a multiple of 16.
struct StreamingStore {
#if defined(__SSE2__)
    static void put(uint8_t* to, Bytes16 bytes) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(to), reinterpret_cast<__m128i>(bytes));
    }
    // Streamed bytes are visible to other threads after this only.
    static void finish() {
        _mm_sfence();
    }
#else
    static void put(uint8_t* to, Bytes16 bytes) {
        CachedStore::put(to, bytes);
    }
    static void finish() {}
#endif
};

}  // namespace cl
