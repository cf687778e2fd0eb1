#include "output/files/TextSink.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace qel::output {

TextSink::TextSink(int descriptor, std::string name)
    : mDescriptor(descriptor), mName(std::move(name)) {}

TextSink::~TextSink() {
    if (mDescriptor > STDERR_FILENO) {
        close(mDescriptor);
    }
}

void TextSink::Fail(int error) const {
    if (error == EPIPE) {
        throw ClosedPipe();
    }
    throw OutputError(fmt::format("{}: cannot write: {}", mName, std::strerror(error)));
}

int TextSink::TryWrite(std::string_view text) const {
    while (!text.empty()) {
        Interrupt::Check(); // before it waits, and after a signal broke the wait off
        const ssize_t written = write(mDescriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    return 0;
}

void TextSink::Write(std::string_view text) const {
    if (const int error = TryWrite(text)) {
        Fail(error);
    }
}

void TextSink::Flush() {
    const int error = TryWrite({mBuffer.data(), mBuffer.size()});
    mBuffer.clear();
    if (error != 0) {
        Fail(error);
    }
}

void TextSink::Close() {
    Flush();
    if (mDescriptor > STDERR_FILENO && close(std::exchange(mDescriptor, -1)) != 0) {
        Fail(errno);
    }
}

} // namespace qel::output
