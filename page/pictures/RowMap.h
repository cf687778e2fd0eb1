#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::page {

// From the bins of a spectrum, which are equally far apart in Hz, to the rows of a picture on a mel
// scale: mel = 2595 log10(1 + f / 700) (O'Shaughnessy, Speech communication, 1987). Row r of n
// covers the mels from r / n to (r + 1) / n of those of half the sample rate.
//
// A row has the greatest value of the bins whose middle lies in it; where there is none, that of
// the bin around the middle of the row.
class RowMap {
public:
    // Bin k lies at k * rate / (2 * bins).
    RowMap(double sampleRateHz, std::size_t bins, std::size_t rows);

    std::size_t Rows() const { return mFirst.size(); }

    // The values of a picture's column, row 0 first.
    void Fill(std::span<const float> bins, std::span<float> rows) const;

private:
    std::vector<std::size_t> mFirst; // bins of a row, the last one beyond its end
    std::vector<std::size_t> mEnd;
};

} // namespace qel::page
