// What the process writes to its standard output and its standard error while this lives.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace qel::trust {

class OutputCapture {
public:
    OutputCapture() : mFile(std::tmpfile()) {
        if (mFile == nullptr) {
            throw std::runtime_error("no temporary file");
        }
        std::fflush(nullptr);
        for (int i = 0; i < 2; ++i) {
            mBefore[i] = dup(kOutputs[i]);
            dup2(fileno(mFile), kOutputs[i]);
        }
    }
    ~OutputCapture() {
        End();
        std::fclose(mFile);
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Ends the capture. All that was written.
    std::string Text() {
        End();
        std::string text;
        std::rewind(mFile);
        for (int c = std::fgetc(mFile); c != EOF; c = std::fgetc(mFile)) {
            text += static_cast<char>(c);
        }
        return text;
    }

private:
    void End() {
        std::fflush(nullptr);
        for (int i = 0; i < 2; ++i) {
            if (mBefore[i] >= 0) {
                dup2(mBefore[i], kOutputs[i]);
                close(mBefore[i]);
                mBefore[i] = -1;
            }
        }
    }

    static constexpr int kOutputs[2] = {STDOUT_FILENO, STDERR_FILENO};
    std::FILE* mFile;
    int mBefore[2] = {-1, -1};
};

} // namespace qel::trust
