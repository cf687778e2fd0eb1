#include "bench/CountedStream.h"

void qel_counted_stream(const std::function<void()>& stream) {
    stream();
}
