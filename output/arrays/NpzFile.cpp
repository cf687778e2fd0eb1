// APPNOTE.TXT of PKWARE, sections 4.3.7, 4.3.12 and 4.3.16.

#include "output/arrays/NpzFile.h"

#include "output/arrays/Crc32.h"
#include "output/files/Sha256.h"

#include <fmt/format.h>

#include <limits>
#include <stdexcept>

namespace qel::output {
namespace {

constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::uint32_t kDirectoryEntry = 0x02014B50;
constexpr std::uint32_t kDirectoryEnd = 0x06054B50;
constexpr unsigned int kVersion = 20;    // 2.0, what files need that are only stored
constexpr unsigned int kFirstDay = 0x21; // 1980-01-01, as no clock decides what is written
constexpr std::size_t kDigestBytes = 16;

void Append16(std::string& bytes, std::size_t number) {
    bytes += static_cast<char>(number & 0xFF);
    bytes += static_cast<char>(number >> 8 & 0xFF);
}

void Append32(std::string& bytes, std::size_t number) {
    Append16(bytes, number & 0xFFFF);
    Append16(bytes, number >> 16 & 0xFFFF);
}

// What a local header and an entry of the directory have in common.
void AppendFacts(std::string& bytes, std::uint32_t crc, std::size_t size, std::size_t nameSize) {
    Append16(bytes, kVersion);
    Append16(bytes, 0); // no flags
    Append16(bytes, 0); // stored
    Append16(bytes, 0); // midnight
    Append16(bytes, kFirstDay);
    Append32(bytes, crc);
    Append32(bytes, size);
    Append32(bytes, size);
    Append16(bytes, nameSize);
    Append16(bytes, 0); // no extra field
}

} // namespace

NpzFile::NpzFile(const std::vector<Array>& arrays) {
    std::size_t size = 0;
    for (const Array& array : arrays) {
        size += array.data.size() + 1024; // with its headers
    }
    if (size >= std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error(
            fmt::format("its arrays have {} MiB; an NPZ file holds less than 4096 "
                        "MiB: ask for fewer keys",
                        size >> 20));
    }
    mBytes.reserve(size);
    for (const Array& array : arrays) {
        AddMember(array);
    }
    Close(arrays.size());
}

void NpzFile::AddMember(const Array& array) {
    const std::string name = array.name + ".npy";
    const std::size_t at = mBytes.size();
    // The checksum comes before what it is of: it is filled in afterwards.
    Append32(mBytes, kLocalHeader);
    const std::size_t facts = mBytes.size();
    const std::string header = array.Header();
    const std::size_t size = header.size() + array.data.size();
    AppendFacts(mBytes, 0, size, name.size());
    mBytes += name;
    const std::size_t begin = mBytes.size();
    mBytes += header;
    mBytes += array.data;
    const std::uint32_t crc = Crc32(std::string_view(mBytes).substr(begin));
    std::string filled;
    AppendFacts(filled, crc, size, name.size());
    mBytes.replace(facts, filled.size(), filled);

    Append32(mDirectory, kDirectoryEntry);
    Append16(mDirectory, kVersion);
    mDirectory += filled;
    Append16(mDirectory, 0); // no comment
    Append16(mDirectory, 0); // the first and only disk
    Append16(mDirectory, 0); // no internal attributes
    Append32(mDirectory, 0); // no external attributes
    Append32(mDirectory, at);
    mDirectory += name;
}

void NpzFile::Close(std::size_t members) {
    const std::size_t at = mBytes.size();
    mBytes += mDirectory;
    Append32(mBytes, kDirectoryEnd);
    Append16(mBytes, 0);
    Append16(mBytes, 0);
    Append16(mBytes, members);
    Append16(mBytes, members);
    Append32(mBytes, mDirectory.size());
    Append32(mBytes, at);
    Append16(mBytes, 0); // no comment
}

std::string NpzFile::Digest(const std::string& text) const {
    return Hexadecimal(Sha256(text + '\0' + mDirectory), kDigestBytes);
}

} // namespace qel::output
