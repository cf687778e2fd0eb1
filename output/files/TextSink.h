#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace qel::output {

// Writes text to a file descriptor through a buffer, and notices when it does not arrive.
class TextSink {
public:
    // Takes the descriptor over: it is closed at the end, unless it is one of the standard ones.
    // name is used in messages.
    TextSink(int descriptor, std::string name);
    ~TextSink();
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;

    // Text goes here; MayFlush after it, now and then. The buffer never throws but for memory.
    fmt::memory_buffer& Buffer() { return mBuffer; }

    void Append(std::string_view text) {
        mBuffer.append(text.data(), text.data() + text.size());
        MayFlush();
    }

    // Writes the buffer out if it has become large.
    void MayFlush() {
        if (mBuffer.size() >= kFlushBytes) {
            Flush();
        }
    }

    // Writes the buffer out. Throws OutputError, ClosedPipe if the reader has gone, or
    // Interrupt::Requested.
    void Flush();

    // Writes text out, past the buffer. Throws like Flush.
    void Write(std::string_view text) const;

    // Writes out and closes; a file system may tell of a full disk only here. Throws like Flush.
    void Close();

    int Descriptor() const { return mDescriptor; }

private:
    static constexpr std::size_t kFlushBytes = 64 * 1024;

    int TryWrite(std::string_view text) const; // returns an errno, 0 for none
    [[noreturn]] void Fail(int error) const;

    int mDescriptor;
    std::string mName;
    fmt::memory_buffer mBuffer;
};

} // namespace qel::output
