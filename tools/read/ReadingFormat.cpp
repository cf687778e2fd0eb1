#include "tools/read/ReadingFormat.h"

#include "tools/read/ReadingLabels.h"
#include "tools/read/ReadingRows.h"
#include "tools/read/ReadingText.h"

namespace qel::tool {

std::unique_ptr<ReadingFormat> MakeReadingFormat(const ReadOptions& options) {
    switch (options.format) {
    case ReadFormat::Json:
        return std::make_unique<ReadingJson>(options);
    case ReadFormat::Csv:
    case ReadFormat::Tsv:
        return std::make_unique<ReadingRows>(options);
    case ReadFormat::Labels:
        return std::make_unique<ReadingLabels>(options);
    default:
        return std::make_unique<ReadingText>(options);
    }
}

} // namespace qel::tool
