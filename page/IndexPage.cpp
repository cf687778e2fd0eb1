#include "page/IndexPage.h"

namespace qel::page {

void WriteIndexPage(PageWriter& page, const std::vector<IndexEntry>& entries) {
    using Json = nlohmann::ordered_json;
    Json songs = Json::array();
    for (const IndexEntry& entry : entries) {
        Json row = entry.song;
        row["page"] = entry.page;
        row["error"] = ShownText(entry.error);
        songs.push_back(row);
    }
    page.Describe(
        {{"version", 1}, {"kind", "index"}, {"generator", "qel " QEL_VERSION}, {"songs", songs}});
    page.Finish();
}

} // namespace qel::page
