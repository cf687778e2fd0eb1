#include "page/pictures/Picture.h"

#include <algorithm>

namespace qel::page {

Picture Reduced(const Picture& picture, std::size_t factor) {
    Picture reduced = picture;
    reduced.columnSeconds = picture.columnSeconds * static_cast<double>(factor);
    const std::size_t columns = (picture.Columns() + factor - 1) / factor;
    reduced.values.assign(columns * picture.rows, 0);
    for (std::size_t i = 0; i < picture.values.size(); ++i) {
        const std::size_t column = i / picture.rows / factor;
        std::uint8_t& kept = reduced.values[column * picture.rows + i % picture.rows];
        kept = std::max(kept, picture.values[i]);
    }
    return reduced;
}

} // namespace qel::page
