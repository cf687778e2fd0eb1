#include "tools/qel/StandardStreams.h"

#include "output/files/TextSink.h"
#include "output/formats/Texts.h"

#include <cerrno>
#include <fcntl.h>
#include <initializer_list>
#include <string>
#include <unistd.h>

namespace qel::tool {

void StandardStreams::Secure() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            // It gets the lowest number that is free, which is this one. It is open the wrong way
            // round, so that to read or to write is the error that it was before.
            [[maybe_unused]] const int filled =
                open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void StandardStreams::Print(std::string_view text) {
    output::TextSink sink(STDOUT_FILENO, "standard output");
    sink.Append(text);
    sink.Flush();
}

void StandardStreams::Complain(std::string_view line) {
    const std::string text = "qel: " + output::PrintableText(line) + '\n';
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = write(STDERR_FILENO, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace qel::tool
