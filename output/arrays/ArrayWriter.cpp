#include "output/arrays/ArrayWriter.h"

#include <iterator>

namespace qel::output {

void ArrayWriter::BeginFile(const FileHeader& header) {
    mHeader = header;
    mKeys.clear();
    for (const AnalyzedKey& key : header.keys) {
        mKeys.emplace_back(*key.info, header.analyzedChannels);
    }
}

std::vector<Array> ArrayWriter::Take() {
    std::vector<Array> arrays;
    for (KeyArrays& key : mKeys) {
        std::ranges::move(key.Take(), std::back_inserter(arrays));
    }
    mKeys.clear();
    return arrays;
}

} // namespace qel::output
