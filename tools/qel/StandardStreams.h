#pragma once

#include <string_view>

namespace qel::tool {

// Standard input, output and error as they are found, which need not be as one would like them.
class StandardStreams {
public:
    // Fills the places of streams that are closed, or the first files that are opened would get
    // their numbers, and messages would end up in them. A filled stream refuses everything.
    static void Secure();

    // Writes a text to standard output. Throws OutputError, ClosedPipe or Interrupt::Requested.
    static void Print(std::string_view text);

    // Writes one line to standard error, after the program's name. Control characters in it, as
    // names may have, are written as escapes, so that one line stays one. Where nobody can take
    // the line it is lost: that is no reason to stop working.
    static void Complain(std::string_view line);
};

} // namespace qel::tool
