// ContactSheet: the frames of a clip side by side in one PNG picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Picture.h"

namespace android {

/// Cells of one size in reading order. A cell that gets no frame stays dark.
///
/// Threading: reentrant.
class ContactSheet {
public:
    /// @param cellWidth,cellHeight in pixels.
    ContactSheet(int cells, int columns, int cellWidth, int cellHeight);

    void paste(int cell, const Picture& frame);
    /// Takes the colour out of a cell and half of its light.
    void dim(int cell);
    /// False if the file cannot be written.
    bool write(const std::string& path) const;

private:
    int width() const;
    int height() const;
    uint8_t* pixels(int cell, int row);

    const int mColumns;
    const int mRows;
    const int mCellWidth;
    const int mCellHeight;
    std::vector<uint8_t> mRgb;
};

}  // namespace android
