#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qel::batch {

// Records in a stream of bytes: their length, their CRC-32, their bytes. A stream that was cut
// anywhere has all records that are whole.
class Records {
public:
    // A record as it is written to a stream.
    static std::string Framed(std::string_view record);

    // More of the stream.
    void Feed(std::string_view bytes);

    // The next whole record, valid until the next call of any member; none if more is needed or the
    // stream is damaged.
    std::optional<std::string_view> Next();

    // The stream has bytes that are no record. Nothing after them can be read.
    bool IsDamaged() const { return mIsDamaged; }

private:
    std::string mBytes;
    std::size_t mAt = 0;
    bool mIsDamaged = false;
};

} // namespace qel::batch
