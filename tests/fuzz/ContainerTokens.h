// The callbacks of the containers of a run, by the kind of their values.
#pragma once

#include "tests/fuzz/ContainerModels.h"

#include <cstdint>

namespace qel::fuzz {

// A few tokens, of which one and the next are equal.
const void* Token(std::uint32_t number);

// Null for bare pointers.
const CFArrayCallBacks* ArrayCallBacksOf(Kind kind);
const CFDictionaryKeyCallBacks* KeyCallBacksOf(Kind kind);
const CFDictionaryValueCallBacks* ValueCallBacksOf(Kind kind);

// What the callbacks find.
bool AreEqual(Kind kind, const void* first, const void* second);

} // namespace qel::fuzz
