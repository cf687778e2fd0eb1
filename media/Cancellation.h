#pragma once

#include <QelMedia.hpp>

#include <utility>

namespace qel::media {

// The client's question whether to stop the work on a file; it may be empty.
class Cancellation {
public:
    explicit Cancellation(CancelQuestion question = {}) : mQuestion(std::move(question)) {}

    // Must not throw: FFmpeg's C functions lie between some callers and the client.
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
