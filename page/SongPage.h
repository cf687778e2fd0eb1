#pragma once

#include "page/AudioCopy.h"
#include "page/PageWriter.h"
#include "page/Song.h"

namespace qel::page {

// Writes the page of a song. audio may be null: then it cannot be heard. Throws as the writer does,
// and OutputError where the audio cannot be read.
void WriteSongPage(PageWriter& page, const Song& song, const AudioCopy* audio);

} // namespace qel::page
