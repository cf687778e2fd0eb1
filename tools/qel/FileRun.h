#pragma once

#include "tools/qel/ProgressBar.h"

#include <QelMedia.hpp>

#include <functional>
#include <string>
#include <vector>

namespace qel::tool {

// What every subcommand does with each of its files.

// Throws UsageError if the output, or standard output for "-", is one of the inputs: results in the
// place of the audio they came from would be a loss that nobody asked for.
void RefuseToOverwriteInput(const std::vector<std::string>& files, const std::string& output);

// Warnings of one file: what its reader reports, and that its results depend on the files that the
// process decoded before. To be made before the file is opened.
class FileWarnings {
public:
    FileWarnings();

    // Lines without the file's name.
    std::vector<std::string> Of(const media::Report& report) const;

private:
    bool mIsProcessSpent;
};

// Works on one file. The lines that work returns are told as warnings. What ends the work of this
// file alone is told on standard error and to fail, and the answer is false; an output that cannot
// be written and a signal end the run.
bool TryFile(const std::string& path, ProgressBar& progress,
             const std::function<std::vector<std::string>()>& work,
             const std::function<void(const std::string& reason)>& fail);

} // namespace qel::tool
