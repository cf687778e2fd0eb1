#pragma once

#include "output/arrays/Array.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qel::output {

// Arrays as one file of NumPy's NPZ: a ZIP archive, not compressed, with a member NAME.npy for each
// array. The same arrays give the same bytes.
class NpzFile {
public:
    // Throws std::length_error if the arrays have 4 GiB or more, which archives of this kind do not
    // hold.
    explicit NpzFile(const std::vector<Array>& arrays);

    const std::string& Bytes() const { return mBytes; }

    // A digest of names, sizes and checksums of all arrays, and of a text: 32 hexadecimal digits.
    std::string Digest(const std::string& text) const;

private:
    void AddMember(const Array& array);
    void Close(std::size_t members);

    std::string mBytes;
    std::string mDirectory; // the entries at the end of the archive
};

} // namespace qel::output
