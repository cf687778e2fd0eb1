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

void TextSink::Flush() {
    const char* next = mBuffer.data();
    const char* const end = next + mBuffer.size();
    while (next != end) {
        Interrupt::Check(); // before it waits, and after a signal broke the wait off
        const ssize_t written = write(mDescriptor, next, static_cast<std::size_t>(end - next));
        if (written < 0 && errno != EINTR) {
            const int error = errno;
            mBuffer.clear();
            Fail(error);
        }
        if (written > 0) {
            next += written;
        }
    }
    mBuffer.clear();
}

void TextSink::Close() {
    Flush();
    if (mDescriptor > STDERR_FILENO && close(std::exchange(mDescriptor, -1)) != 0) {
        Fail(errno);
    }
}

} // namespace qel::output
