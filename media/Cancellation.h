#pragma once

#include <QelMedia.hpp>

#include <utility>

namespace qel::media {

// Whether the work on a file is to be given up: the client's question, which may be empty.
class Cancellation {
public:
    explicit Cancellation(CancelQuestion question = {}) : mQuestion(std::move(question)) {}

    // FFmpeg's functions of C stand between some of the callers and the client.
    bool IsRequested() const noexcept { return mQuestion && mQuestion(); }

    // Throws Error with Fault::Cancelled.
    void Check() const {
        if (IsRequested()) {
            throw Error(Fault::Cancelled, "was not read to its end: its reader gave up");
        }
    }

private:
    CancelQuestion mQuestion;
};

} // namespace qel::media
