// TileCodec: moves planes between linear memory and tiles.
#pragma once

#include <host/CompressedLayout.h>

#include <cstdint>

#include "Plane.h"

namespace cl {

// A plane of a compressed buffer. Borrows the buffer, `base` is its first byte.
struct TiledPlane {
    uint8_t* base = nullptr;
    android::host::CompressedPlane layout;
};

// Works row of tiles by row of tiles; different rows touch different memory. The two planes are
// one picture's: as many units wide and high. Threading: thread-safe.
class TileCodec {
public:
    // Whether output goes into the caches or past them; either way it is visible on return.
    enum class Store { Cached, Streaming };

    virtual ~TileCodec() = default;

    // False, with the row half done, when a metadata byte is no TileKind. Streaming needs linear
    // rows that start on multiples of 16 bytes.
    virtual bool decodeRow(const TiledPlane& tiles, const Plane& linear, uint32_t tileY,
                           Store store) const = 0;

    // Tiles of one value are stored as such.
    virtual void encodeRow(const Plane& linear, const TiledPlane& tiles, uint32_t tileY,
                           Store store) const = 0;

    // For samples of 1 byte NV12's, for 2 bytes TP10's.
    static const TileCodec& forSamplesOf(uint32_t bytes);
};

}  // namespace cl
